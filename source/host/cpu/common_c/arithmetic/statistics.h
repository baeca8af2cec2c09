// SPDX-License-Identifier: Apache-2.0
// What both statistics entries run once their own checks have passed.
#pragma once

#include <cstdint>

#include "tavix/core/records.h"

namespace tavix::module {

// Computes statistic op of a frame with elements of T, uint8_t or float, and hands it out as
// TavixFrameStatisticalFunctionByCPU says. Needs src and dst_array; the other checks are its own.
template <class T>
int32_t StatisticalFunctionOp(const TavixFrameV2 *src, int32_t op, TavixArray **dst_array);

extern template int32_t StatisticalFunctionOp<uint8_t>(const TavixFrameV2 *, int32_t,
                                                       TavixArray **);
extern template int32_t StatisticalFunctionOp<float>(const TavixFrameV2 *, int32_t, TavixArray **);

}  // namespace tavix::module
