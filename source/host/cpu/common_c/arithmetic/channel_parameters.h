// SPDX-License-Identifier: Apache-2.0
// Parameters of their own for each channel: as callers give them, and as loops over a row want
// them.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "common/frame_access.h"

namespace tavix::module {

using ChannelParameters = std::array<double, kMaxChannels>;

// Elements of whole pixels of 1, 2, 3 or 4 channels, and the channel of each by their number.
inline constexpr int32_t kWholePixels = 12;
inline constexpr uint8_t kChannelOf[kMaxChannels][kWholePixels] = {
    {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
    {0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1},
    {0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 2},
    {0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3}};

// step(i, k) for the elements i of [0, n), which are independent of each other; k is i modulo the
// period.
template <int32_t period, class Step>
void for_each_element(int64_t n, const Step &step) {
  int64_t i = 0;
  for (; i <= n - period; i += period) {
    TAVIX_INDEPENDENT_ITERATIONS
    for (int32_t k = 0; k < period; ++k) step(i + k, k);
  }
  for (int32_t k = 0; i < n; ++i, ++k) step(i, k);
}

// The parameters of so many elements in a row. Values has one for each channel.
template <class T, int32_t period>
struct ParameterPattern {
  template <class Values>
  ParameterPattern(const Values &values, int32_t channels) {
    static_assert(period % kWholePixels == 0);
    for (int32_t k = 0; k < kWholePixels; ++k) lanes[k] = T(values[kChannelOf[channels - 1][k]]);
    if constexpr (period > kWholePixels) {
      T unit[kWholePixels];  // in registers, where the stores that follow cannot change it
      std::copy_n(lanes, kWholePixels, unit);
      for (int32_t k = kWholePixels; k < period; k += kWholePixels)
        std::copy_n(unit, kWholePixels, lanes + k);
    }
  }
  T lanes[period];
};

// As many as the blocks of the widest vectors have.
using FloatPattern = ParameterPattern<float, 48>;
using BytePattern = ParameterPattern<uint8_t, 4 * 48>;

}  // namespace tavix::module
