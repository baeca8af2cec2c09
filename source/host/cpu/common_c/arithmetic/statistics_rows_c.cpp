// SPDX-License-Identifier: Apache-2.0
// The portable kernels of statistics.
#include "cpu/common_c/arithmetic/statistics_rows.h"

#include <bit>

#include "common/frame_access.h"

namespace tavix::module {

namespace {

// Element r of a word, whose bytes or float stand in memory order.
template <class T>
StatSum<T> word_element_c(uint32_t word, int32_t r) {
  if constexpr (std::is_same_v<T, float>) {
    return double(std::bit_cast<float>(word));
  } else {
    return (word >> (8 * r)) & 0xFF;
  }
}

// Lanes are updated in a copy, which no byte of the frame can alias.
template <class Lanes>
void accumulate_sums_c(Lanes &result, const uint8_t *bytes, int64_t blocks) {
  using T = typename Lanes::Element;
  Lanes lanes = result;
  for (; blocks > 0; --blocks, bytes += kStatBlock)
    for (int32_t r = 0; r < kStatPerWord<T>; ++r)
      for (int32_t q = 0; q < kStatWords; ++q) {
        const StatSum<T> v = word_element_c<T>(load<uint32_t>(bytes, q), r);
        lanes.sum[r][q] += v;
        if constexpr (requires { lanes.sumsq; }) lanes.sumsq[r][q] += v * v;
      }
  result = lanes;
}

template <class T, class Beats>
void accumulate_extremes_c(ExtremeLanes<T, Beats> &result, const uint8_t *bytes, int64_t blocks) {
  ExtremeLanes<T, Beats> lanes = result;
  for (; blocks > 0; --blocks, bytes += kStatBlock)
    for (size_t k = 0; k < std::size(lanes.extreme); ++k) {
      const T v = load<T>(bytes, int64_t(k));
      lanes.extreme[k] = Beats{}(v, lanes.extreme[k]) ? v : lanes.extreme[k];
    }
  result = lanes;
}

}  // namespace

constinit const StatisticsRows kStatisticsRowsC = {
    accumulate_sums_c,     accumulate_sums_c,     accumulate_sums_c,     accumulate_sums_c,
    accumulate_extremes_c, accumulate_extremes_c, accumulate_extremes_c, accumulate_extremes_c};

}  // namespace tavix::module
