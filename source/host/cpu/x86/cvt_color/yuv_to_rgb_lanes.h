// SPDX-License-Identifier: Apache-2.0
// Factors of 4:2:0 to 8-bit RGB as the vector rows multiply with them.
#pragma once

#include <algorithm>

#include "cpu/tavix_cvt_color/yuv_to_rgb.h"

namespace tavix::module {

// Chroma samples are taken around 128, which is what the biases stand for, and multiplied by
// magnitudes: the terms of red and blue are added, that of green is taken away. Bounds, for
// factors up to 150 and luma scales up to 127:
//   terms of red and blue [-19200, 19050]; with luma, at least -18690: only the upper end of the
//   sum saturates, where 32767 >> 6 is clamped to 255 like everything above;
//   term of green, magnitudes that sum to at most 80: [-10240, 10160]; luma less it fits.
struct YuvToRgbLanes {
  uint16_t even, odd;  // luma factors of a pair of columns
  uint16_t chroma[3];
  int16_t y_bias;

  explicit YuvToRgbLanes(const YuvToRgbWeights &w)
      : even(pair(w.y_scale, 0)), odd(pair(0, w.y_scale)), y_bias(int16_t(w.y_bias)) {
    for (int k = 0; k < 3; ++k) chroma[k] = pair(w.chroma[k][0], w.chroma[k][1]);
  }

 private:
  static constexpr uint8_t magnitude(int32_t w) { return uint8_t(w < 0 ? -w : w); }
  static constexpr uint16_t pair(int32_t low, int32_t high) {
    return uint16_t(magnitude(low) | magnitude(high) << 8);
  }
};

constexpr bool fits_decoding_lanes(const TavixYuvToRgbMatrix &matrix) {
  const auto &m = matrix.fixed;
  const int32_t black = m.offset * m.y_scale;
  return m.y_scale >= 0 && m.y_scale <= 127 && black >= 0 && black <= 1200 && m.v_to_r >= 0 &&
         m.v_to_r <= 136 && m.u_to_b >= 0 && m.u_to_b <= 137 && m.u_to_g <= 0 && m.v_to_g <= 0 &&
         m.u_to_g + m.v_to_g >= -80 && 255 * m.y_scale + 32 - black + 80 * 128 <= 32767 &&
         m.r_bias == chroma_bias(m.v_to_r) && m.b_bias == chroma_bias(m.u_to_b) &&
         m.g_bias == chroma_bias(m.u_to_g + m.v_to_g);
}
static_assert(std::ranges::all_of(kYuvToRgb, fits_decoding_lanes));

}  // namespace tavix::module
