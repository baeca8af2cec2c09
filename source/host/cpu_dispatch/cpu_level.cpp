// SPDX-License-Identifier: Apache-2.0
#include "cpu_dispatch/cpu_level.h"

#include <algorithm>

namespace tavix::module {

namespace {

constexpr bool has_all(uint64_t word, uint64_t bits) {
  return (word & bits) == bits;
}

constexpr uint32_t kOsxsave = 1u << 27;  // leaf 1, ecx
constexpr uint32_t kFoundation = 1u << 16, kDq = 1u << 17, kBw = 1u << 30,
                   kVl = 1u << 31;   // 7, ebx
constexpr uint32_t kVbmi = 1u << 1;  // leaf 7, ecx
// What the operating system saves: xmm, ymm, masks, the upper halves of zmm 0 to 15, zmm 16 to 31.
constexpr uint64_t kWideState = 0xe6;

uint64_t ask_operating_system() {
  uint32_t low = 0, high = 0;
#if defined(__x86_64__)
  __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
#endif
  return uint64_t(high) << 32 | low;
}

}  // namespace

namespace detail {
CpuLevel level_limit = CpuLevel::kAvx512Vbmi;
}

CpuLevel probe_vector_level(Cpuid *cpuid, uint64_t (*xgetbv)()) {
  // xgetbv is an instruction only where the operating system says so.
  if (!has_all(cpuid(1, 0).ecx, kOsxsave) || !has_all(xgetbv(), kWideState)) return CpuLevel::kAvx2;
  const CpuidAnswer features = cpuid(7, 0);
  if (!has_all(features.ebx, kFoundation | kDq | kBw | kVl)) return CpuLevel::kAvx2;
  return has_all(features.ecx, kVbmi) ? CpuLevel::kAvx512Vbmi : CpuLevel::kAvx512;
}

CpuLevel cpu_level() {
  if (!use_avx2()) return CpuLevel::kPortable;
  static const CpuLevel widest = probe_vector_level(ask_processor, ask_operating_system);
  return std::min(widest, detail::level_limit);
}

}  // namespace tavix::module
