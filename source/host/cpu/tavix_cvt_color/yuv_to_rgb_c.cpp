// SPDX-License-Identifier: Apache-2.0
// Portable rows of 4:2:0 to 8-bit RGB.
#include <algorithm>
#include <cstdint>

#include "common/row_access.h"
#include "cpu/tavix_cvt_color/channel_strip.h"
#include "cpu/tavix_cvt_color/yuv_to_rgb.h"

namespace tavix::module {

namespace {

// Least and largest of a sum of products with bytes.
struct Interval {
  int32_t least, largest;

  constexpr Interval plus(int32_t factor) const {
    return {least + 255 * std::min(factor, 0), largest + 255 * std::max(factor, 0)};
  }
  constexpr bool lies_in(int32_t low, int32_t high) const {
    return low <= least && largest <= high;
  }
};

// What 16 bits rest on: chroma terms fit with a sign, and sums fit without one when raised.
constexpr int32_t kRaisedSums = 20480;  // a multiple of 64
constexpr bool sums_fit(ColorMatrix matrix) {
  const YuvToRgbWeights w(matrix, true, false);
  for (int k = 0; k < 3; ++k) {
    const Interval term = Interval{w.bias[k], w.bias[k]}.plus(w.chroma[k][0]).plus(w.chroma[k][1]);
    const Interval sum = Interval{term.least + w.y_bias, term.largest + w.y_bias}.plus(w.y_scale);
    if (!term.lies_in(INT16_MIN, INT16_MAX) || !sum.lies_in(-kRaisedSums, UINT16_MAX - kRaisedSums))
      return false;
  }
  return true;
}
static_assert(std::ranges::all_of(kEveryMatrix, sums_fit));

// What chroma adds to the channels of each column, from a pair on. Terms fit 16 bits.
using ChromaTerms = int16_t[3][kStripColumns];
template <ChromaLayout layout>
void chroma_terms_c(const uint8_t *const (&chroma)[2], int32_t first_pair, int32_t pairs,
                    const YuvToRgbWeights &w, ChromaTerms &terms) {
  for (int k = 0; k < 3; ++k) {
    const int16_t first = int16_t(w.chroma[k][0]), second = int16_t(w.chroma[k][1]);
    const int16_t bias = int16_t(w.bias[k]);
    for (int32_t i = 0; i < pairs; ++i) {
      const int16_t term = int16_t(first * chroma_at<layout>(chroma, first_pair + i, 0) +
                                   second * chroma_at<layout>(chroma, first_pair + i, 1) + bias);
      terms[k][2 * i] = term;
      terms[k][2 * i + 1] = term;
    }
  }
}

// One channel of one row.
void channel_row_c(const uint8_t *y, const int16_t *terms, uint8_t *channel, int32_t columns,
                   const YuvToRgbWeights &w) {
  const uint16_t scale = uint16_t(w.y_scale), bias = uint16_t(w.y_bias + kRaisedSums);
  TAVIX_INDEPENDENT_ITERATIONS
  for (int32_t x = 0; x < columns; ++x) {
    const uint16_t sum = uint16_t(scale * y[x] + bias + terms[x]);
    const int16_t value = int16_t((sum >> 6) - kRaisedSums / 64);
    const int16_t above = value > 0 ? value : int16_t(0);
    channel[x] = uint8_t(above < 255 ? above : int16_t(255));
  }
}

struct YuvToRgbRowC {
  template <int channels, ChromaLayout layout>
  static void row(const YuvToRgbRowPair &rows, int32_t width, const YuvToRgbWeights &w) {
    ChromaTerms terms;
    ChannelStrip<uint8_t> strip;
    for (int32_t x = 0; x < width; x += kStripColumns) {
      const int32_t columns = std::min(kStripColumns, width - x);
      chroma_terms_c<layout>(rows.chroma, x / 2, columns / 2, w, terms);
      for (int i = 0; i < 2; ++i) {
        for (int k = 0; k < 3; ++k) channel_row_c(rows.y[i] + x, terms[k], strip[k], columns, w);
        join_channels_c<channels>(strip, rows.packed[i] + int64_t(x) * channels, columns);
      }
    }
  }
};

}  // namespace

constinit const YuvToRgbRows kYuvToRgbRowsC = YuvToRgbRows::of<YuvToRgbRowC>();

}  // namespace tavix::module
