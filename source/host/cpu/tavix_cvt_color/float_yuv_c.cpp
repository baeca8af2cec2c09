// SPDX-License-Identifier: Apache-2.0
// Portable rows between float RGB and 4:2:0.
#include <algorithm>

#include "common/numbers.h"
#include "common/row_access.h"
#include "cpu/tavix_cvt_color/channel_strip.h"
#include "cpu/tavix_cvt_color/float_yuv.h"

namespace tavix::module {

namespace {

// dst[i] = w0 R + w1 G + w2 B + offset, rounded.
void weighted_row_c(const ChannelStrip<float> &p, bool r_first, const float (&w)[3], float offset,
                    uint8_t *dst, int32_t n) {
  const float *r = p[r_first ? 0 : 2], *g = p[1], *b = p[r_first ? 2 : 0];
  const float w0 = w[0], w1 = w[1], w2 = w[2];
  TAVIX_INDEPENDENT_ITERATIONS
  for (int32_t i = 0; i < n; ++i)
    dst[i] = round_half_up_u8(w0 * r[i] + w1 * g[i] + w2 * b[i] + offset);
}

// A block's mean is taken of the scaled values: rows first, then columns, then the quarter.
struct RgbF32ToYuvRowC {
  template <int channels, ChromaLayout layout>
  static void row(const RgbF32ToYuvRowPair &rows, int32_t width, const RgbF32ToYuvWeights &w) {
    ChannelStrip<float> strips[2], mean;
    uint8_t samples[2][kStripColumns / 2];
    for (int32_t x = 0; x < width; x += kStripColumns) {
      const int32_t columns = std::min(kStripColumns, width - x), pairs = columns / 2;
      for (int i = 0; i < 2; ++i) {
        split_channels_c<channels>(rows.packed[i] + int64_t(x) * channels * 4, strips[i], columns);
        for (auto &channel : strips[i])
          for (int32_t j = 0; j < columns; ++j) channel[j] *= 255.0f;
        weighted_row_c(strips[i], w.r_first, w.y, w.offset, rows.y[i] + x, columns);
      }
      for (int k = 0; k < 3; ++k) {
        for (int32_t p = 0; p < pairs; ++p) {
          const float left = strips[0][k][2 * p] + strips[1][k][2 * p];
          const float right = strips[0][k][2 * p + 1] + strips[1][k][2 * p + 1];
          mean[k][p] = (left + right) * 0.25f;
        }
      }
      for (int i = 0; i < 2; ++i)
        weighted_row_c(mean, w.r_first, w.chroma[i], 128.0f, samples[i], pairs);
      store_chroma_c<layout>(samples, rows.chroma, x / 2, pairs);
    }
  }
};

struct YuvToRgbF32RowC {
  template <int channels, ChromaLayout layout>
  static void row(const YuvToRgbF32RowPair &rows, int32_t width, const YuvToRgbF32Weights &w) {
    float u[kStripColumns], v[kStripColumns];  // of each column, around 0
    ChannelStrip<float> strip;
    const int r = w.r_first ? 0 : 2, b = 2 - r;
    for (int32_t x = 0; x < width; x += kStripColumns) {
      const int32_t columns = std::min(kStripColumns, width - x);
      for (int32_t p = 0; p < columns / 2; ++p) {
        const uint8_t first = chroma_at<layout>(rows.chroma, x / 2 + p, 0);
        const uint8_t second = chroma_at<layout>(rows.chroma, x / 2 + p, 1);
        u[2 * p] = u[2 * p + 1] = float(w.v_first ? second : first) - 128.0f;
        v[2 * p] = v[2 * p + 1] = float(w.v_first ? first : second) - 128.0f;
      }
      for (int i = 0; i < 2; ++i) {
        const uint8_t *y = rows.y[i] + x;
        for (int32_t j = 0; j < columns; ++j) {
          const float luma = w.y_scale * (float(y[j]) - w.offset);
          strip[r][j] = clamp_to_byte(luma + w.v_to_r * v[j]) * kByteToUnit;
          strip[1][j] = clamp_to_byte(luma - w.u_to_g * u[j] - w.v_to_g * v[j]) * kByteToUnit;
          strip[b][j] = clamp_to_byte(luma + w.u_to_b * u[j]) * kByteToUnit;
        }
        join_channels_c<channels>(strip, rows.packed[i] + int64_t(x) * channels * 4, columns);
      }
    }
  }
};

}  // namespace

constinit const FloatYuvRows kFloatYuvRowsC = {
    .rgb_to_yuv = PackedYuvRows<RgbF32ToYuvRow>::of<RgbF32ToYuvRowC>(),
    .yuv_to_rgb = PackedYuvRows<YuvToRgbF32Row>::of<YuvToRgbF32RowC>(),
};

}  // namespace tavix::module
