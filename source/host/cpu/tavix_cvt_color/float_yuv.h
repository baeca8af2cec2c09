// SPDX-License-Identifier: Apache-2.0
// Float RGB to and from 4:2:0, pixel by pixel. Each operation rounds to single precision, in the
// order written here; the vector twins keep the order. Floats need no alignment.
#pragma once

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

inline float dot_f32(const float (&weights)[3], const float (&p)[3], float offset) {
  return weights[0] * p[0] + weights[1] * p[1] + weights[2] * p[2] + offset;
}

// Halves round up, unlike in the vector twin.
inline uint8_t round_up_to_u8(float v) { return uint8_t(clamp_to_byte(v) + 0.5f); }

// Columns begin to end - 1, both even. A block's mean is taken of the scaled values: rows first, then
// columns, then the quarter.
template <int channels, ChromaLayout layout>
inline void rgbf32_to_yuv_row_pair_c(const RowPair<const uint8_t, uint8_t> &rows, int32_t begin,
                                     int32_t end, const RgbF32ToYuvWeights &w) {
  const int first = w.r_first ? 0 : 2, step = w.r_first ? 1 : -1;
  for (int32_t x = begin; x < end; x += 2) {
    float mean[3];
    float scaled[2][2][3];
    for (int i = 0; i < 2; ++i) {
      for (int j = 0; j < 2; ++j) {
        for (int k = 0; k < 3; ++k) {
          const int64_t element = int64_t(x + j) * channels + first + k * step;
          scaled[i][j][k] = load<float>(rows.packed[i], element) * 255.0f;
        }
        rows.y[i][x + j] = round_up_to_u8(dot_f32(w.y, scaled[i][j], w.offset));
      }
    }
    for (int k = 0; k < 3; ++k) {
      const float left = scaled[0][0][k] + scaled[1][0][k];
      const float right = scaled[0][1][k] + scaled[1][1][k];
      mean[k] = (left + right) * 0.25f;
    }
    for (int i = 0; i < 2; ++i)
      chroma_at<layout>(rows.chroma, x / 2, i) = round_up_to_u8(dot_f32(w.chroma[i], mean, 128.0f));
  }
}

// Columns begin to end - 1, both even. The fourth channel is 1.
template <int channels, ChromaLayout layout>
inline void yuv_to_rgbf32_row_pair_c(const RowPair<uint8_t, const uint8_t> &rows, int32_t begin,
                                     int32_t end, const YuvToRgbF32Weights &w) {
  const int r = w.r_first ? 0 : 2, b = 2 - r;
  for (int32_t x = begin; x < end; x += 2) {
    const float u = float(chroma_at<layout>(rows.chroma, x / 2, w.v_first ? 1 : 0)) - 128.0f;
    const float v = float(chroma_at<layout>(rows.chroma, x / 2, w.v_first ? 0 : 1)) - 128.0f;
    for (int i = 0; i < 2; ++i) {
      for (int32_t j = x; j < x + 2; ++j) {
        const float luma = w.y_scale * (float(rows.y[i][j]) - w.offset);
        const int64_t pixel = int64_t(j) * channels;
        const auto put = [&](int k, float value) {
          store(rows.packed[i], pixel + k, clamp_to_byte(value) * kByteToUnit);
        };
        put(r, luma + w.v_to_r * v);
        put(1, luma - w.u_to_g * u - w.v_to_g * v);
        put(b, luma + w.u_to_b * u);
        if constexpr (channels == 4) store(rows.packed[i], pixel + 3, 1.0f);
      }
    }
  }
}

}  // namespace tavix::module
