// SPDX-License-Identifier: Apache-2.0
// Float RGB to and from 4:2:0. Each operation rounds to single precision, in the order of the
// portable rows; the vector rows keep it. Floats need no alignment.
#pragma once

#include "cpu/tavix_cvt_color/matrices.h"
#include "cpu/tavix_cvt_color/yuv420.h"

namespace tavix::module {

// Rows of chroma in memory order of the pair, columns R, G, B.
struct RgbF32ToYuvWeights {
  float y[3], chroma[2][3], offset;
  bool r_first;

  constexpr RgbF32ToYuvWeights(ColorMatrix matrix, bool r_first_, bool v_first)
      : y{}, chroma{}, offset(kRgbToYuv[matrix].real.offset), r_first(r_first_) {
    const auto &real = kRgbToYuv[matrix].real;
    for (int k = 0; k < 3; ++k) {
      y[k] = real.y[k];
      chroma[v_first ? 1 : 0][k] = real.u[k];
      chroma[v_first ? 0 : 1][k] = real.v[k];
    }
  }
};

struct YuvToRgbF32Weights : YuvToRgbTerms {
  bool r_first, v_first;

  constexpr YuvToRgbF32Weights(ColorMatrix matrix, bool r_first_, bool v_first_)
      : YuvToRgbTerms(kYuvToRgb[matrix].real), r_first(r_first_), v_first(v_first_) {}
};

using RgbF32ToYuvJob = PackedYuvJob<const uint8_t, uint8_t, RgbF32ToYuvWeights>;
using RgbF32ToYuvRowPair = RowPair<const uint8_t, uint8_t>;
using YuvToRgbF32Job = PackedYuvJob<uint8_t, const uint8_t, YuvToRgbF32Weights>;
using YuvToRgbF32RowPair = RowPair<uint8_t, const uint8_t>;

// Each converts so many columns, an even number. A fourth channel of floats is 1.
using RgbF32ToYuvRow = void(const RgbF32ToYuvRowPair &rows, int32_t columns,
                            const RgbF32ToYuvWeights &weights);
using YuvToRgbF32Row = void(const YuvToRgbF32RowPair &rows, int32_t columns,
                            const YuvToRgbF32Weights &weights);

struct FloatYuvRows {
  PackedYuvRows<RgbF32ToYuvRow> rgb_to_yuv;
  PackedYuvRows<YuvToRgbF32Row> yuv_to_rgb;
};

extern const FloatYuvRows kFloatYuvRowsC, kFloatYuvRowsAvx2, kFloatYuvRowsAvx512;
const FloatYuvRows &float_yuv_rows();

}  // namespace tavix::module
