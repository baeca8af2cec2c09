// SPDX-License-Identifier: Apache-2.0
// Turns a frame into a normalised tensor for a neural network, and back: all samples return.
#include "tavix/frame.hpp"

#include <cstdio>

int main() {
  tavix::Frame picture(TAVIX_PIX_FMT_RGB24, 224, 224);
  for (int y = 0; y < 224; ++y)
    for (int x = 0; x < 3 * 224; ++x) picture.row(y)[x] = uint8_t(x + y);

  // (sample - mean) * scale for red, green and blue; the fourth channel is not there.
  const float normalise[8] = {123.675f,    116.28f,    103.53f,     0,
                              1 / 58.395f, 1 / 57.12f, 1 / 57.375f, 1};
  tavix::Frame floats;
  tavix::call<TavixFrameDataTypeConvertNormalizationFuseByCPU>(
      picture, tavix::out(floats), int32_t(TAVIX_DATA_TYPE_FLOAT32), normalise);
  const tavix::Blob tensor(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NCHW, {1, 3, 224, 224});
  tavix::call<TavixFrameToBlobByCPU>(floats, tensor);
  std::printf("%zu elements, the first is %.4f\n", tensor.size(), double(tensor.elements()[0]));

  // x = sample * scale - mean * scale, so that sample = (x + mean * scale) / scale.
  float restore[8];
  for (int c = 0; c < 4; ++c) {
    restore[c] = -normalise[c] * normalise[4 + c];
    restore[4 + c] = 1 / normalise[4 + c];
  }
  tavix::Frame restored;
  tavix::call<TavixBlobToFrameByCPU>(tensor, floats);
  tavix::call<TavixFrameDataTypeConvertNormalizationFuseByCPU>(
      floats, tavix::out(restored), int32_t(TAVIX_DATA_TYPE_UINT8), restore);
  int different = 0;
  for (int y = 0; y < 224; ++y)
    for (int x = 0; x < 3 * 224; ++x) different += restored.row(y)[x] != picture.row(y)[x];
  std::printf("%d samples differ after the way back\n", different);
  return different != 0;
}
