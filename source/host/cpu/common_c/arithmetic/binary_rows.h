// SPDX-License-Identifier: Apache-2.0
// The kernel family of binary arithmetic.
#pragma once

#include "common/frame_access.h"
#include "cpu/common_c/arithmetic/operation_rows.h"
#include "tavix/core/records.h"

namespace tavix::module {

inline constexpr int kBinaryOps = 10;

// One call. Each parameter points to four doubles.
struct BinaryJob {
  const TavixFrameV2 *src1, *src2;
  TavixFrameV2 *dst;
  const double *alpha, *beta, *gamma;

  const TavixVideoInfo &video() const { return src1->video; }

  // run(elements, src1, src2, dst) for the rows [start, end), with elements of T.
  template <class T, class Run>
  void for_each_row(const Range &rows, const Run &run) const {
    for_each_long_row<T>(rows.start, rows.end, run, *src1, *src2, *dst);
  }
};

using BinaryRows = OperationRows<BinaryJob, kBinaryOps>;
extern const BinaryRows kBinaryRowsC, kBinaryRowsAvx2, kBinaryRowsAvx512;
const BinaryRows &binary_rows();

}  // namespace tavix::module
