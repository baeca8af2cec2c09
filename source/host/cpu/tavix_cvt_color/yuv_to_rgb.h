// SPDX-License-Identifier: Apache-2.0
// 4:2:0 to 8-bit RGB, portable and the definition of the arithmetic. A chroma sample serves its
// block as it is.
#pragma once

#include "common/rounding.h"
#include "cpu/tavix_cvt_color/matrices.h"
#include "cpu/tavix_cvt_color/yuv420.h"

namespace tavix::module {

// A matrix in memory order, as for the way to YUV: channel k of a pixel is
//   (y_scale Y + y_bias + chroma[k] . pair + bias[k]) >> 6
// where y_bias holds the rounding and takes the luma offset out.
struct YuvToRgbWeights {
  int32_t y_scale, y_bias;
  int32_t chroma[3][2] = {};
  int32_t bias[3];

  YuvToRgbWeights(const TavixYuvToRgbMatrix &matrix, bool r_first, bool v_first)
      : y_scale(matrix.fixed.y_scale), y_bias(32 - matrix.fixed.offset * matrix.fixed.y_scale) {
    const int r = r_first ? 0 : 2, b = 2 - r, u = v_first ? 1 : 0, v = 1 - u;
    const auto &m = matrix.fixed;
    chroma[r][v] = m.v_to_r, bias[r] = m.r_bias;
    chroma[1][u] = m.u_to_g, chroma[1][v] = m.v_to_g, bias[1] = m.g_bias;
    chroma[b][u] = m.u_to_b, bias[b] = m.b_bias;
  }
};

using YuvToRgbJob = PackedYuvJob<uint8_t, const uint8_t, YuvToRgbWeights>;
using YuvToRgbRows = RowPair<uint8_t, const uint8_t>;

// Columns begin to end - 1, both even. The fourth channel is 255.
template <int channels, ChromaLayout layout>
inline void yuv_to_rgb_row_pair_c(const YuvToRgbRows &rows, int32_t begin, int32_t end,
                                  const YuvToRgbWeights &w) {
  for (int32_t x = begin; x < end; x += 2) {
    const int32_t first = chroma_at<layout>(rows.chroma, x / 2, 0);
    const int32_t second = chroma_at<layout>(rows.chroma, x / 2, 1);
    int32_t term[3];
    for (int k = 0; k < 3; ++k)
      term[k] = w.chroma[k][0] * first + w.chroma[k][1] * second + w.bias[k];
    for (int i = 0; i < 2; ++i) {
      for (int32_t j = x; j < x + 2; ++j) {
        uint8_t *pixel = rows.packed[i] + int64_t(j) * channels;
        const int32_t luma = w.y_scale * rows.y[i][j] + w.y_bias;
        for (int k = 0; k < 3; ++k) pixel[k] = saturate_u8((luma + term[k]) >> 6);
        if constexpr (channels == 4) pixel[3] = 255;
      }
    }
  }
}

}  // namespace tavix::module
