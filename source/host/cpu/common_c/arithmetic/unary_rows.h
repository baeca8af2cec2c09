// SPDX-License-Identifier: Apache-2.0
// The kernel family of unary arithmetic.
#pragma once

#include "common/frame_access.h"
#include "cpu/common_c/arithmetic/operation_rows.h"
#include "tavix/core/records.h"

namespace tavix::module {

inline constexpr int kUnaryOps = 4;

// One call. Each parameter points to four doubles.
struct UnaryJob {
  const TavixFrameV2 *src;
  TavixFrameV2 *dst;
  const double *scale, *offset;

  const TavixVideoInfo &video() const { return src->video; }

  // run(elements, src, dst) for the rows [start, end), with elements of T.
  template <class T, class Run>
  void for_each_row(const Range &rows, const Run &run) const {
    for_each_long_row<T>(rows.start, rows.end, run, *src, *dst);
  }
};

using UnaryRows = OperationRows<UnaryJob, kUnaryOps>;
extern const UnaryRows kUnaryRowsC, kUnaryRowsAvx2, kUnaryRowsAvx512, kUnaryRowsAvx512Vbmi;
const UnaryRows &unary_rows();

}  // namespace tavix::module
