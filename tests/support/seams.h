// SPDX-License-Identifier: Apache-2.0
// Seams that only tests use: how many workers there are, and what the processor can do.
//
//   for_each_path([&](const Path &path) { sweep(...); });   // path.vector, path.workers
//   const ScopedWorkers eight(8);
//   const WithoutAvx2 portable;
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
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

// Row kernels of one level, even where the processor has a wider one. The level must be there.
class ScopedLevel {
 public:
  explicit ScopedLevel(module::CpuLevel level)
      : flags_(level == module::CpuLevel::kPortable
                   ? module::cpu_features().flags & ~module::TAVIX_CPU_FEATURE_AVX2
                   : module::cpu_features().flags),
        limit_(module::detail::level_limit, level) {}

 private:
  ScopedCpuFlags flags_;
  Scoped<module::CpuLevel> limit_;
};

inline const char *name_of(module::CpuLevel level) {
  constexpr const char *kNames[] = {"portable", "AVX2", "AVX-512", "AVX-512 with VBMI"};
  return kNames[int(level)];
}

// The portable level and those that this processor has, up to the widest that any kernel is written
// for.
inline std::vector<module::CpuLevel> levels() {
  constexpr module::CpuLevel kWidestKernels = module::CpuLevel::kAvx512Vbmi;
  std::vector<module::CpuLevel> levels;
  const int widest = int(std::min(module::cpu_level(), kWidestKernels));
  for (int level = 0; level <= widest; ++level) levels.push_back(module::CpuLevel(level));
  return levels;
}

struct Path {
  module::CpuLevel level;
  bool vector;  // the level is not the portable one
  int workers;
};

// Every level of levels(), each with 1 and 8 workers.
inline void for_each_path(const std::function<void(const Path &)> &run) {
  for (const module::CpuLevel level : levels()) {
    for (const int workers : {1, 8}) {
      SCOPED_TRACE(::testing::Message() << name_of(level) << ", " << workers << " workers");
      const ScopedLevel scoped(level);
      const ScopedWorkers count(workers);
      run({level, level != module::CpuLevel::kPortable, workers});
    }
  }
}

}  // namespace tavix::test
