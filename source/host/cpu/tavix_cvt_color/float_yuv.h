// SPDX-License-Identifier: Apache-2.0
// Float RGB to and from 4:2:0, pixel by pixel. Each operation rounds to single precision, in the
// order written here; the vector twins keep the order. Floats need no alignment.
#pragma once

#include "cpu/tavix_cvt_color/channel_strip.h"
#include "cpu/tavix_cvt_color/matrices.h"
#include "cpu/tavix_cvt_color/yuv420.h"

namespace tavix::module {

// Rows of chroma in memory order of the pair, columns R, G, B.
struct RgbF32ToYuvWeights {
  float y[3], chroma[2][3], offset;
  bool r_first;

  RgbF32ToYuvWeights(const TavixRgbToYuvMatrix &matrix, bool r_first_, bool v_first)
      : offset(matrix.real.offset), r_first(r_first_) {
    for (int k = 0; k < 3; ++k) {
      y[k] = matrix.real.y[k];
      chroma[v_first ? 1 : 0][k] = matrix.real.u[k];
      chroma[v_first ? 0 : 1][k] = matrix.real.v[k];
    }
  }
};

struct YuvToRgbF32Weights {
  float y_scale, v_to_r, u_to_g, v_to_g, u_to_b, offset;
  bool r_first, v_first;

  YuvToRgbF32Weights(const TavixYuvToRgbMatrix &matrix, bool r_first_, bool v_first_)
      : y_scale(matrix.real.y_scale),
        v_to_r(matrix.real.v_to_r),
        u_to_g(matrix.real.u_to_g),
        v_to_g(matrix.real.v_to_g),
        u_to_b(matrix.real.u_to_b),
        offset(matrix.real.offset),
        r_first(r_first_),
        v_first(v_first_) {}
};

using RgbF32ToYuvJob = PackedYuvJob<const uint8_t, uint8_t, RgbF32ToYuvWeights>;
using YuvToRgbF32Job = PackedYuvJob<uint8_t, const uint8_t, YuvToRgbF32Weights>;

inline constexpr float kByteToUnit = 0.003921569f;  // 1 / 255

// 0 to 255; not a number gives 0.
inline float clamp_to_byte(float v) {
  v = v > 0.0f ? v : 0.0f;
  return v < 255.0f ? v : 255.0f;
}

// Halves round up, unlike in the vector twin.
inline uint8_t round_up_to_u8(float v) {
  return uint8_t(int32_t(clamp_to_byte(v) + 0.5f));
}

// dst[i] = w0 R + w1 G + w2 B + offset, rounded.
inline void weighted_row_c(const ChannelStrip<float> &p, bool r_first, const float (&w)[3],
                           float offset, uint8_t *dst, int32_t n) {
  const float *r = p[r_first ? 0 : 2], *g = p[1], *b = p[r_first ? 2 : 0];
  const float w0 = w[0], w1 = w[1], w2 = w[2];
#pragma GCC ivdep
  for (int32_t i = 0; i < n; ++i)
    dst[i] = round_up_to_u8(w0 * r[i] + w1 * g[i] + w2 * b[i] + offset);
}

// Columns begin to end - 1, both even. A block's mean is taken of the scaled values: rows first,
// then columns, then the quarter.
template <int channels, ChromaLayout layout>
inline void rgbf32_to_yuv_row_pair_c(const RowPair<const uint8_t, uint8_t> &rows, int32_t begin,
                                     int32_t end, const RgbF32ToYuvWeights &w) {
  ChannelStrip<float> strips[2], mean;
  uint8_t samples[2][kStripColumns / 2];
  for (int32_t x = begin; x < end; x += kStripColumns) {
    const int32_t columns = std::min(kStripColumns, end - x), pairs = columns / 2;
    for (int i = 0; i < 2; ++i) {
      split_channels<channels>(rows.packed[i] + int64_t(x) * channels * 4, strips[i], columns);
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

// Columns begin to end - 1, both even. The fourth channel is 1.
template <int channels, ChromaLayout layout>
inline void yuv_to_rgbf32_row_pair_c(const RowPair<uint8_t, const uint8_t> &rows, int32_t begin,
                                     int32_t end, const YuvToRgbF32Weights &w) {
  float u[kStripColumns], v[kStripColumns];  // of each column, around 0
  ChannelStrip<float> strip;
  const int r = w.r_first ? 0 : 2, b = 2 - r;
  for (int32_t x = begin; x < end; x += kStripColumns) {
    const int32_t columns = std::min(kStripColumns, end - x);
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
      join_channels<channels>(strip, rows.packed[i] + int64_t(x) * channels * 4, columns);
    }
  }
}

}  // namespace tavix::module
