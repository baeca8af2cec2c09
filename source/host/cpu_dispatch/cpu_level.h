// SPDX-License-Identifier: Apache-2.0
// How wide the row kernels of this process may be. The AVX2 bit of the feature record decides
// between the portable and the vector path; wider levels give the bits of AVX2 and are taken inside
// the vector path only.
#pragma once

#include <cstdint>

#include "cpu_dispatch/cpu_features.h"

namespace tavix::module {

// Each level includes those before it.
enum class CpuLevel : uint8_t {
  kPortable,
  kAvx2,
  kAvx512,      // F, BW, DQ and VL, and an operating system that keeps the wide registers
  kAvx512Vbmi,  // permutations of bytes across a register
};
inline constexpr int kCpuLevels = 4;

// The level of this processor, of the feature record as it stands.
CpuLevel cpu_level();

// The widest vector level that a processor and its operating system offer, kAvx2 at least: cpuid
// answers for the processor, xgetbv (register 0) for the operating system.
CpuLevel probe_vector_level(Cpuid *cpuid, uint64_t (*xgetbv)());

namespace detail {
extern CpuLevel level_limit;  // only tests lower it
}

}  // namespace tavix::module
