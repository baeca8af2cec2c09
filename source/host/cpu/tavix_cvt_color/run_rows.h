// SPDX-License-Identifier: Apache-2.0
// How a driver runs a body whose portable rows keep to the calling thread.
#pragma once

#include "common/parallel/tavix_parallel_wrapper.h"

namespace tavix::module {

inline void run_rows(const Range &rows, const ParallelLoopBody &body, bool on_all_workers) {
  if (on_all_workers) {
    parallel_for_(rows, body, -1.0);
  } else if (rows.start < rows.end) {
    body(rows);
  }
}

}  // namespace tavix::module
