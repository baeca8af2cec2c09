// SPDX-License-Identifier: Apache-2.0
// 8-bit RGB to 4:2:0, portable. This is the definition of the fixed-point arithmetic; the vector
// twin differs in one thing, the mean of a block.
#pragma once

#include "common/rounding.h"
#include "cpu/tavix_cvt_color/matrices.h"
#include "cpu/tavix_cvt_color/yuv420.h"

namespace tavix::module {

// A matrix in memory order: columns as the channels of a pixel, rows of chroma as the samples of a
// pair. Kernels therefore know neither R-first nor V-first.
struct RgbToYuvWeights {
  int32_t y[3];
  int32_t chroma[2][3];
  int32_t offset;

  RgbToYuvWeights(const TavixRgbToYuvMatrix &matrix, bool r_first, bool v_first)
      : offset(matrix.fixed.offset) {
    const int r = r_first ? 0 : 2, b = 2 - r, u = v_first ? 1 : 0, v = 1 - u;
    const auto &m = matrix.fixed;
    y[r] = m.y[0], chroma[u][r] = m.u[0], chroma[v][r] = m.v[0];
    y[1] = m.y[1], chroma[u][1] = m.u[1], chroma[v][1] = m.v[1];
    y[b] = m.y[2], chroma[u][b] = m.u[2], chroma[v][b] = m.v[2];
  }
};

using RgbToYuvJob = PackedYuvJob<const uint8_t, uint8_t, RgbToYuvWeights>;
using RgbToYuvRows = RowPair<const uint8_t, uint8_t>;

inline int32_t dot_8(const int32_t (&weights)[3], int32_t p0, int32_t p1, int32_t p2) {
  return (weights[0] * p0 + weights[1] * p1 + weights[2] * p2 + 128) >> 8;
}

// Columns begin to end - 1, both even. The mean of a block is the rounded mean of the rounded means
// of its rows.
template <int channels, ChromaLayout layout>
inline void rgb_to_yuv_row_pair_c(const RgbToYuvRows &rows, int32_t begin, int32_t end,
                                  const RgbToYuvWeights &w) {
  for (int32_t x = begin; x < end; x += 2) {
    int32_t mean[3];
    const uint8_t *top = rows.packed[0] + int64_t(x) * channels;
    const uint8_t *bottom = rows.packed[1] + int64_t(x) * channels;
    for (int k = 0; k < 3; ++k) {
      const int32_t a = (top[k] + top[k + channels] + 1) >> 1;
      const int32_t b = (bottom[k] + bottom[k + channels] + 1) >> 1;
      mean[k] = (a + b + 1) >> 1;
    }
    for (int i = 0; i < 2; ++i) {
      const uint8_t *p = rows.packed[i] + int64_t(x) * channels, *q = p + channels;
      rows.y[i][x] = saturate_u8(dot_8(w.y, p[0], p[1], p[2]) + w.offset);
      rows.y[i][x + 1] = saturate_u8(dot_8(w.y, q[0], q[1], q[2]) + w.offset);
      chroma_at<layout>(rows.chroma, x / 2, i) =
          saturate_u8(dot_8(w.chroma[i], mean[0], mean[1], mean[2]) + 128);
    }
  }
}

// The last row of an odd height, a block of one row for each pair; the last pixel of an odd width
// is a block of its own. Both are blocks whose missing pixels repeat those that are there.
template <int channels, ChromaLayout layout>
inline void rgb_to_yuv_last_row_c(const RgbToYuvJob &job) {
  const int32_t width = job.width, pairs = whole_pairs(width), y = job.height - 1;
  const RgbToYuvRows rows = job.rows(y, y, y / 2);
  rgb_to_yuv_row_pair_c<channels, layout>(rows, 0, pairs, job.weights);
  if (pairs >= width) return;

  const uint8_t *last = rows.packed[0] + int64_t(pairs) * channels;
  uint8_t pixels[2 * channels], luma[2];
  for (int k = 0; k < 2 * channels; ++k) pixels[k] = last[k % channels];
  uint8_t *const chroma[2] = {&chroma_at<layout>(rows.chroma, pairs / 2, 0),
                              &chroma_at<layout>(rows.chroma, pairs / 2, 1)};
  rgb_to_yuv_row_pair_c<channels, layout>(
      {{pixels, pixels}, {luma, luma}, {chroma[0], chroma[1]}}, 0, 2, job.weights);
  rows.y[0][pairs] = luma[0];
}

}  // namespace tavix::module
