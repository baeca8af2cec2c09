// SPDX-License-Identifier: Apache-2.0
// The rows of element-wise arithmetic: one function for each element type and operation code.
#pragma once

#include <cstdint>
#include <utility>

#include "common/parallel/tavix_parallel_wrapper.h"
#include "common/pixel_format.h"

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

  // Each function builds Family::Body<T, op> from the job, once for each call, and hands it all
  // rows.
  template <class Family>
  static constexpr OperationRows of() {
    return of<Family>(std::make_integer_sequence<int, operations>{});
  }

 private:
  template <class Body>
  static void run(const Job &job) {
    parallel_for_({0, job.video().height, 1}, Body(job), -1.0);
  }
  template <class Family, int... op>
  static constexpr OperationRows of(std::integer_sequence<int, op...>) {
    return {{run<typename Family::template Body<uint8_t, op>>...},
            {run<typename Family::template Body<float, op>>...}};
  }
};

}  // namespace tavix::module
