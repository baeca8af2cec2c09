// SPDX-License-Identifier: Apache-2.0
// A kernel family: the same row functions for each level of processor, one record of them a level.
// Who runs rows asks the family's accessor once for each call; nothing else asks about the
// processor.
#pragma once

#include "cpu_dispatch/cpu_level.h"

namespace tavix::module {

template <class Rows>
struct KernelFamily {
  // By level. The portable record is always there; null where a level has no record of its own.
  const Rows *records[kCpuLevels];

  // The record of a level, or of the next one below that has one.
  const Rows &at(CpuLevel level) const {
    int i = int(level);
    while (records[i] == nullptr) --i;
    return *records[i];
  }

  const Rows &best() const { return at(cpu_level()); }
};

}  // namespace tavix::module
