// SPDX-License-Identifier: Apache-2.0
// 4:2:0 to 8-bit RGB, in fixed point. A chroma sample serves its block as it is; the portable rows
// define the arithmetic, the vector rows have the same results.
#pragma once

#include "cpu/tavix_cvt_color/matrices.h"
#include "cpu/tavix_cvt_color/yuv420.h"

namespace tavix::module {

// A matrix in memory order, as for the way to YUV: channel k of a pixel is
//   (y_scale Y + y_bias + chroma[k] . pair + bias[k]) >> 6
// where y_bias holds the rounding and takes the luma offset out.
struct YuvToRgbWeights {
  int32_t y_scale, y_bias;
  int32_t chroma[3][2] = {};
  int32_t bias[3] = {};

  constexpr YuvToRgbWeights(ColorMatrix matrix, bool r_first, bool v_first)
      : y_scale(kYuvToRgb[matrix].fixed.y_scale),
        y_bias(32 - kYuvToRgb[matrix].fixed.offset * y_scale) {
    const int r = r_first ? 0 : 2, b = 2 - r, u = v_first ? 1 : 0, v = 1 - u;
    const auto &m = kYuvToRgb[matrix].fixed;
    chroma[r][v] = m.v_to_r, bias[r] = m.r_bias;
    chroma[1][u] = m.u_to_g, chroma[1][v] = m.v_to_g, bias[1] = m.g_bias;
    chroma[b][u] = m.u_to_b, bias[b] = m.b_bias;
  }
};

using YuvToRgbJob = PackedYuvJob<uint8_t, const uint8_t, YuvToRgbWeights>;
using YuvToRgbRowPair = RowPair<uint8_t, const uint8_t>;

// Converts so many columns, an even number. A fourth channel is 255.
using YuvToRgbRow = void(const YuvToRgbRowPair &rows, int32_t columns,
                         const YuvToRgbWeights &weights);
using YuvToRgbRows = PackedYuvRows<YuvToRgbRow>;

extern const YuvToRgbRows kYuvToRgbRowsC, kYuvToRgbRowsAvx2, kYuvToRgbRowsAvx512Vbmi;
const YuvToRgbRows &yuv_to_rgb_rows();

}  // namespace tavix::module
