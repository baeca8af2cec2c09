// SPDX-License-Identifier: Apache-2.0
// The kernel families of element-wise arithmetic, binary and unary: one function for each element
// type and operation code.
#pragma once

#include <cstdint>
#include <utility>

#include "common/frame_access.h"
#include "common/parallel/tavix_parallel_wrapper.h"
#include "common/pixel_format.h"
#include "tavix/core/records.h"

namespace tavix::module {

// Runs all rows of a call, which has passed its checks and has pixels.
template <class Job>
using RunRows = void(const Job &job);

template <class Job, int operations>
struct OperationRows {
  RunRows<Job> *bytes[operations], *floats[operations];

  void operator()(const Job &job, uint32_t op) const {
    (is_float(job.video().format) ? floats : bytes)[op](job);
  }

  // Each function builds Body<T, op> from the job, once for each call, and hands it all rows.
  template <template <class T, int op> class Body>
  static constexpr OperationRows of() {
    return of<Body>(std::make_integer_sequence<int, operations>{});
  }

 private:
  template <class Body>
  static void run(const Job &job) {
    parallel_for_({0, job.video().height, 1}, Body(job), -1.0);
  }
  template <template <class, int> class Body, int... op>
  static constexpr OperationRows of(std::integer_sequence<int, op...>) {
    return {{run<Body<uint8_t, op>>...}, {run<Body<float, op>>...}};
  }
};

inline constexpr int kBinaryOps = 10;

// One call of binary arithmetic. Each parameter points to four doubles.
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

inline constexpr int kUnaryOps = 4;

// One call of unary arithmetic. Each parameter points to four doubles.
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
