// SPDX-License-Identifier: Apache-2.0
// What the portable and the AVX entries of arithmetic, statistics and softmax share: the checks
// that both make, under the unit and function of the one that calls.
#pragma once

#include <cstdint>

#include "cpu/common_c/arithmetic/operation_rows.h"
#include "cpu/common_c/arithmetic/softmax_rows.h"

namespace tavix::module {

// Each returns TAVIX_OK, or the status of the first check that fails.

// All checks of binary arithmetic. tells_unsupported: whether an unsupported format gets a line.
int32_t check_binary(const LogOrigin &by, bool tells_unsupported, const BinaryJob &job,
                     uint32_t op);

// The last checks of unary arithmetic, of what would make the rows undefined.
int32_t check_unary_rows(const LogOrigin &by, const UnaryJob &job);

// The first checks of softmax, of records and dimensions.
int32_t check_softmax_blobs(const LogOrigin &by, const TavixBlob *src, const TavixBlob *dst);

// The last ones, of what would reach beyond the record or the storage; finds the shape.
int32_t check_softmax_shape(const LogOrigin &by, const TavixBlob &src, int32_t axis,
                            AxisShape &shape);

// What both statistics entries run once their own checks have passed, with the other checks: hands
// out statistic op as TavixFrameStatisticalFunctionByCPU says. Needs src and dst_array.
int32_t StatisticalFunctionOp(const TavixFrameV2 *src, int32_t op, TavixArray **dst_array);

}  // namespace tavix::module
