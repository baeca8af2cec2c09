// SPDX-License-Identifier: Apache-2.0
// Parameters of their own for each channel: as callers give them, and as loops over a row want
// them.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "common/frame_access.h"
#include "common/independent_iterations.h"

namespace tavix::module {

using ChannelParameters = std::array<double, kMaxChannels>;

inline ChannelParameters copy_parameters(const double *values) {
  ChannelParameters copy;
  std::copy_n(values, copy.size(), copy.begin());
  return copy;
}

// step(i, k) for the elements i of [0, n), which are independent of each other; k is i modulo the
// period.
template <int32_t period, class Step>
void for_each_element(int32_t n, const Step &step) {
  int32_t i = 0;
  for (; i <= n - period; i += period) {
    TAVIX_INDEPENDENT_ITERATIONS
    for (int32_t k = 0; k < period; ++k) step(i + k, k);
  }
  for (int32_t k = 0; i < n; ++i, ++k) step(i, k);
}

// The parameters of so many elements in a row, whole pixels of 1, 2, 3 or 4 channels.
template <class T, int32_t period>
struct ParameterPattern {
  ParameterPattern(const ChannelParameters &values, int32_t channels) {
    constexpr int32_t kUnit = 12;
    static_assert(period % kUnit == 0);
    static constexpr uint8_t kChannel[kMaxChannels][kUnit] = {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
                                                              {0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1},
                                                              {0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 2},
                                                              {0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3}};
    for (int32_t k = 0; k < kUnit; ++k) lanes[k] = T(values[kChannel[channels - 1][k]]);
    if constexpr (period > kUnit) {
      T unit[kUnit];  // in registers, where the stores that follow cannot change it
      std::copy_n(lanes, kUnit, unit);
      for (int32_t k = kUnit; k < period; k += kUnit) std::copy_n(unit, kUnit, lanes + k);
    }
  }
  T lanes[period];
};

}  // namespace tavix::module
