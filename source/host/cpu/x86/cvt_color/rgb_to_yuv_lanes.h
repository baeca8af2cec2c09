// SPDX-License-Identifier: Apache-2.0
// Weights of 8-bit RGB to 4:2:0 as the vector rows multiply with them, four bytes a lane.
//
// Bytes are multiplied as signed ones, p - 128, by weights of up to 255: the pair sums of
// pmaddubsw then fit 16 bits where they would not with signed weights of up to 157.
#pragma once

#include "cpu/tavix_cvt_color/rgb_to_yuv.h"

namespace tavix::module {

// Four bytes as one lane.
constexpr int32_t bytes_of(int32_t b0, int32_t b1, int32_t b2, int32_t b3) {
  return b0 | b1 << 8 | b2 << 16 | b3 << 24;
}

// Luma: sum w (p - 128) = sum w p - 128 sum w, and with sum w even the second term leaves the
// shift as a whole number. Bounds, for weights that sum to at most 256: pairs and sums stay in
// [-32768, 32512], after rounding in [-32640, 32640], the result in 0..255: nothing saturates.
struct LumaLanes {
  int32_t weights = 0;
  uint8_t offset = 0;

  constexpr LumaLanes() = default;
  constexpr explicit LumaLanes(const RgbToYuvWeights &w)
      : weights(bytes_of(w.y[0], w.y[1], w.y[2], 0)),
        offset(uint8_t((w.y[0] + w.y[1] + w.y[2]) / 2 + w.offset)) {}

  static constexpr bool fit(const int16_t (&w)[3]) {
    const int32_t sum = w[0] + w[1] + w[2];
    return w[0] >= 0 && w[1] >= 0 && w[2] >= 0 && sum <= 256 && sum % 2 == 0;
  }
};

// Chroma: a weight below 0 multiplies 127 - p instead of p - 128, by its magnitude. With P and N
// the sums of the weights above and below 0, the lane sum is
//   sum w p - 128 P + 127 N.
// The fourth byte, a constant, adds what is missing and 128 for rounding. Bounds, for
// |w0| + |w1| <= 255 and |w2| <= 150: the pairs stay in [-32640, 32385] and within 19200 and what
// is missing. Their sum saturates, on purpose: beyond 16 bits the result is clamped anyway.
struct ChromaLanes {
  int32_t weights = 0, flip = 0;

  constexpr ChromaLanes() = default;
  constexpr explicit ChromaLanes(const int16_t (&w)[3]) {
    int32_t constant = 1;  // times a weight of up to 255
    while (constant < 127 && !makes_up(missing(w), constant)) ++constant;
    weights = bytes_of(magnitude(w[0]), magnitude(w[1]), magnitude(w[2]), missing(w) / constant);
    flip = bytes_of(flip_of(w[0]), flip_of(w[1]), flip_of(w[2]), constant);
  }

  static constexpr bool fit(const int16_t (&w)[3]) {
    const ChromaLanes lanes(w);
    const bool pairs_fit = magnitude(w[0]) + magnitude(w[1]) <= 255 && magnitude(w[2]) <= 150 &&
                           missing(w) >= 0 && missing(w) <= 12000;
    return pairs_fit && makes_up(missing(w), lanes.flip >> 24);
  }

 private:
  static constexpr int32_t magnitude(int32_t w) { return w < 0 ? -w : w; }
  static constexpr int32_t flip_of(int32_t w) { return w < 0 ? 0x7f : 0x80; }
  static constexpr int32_t missing_of(int32_t w) { return w < 0 ? 127 * w : 128 * w; }
  static constexpr int32_t missing(const int16_t (&w)[3]) {
    return missing_of(w[0]) + missing_of(w[1]) + missing_of(w[2]) + 128;
  }
  static constexpr bool makes_up(int32_t sum, int32_t constant) {
    return sum % constant == 0 && sum / constant <= 255;
  }
};

struct RgbToYuvLanes {
  LumaLanes luma;
  ChromaLanes chroma[2];
};

// The lanes of every matrix in either order of channels and samples.
struct RgbToYuvLanesTable {
  RgbToYuvLanes lanes[kColorMatrices][2][2];

  constexpr RgbToYuvLanesTable() {
    for (const ColorMatrix matrix : kEveryMatrix)
      for (const bool r_first : {false, true})
        for (const bool v_first : {false, true}) {
          const RgbToYuvWeights w(matrix, r_first, v_first);
          if (!LumaLanes::fit(w.y) || !ChromaLanes::fit(w.chroma[0]) ||
              !ChromaLanes::fit(w.chroma[1]))
            throw "weights that the lanes do not hold";
          lanes[matrix][r_first][v_first] = {LumaLanes(w),
                                             {ChromaLanes(w.chroma[0]), ChromaLanes(w.chroma[1])}};
        }
  }

  constexpr const RgbToYuvLanes &of(const RgbToYuvWeights &w) const {
    return lanes[w.matrix][w.r_first][w.v_first];
  }
};
inline constexpr RgbToYuvLanesTable kRgbToYuvLanes;

}  // namespace tavix::module
