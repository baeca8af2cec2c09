// SPDX-License-Identifier: Apache-2.0
// The kernels of maxima and minima, which serve every vector level.
#pragma once

#include "cpu/common_c/arithmetic/statistics_rows.h"

namespace tavix::module::avx2 {

Accumulate<MaxLanes<uint8_t>> accumulate_extreme;
Accumulate<MaxLanes<float>> accumulate_extreme;
Accumulate<MinLanes<uint8_t>> accumulate_extreme;
Accumulate<MinLanes<float>> accumulate_extreme;

}  // namespace tavix::module::avx2
