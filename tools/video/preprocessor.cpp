// SPDX-License-Identifier: Apache-2.0
#include "video/preprocessor.h"

#include <algorithm>
#include <cmath>

#include "tavix/interop/ffmpeg.h"

namespace tavix::tool {

namespace {

// The middle of a frame, 7/8 of what fits in these proportions; the pixels stay where they are.
TavixFrameV2 middle_of(TavixFrameV2 frame, int32_t width, int32_t height) {
  TavixVideoInfo &video = frame.video;
  const double scale = std::min(double(video.width) / width, double(video.height) / height) * 7 / 8;
  const int32_t w = std::clamp(int32_t(std::lround(scale * width)), 1, video.width);
  const int32_t h = std::clamp(int32_t(std::lround(scale * height)), 1, video.height);
  frame.data[0] +=
      (video.height - h) / 2 * frame.linesize[0] + (video.width - w) / 2 * video.channels;
  video.width = w;
  video.height = h;
  return frame;
}

}  // namespace

std::vector<int64_t> Preprocessing::shape() const {
  if (planar()) return {3, height, width};
  return {height, width, 3};
}

Preprocessor::Preprocessor(const Preprocessing &preprocessing)
    : preprocessing_(preprocessing),
      normalisation_{preprocessing.mean[0],  preprocessing.mean[1],  preprocessing.mean[2],  0,
                     preprocessing.scale[0], preprocessing.scale[1], preprocessing.scale[2], 1},
      small_(preprocessing.colour, preprocessing.width, preprocessing.height) {}

Blob Preprocessor::tensor_of(const AVFrame &picture) {
  const int32_t width = preprocessing_.width, height = preprocessing_.height;
  if (!colour_ || colour_->width != picture.width || colour_->height != picture.height) {
    const bool rgb = small_.format() == TAVIX_PIX_FMT_RGB24;
    colour_ =
        make_picture(rgb ? AV_PIX_FMT_RGB24 : AV_PIX_FMT_BGR24, picture.width, picture.height);
  }
  converter_.convert(picture, *colour_);
  TavixFrameV2 source = frame_view(*colour_);
  if (preprocessing_.crop) source = middle_of(source, width, height);
  call<TavixFrameResizeByCPU>(source, small_, width, height, preprocessing_.interpolation);
  Frame floats;
  call<TavixFrameDataTypeConvertNormalizationFuseByCPU>(
      small_, out(floats), int32_t(TAVIX_DATA_TYPE_FLOAT32), normalisation_);
  Blob tensor = preprocessing_.planar()
                    ? Blob(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NCHW, {1, 3, height, width})
                    : Blob(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NHWC, {1, height, width, 3});
  call<TavixFrameToBlobByCPU>(floats, tensor);
  return tensor;
}

}  // namespace tavix::tool
