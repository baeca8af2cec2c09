// SPDX-License-Identifier: Apache-2.0
// 8-bit RGB to 4:2:0, in fixed point. The portable rows define the arithmetic; the vector rows
// differ in one thing, the mean of a block.
#pragma once

#include "cpu/tavix_cvt_color/matrices.h"
#include "cpu/tavix_cvt_color/yuv420.h"

namespace tavix::module {

// A matrix in memory order: columns as the channels of a pixel, rows of chroma as the samples of a
// pair. Kernels therefore know neither R-first nor V-first.
struct RgbToYuvWeights {
  int16_t y[3] = {};
  int16_t chroma[2][3] = {};
  int16_t offset;
  ColorMatrix matrix;
  bool r_first, v_first;

  constexpr RgbToYuvWeights(ColorMatrix matrix_, bool r_first_, bool v_first_)
      : offset(int16_t(kRgbToYuv[matrix_].fixed.offset)),
        matrix(matrix_),
        r_first(r_first_),
        v_first(v_first_) {
    const auto &fixed = kRgbToYuv[matrix].fixed;
    for (int k = 0; k < 3; ++k) {
      const int channel = r_first ? k : 2 - k;
      y[channel] = int16_t(fixed.y[k]);
      chroma[v_first ? 1 : 0][channel] = int16_t(fixed.u[k]);
      chroma[v_first ? 0 : 1][channel] = int16_t(fixed.v[k]);
    }
  }
};

using RgbToYuvJob = PackedYuvJob<const uint8_t, uint8_t, RgbToYuvWeights>;
using RgbToYuvRowPair = RowPair<const uint8_t, uint8_t>;

// Converts so many columns, an even number.
using RgbToYuvRow = void(const RgbToYuvRowPair &rows, int32_t columns,
                         const RgbToYuvWeights &weights);
using RgbToYuvRows = PackedYuvRows<RgbToYuvRow>;

extern const RgbToYuvRows kRgbToYuvRowsC, kRgbToYuvRowsAvx2, kRgbToYuvRowsAvx512Vbmi;
const RgbToYuvRows &rgb_to_yuv_rows();

// The last row of an odd height, a block of one row for each pair; the last pixel of an odd width
// is a block of its own.
void rgb_to_yuv_last_row_c(const RgbToYuvJob &job);

}  // namespace tavix::module
