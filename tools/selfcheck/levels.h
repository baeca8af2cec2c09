// SPDX-License-Identifier: Apache-2.0
// The implementations that this machine can run, and the choice among them.
#pragma once

#include <vector>

#include "cpu_dispatch/cpu_features.h"

namespace tavix::selfcheck {

inline const char *name_of(module::CpuLevel level) {
  constexpr const char *kNames[] = {"portable", "AVX2", "AVX-512", "AVX-512 with VBMI"};
  return kNames[int(level)];
}

// From the portable one to the widest; to be asked before any of them is forced.
inline std::vector<module::CpuLevel> levels() {
  std::vector<module::CpuLevel> levels;
  for (int level = 0; level <= int(module::cpu_level()); ++level)
    levels.push_back(module::CpuLevel(level));
  return levels;
}

// Has the operations run at one level from now on.
class LevelChoice {
 public:
  LevelChoice() : flags_(module::cpu_features().flags) {}

  void force(module::CpuLevel level) const {
    const bool portable = level == module::CpuLevel::kPortable;
    module::detail::features.flags = portable ? flags_ & ~module::TAVIX_CPU_FEATURE_AVX2 : flags_;
    module::detail::level_limit = level;
  }

 private:
  uint32_t flags_;  // as the probe found them
};

}  // namespace tavix::selfcheck
