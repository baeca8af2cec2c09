// SPDX-License-Identifier: Apache-2.0
// From an operation code to the loop over all rows: one body class for each element type and code.
#pragma once

#include <cstdint>
#include <utility>

#include "common/parallel/tavix_parallel_wrapper.h"
#include "common/pixel_format.h"

namespace tavix::module {

template <class Body, class Job>
void run_body(const Job &job) {
  parallel_for_({0, job.video().height, 1}, Body(job), -1.0);
}

// Runs Family::Body<T, code>, built from the job; the code is below the number of operations. A
// family is a class of the implementation's own.
template <class Family, class Job, int... op>
void run_operation(const Job &job, uint32_t code, std::integer_sequence<int, op...>) {
  using Run = void (*)(const Job &);
  static constexpr Run kBytes[] = {run_body<typename Family::template Body<uint8_t, op>, Job>...};
  static constexpr Run kFloats[] = {run_body<typename Family::template Body<float, op>, Job>...};
  (is_float(job.video().format) ? kFloats : kBytes)[code](job);
}

}  // namespace tavix::module
