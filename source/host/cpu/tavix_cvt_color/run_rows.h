// SPDX-License-Identifier: Apache-2.0
// How a driver runs: it names its two loop bodies on one line and the processor is asked here, once
// for each call.
#pragma once

#include "common/parallel/tavix_parallel_wrapper.h"
#include "cpu_dispatch/cpu_features.h"

namespace tavix::module {

// Runs rows 0 to rows - 1 on all workers: the vector body on a processor with AVX2, else the
// portable one. Both are built from the same arguments.
template <class Avx2Body, class CBody, class... Args>
void run_rows(int32_t rows, const Args &...args) {
  if (use_avx2()) {
    parallel_for_({0, rows, 1}, Avx2Body(args...), -1.0);
  } else {
    parallel_for_({0, rows, 1}, CBody(args...), -1.0);
  }
}

// As run_rows, but the portable body keeps to the calling thread.
template <class Avx2Body, class CBody, class... Args>
void run_rows_or_serial(int32_t rows, const Args &...args) {
  if (use_avx2()) {
    parallel_for_({0, rows, 1}, Avx2Body(args...), -1.0);
  } else if (rows > 0) {
    CBody(args...)({0, rows, 1});
  }
}

}  // namespace tavix::module
