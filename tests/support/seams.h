// SPDX-License-Identifier: Apache-2.0
// Seams that only tests use: how many workers there are, and what the processor can do.
//
//   for_each_path([&](const Path &path) { sweep(...); });   // path.vector, path.workers
//   const ScopedWorkers eight(8);
//   const WithoutAvx2 portable;
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <vector>

#include "common/parallel/tavix_parallel_wrapper.h"
#include "cpu_dispatch/cpu_features.h"
#include "tavix/core/host.h"

namespace tavix::test {

// Changes a variable for its own lifetime.
template <class T>
class Scoped {
 public:
  Scoped(T &variable, T value) : variable_(variable), old_(variable) { variable = value; }
  ~Scoped() { variable_ = old_; }
  Scoped(const Scoped &) = delete;
  Scoped &operator=(const Scoped &) = delete;

 private:
  T &variable_;
  T old_;
};

// Another worker count; no arena of the old count is left over, nor one of the new count after it.
class ScopedWorkers {
 public:
  explicit ScopedWorkers(int workers) : count_(module::worker_count, uint8_t(workers)) {
    TavixDeinitialize();
  }
  ~ScopedWorkers() { TavixDeinitialize(); }

 private:
  Scoped<uint8_t> count_;
};

// Another feature record, in the one field that is looked at.
class ScopedCpuFlags : Scoped<uint32_t> {
 public:
  // The probe comes first, so that it cannot undo the change.
  explicit ScopedCpuFlags(uint32_t flags)
      : Scoped((static_cast<void>(module::cpu_features()), module::detail::features.flags), flags) {
  }
};

class WithoutAvx2 : ScopedCpuFlags {
 public:
  WithoutAvx2() : ScopedCpuFlags(module::cpu_features().flags & ~module::TAVIX_CPU_FEATURE_AVX2) {}
};

struct Path {
  bool vector;
  int workers;
};

// The portable path, and the vector path where this processor has it, each with 1 and 8 workers.
inline void for_each_path(const std::function<void(const Path &)> &run) {
  const uint32_t processor = module::cpu_features().flags;
  for (const bool vector : {false, true}) {
    if (vector && !module::use_avx2()) continue;
    for (const int workers : {1, 8}) {
      SCOPED_TRACE(::testing::Message()
                   << (vector ? "vector" : "portable") << " path, " << workers << " workers");
      const ScopedCpuFlags flags(vector ? processor : processor & ~module::TAVIX_CPU_FEATURE_AVX2);
      const ScopedWorkers count(workers);
      run({vector, workers});
    }
  }
}

}  // namespace tavix::test
