// SPDX-License-Identifier: Apache-2.0
// The processor is asked in one place, once per process.
#pragma once

#include <cstdint>

namespace tavix::module {

enum TavixCpuFeature : uint32_t {
  TAVIX_CPU_FEATURE_SSE = 1u << 0,
  TAVIX_CPU_FEATURE_SSE2 = 1u << 1,
  TAVIX_CPU_FEATURE_SSE3 = 1u << 2,
  TAVIX_CPU_FEATURE_SSSE3 = 1u << 3,
  TAVIX_CPU_FEATURE_SSE4_1 = 1u << 4,
  TAVIX_CPU_FEATURE_SSE4_2 = 1u << 5,
  TAVIX_CPU_FEATURE_AVX = 1u << 6,
  TAVIX_CPU_FEATURE_AVX2 = 1u << 7,
  TAVIX_CPU_FEATURE_FMA = 1u << 8,
  TAVIX_CPU_FEATURE_AVX512F = 1u << 12,
  TAVIX_CPU_FEATURE_AVX512_VNNI = 1u << 15,
};

struct TavixCpuFeatures {
  uint32_t flags;    // TavixCpuFeature bits
  uint64_t l1_size;  // bytes of data cache
  uint64_t l2_size;
  uint64_t l3_size;
  char vendor[16];  // 12 characters and a zero word
};

// The record of this processor, probed by the first call and never changed afterwards.
const TavixCpuFeatures &cpu_features();

// The vector path is taken on this bit alone; the operating system is not asked, on purpose.
inline bool use_avx2() {
  return (cpu_features().flags & TAVIX_CPU_FEATURE_AVX2) != 0;
}

// How wide the row kernels of this process may be. The AVX2 bit of the feature record decides
// between the portable and the vector path; wider levels give the bits of AVX2 and are taken inside
// the vector path only. Each level includes those before it.
enum class CpuLevel : uint8_t {
  kPortable,
  kAvx2,
  kAvx512,      // F, BW, DQ and VL, and an operating system that keeps the wide registers
  kAvx512Vbmi,  // permutations of bytes across a register
};
inline constexpr int kCpuLevels = 4;

// The level of this processor, of the feature record as it stands.
CpuLevel cpu_level();

// Whether rows that only stream (in order, hardly computing, from one or two places to one) ask for
// memory ahead of themselves. Intel's own prefetching stops at the end of a page: on Cascade Lake
// such rows take 1.1 to 1.6 times as long unless they ask. On Zen 5 they take 1.05 to 1.25 times as
// long when they ask, where the third cache holds them, and as long where it does not.
inline bool streams_ask_ahead() {
  return cpu_features().vendor[0] == 'G';  // GenuineIntel
}

// One answer of the CPUID instruction.
struct CpuidAnswer {
  uint32_t eax, ebx, ecx, edx;
};

using Cpuid = CpuidAnswer(uint32_t leaf, uint32_t subleaf);

// Of this processor; zeros from one that has no such instruction.
Cpuid ask_processor;

// All read any source of CPUID answers.
TavixCpuFeatures probe_cpu(Cpuid *cpuid);
int64_t probe_last_cache(Cpuid *cpuid);
// The widest vector level that a processor and its operating system offer, kAvx2 at least; xgetbv
// (register 0) answers for the operating system.
CpuLevel probe_vector_level(Cpuid *cpuid, uint64_t (*xgetbv)());

namespace detail {
extern TavixCpuFeatures features;  // only tests change them, after the probe
extern int64_t last_cache;
extern CpuLevel level_limit;  // only tests lower it
}  // namespace detail

// Bytes of the third cache that this processor shares with its neighbours, 0 when it does not say.
// On AMD the feature record has the third caches of all processors together. Rows ask one by one,
// so this costs a load: it is probed with the record, which every choice of a level asks for.
inline int64_t last_cache_size() {
  return detail::last_cache;
}

}  // namespace tavix::module
