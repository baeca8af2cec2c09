// SPDX-License-Identifier: Apache-2.0
#include "cpu_dispatch/cpu_features.h"

#if defined(__x86_64__)
#include <cpuid.h>
#endif

#include <algorithm>
#include <cstring>

namespace tavix::module {

namespace {

// A feature flag is a copy of one bit of one CPUID answer.
struct FlagSource {
  uint32_t flag;
  uint32_t CpuidAnswer::*word;
  int bit;
};

constexpr FlagSource kLeaf1Flags[] = {
    {TAVIX_CPU_FEATURE_SSE, &CpuidAnswer::edx, 25},
    {TAVIX_CPU_FEATURE_SSE2, &CpuidAnswer::edx, 26},
    {TAVIX_CPU_FEATURE_SSE3, &CpuidAnswer::ecx, 0},
    {TAVIX_CPU_FEATURE_SSSE3, &CpuidAnswer::ecx, 9},
    {TAVIX_CPU_FEATURE_SSE4_1, &CpuidAnswer::ecx, 19},
    {TAVIX_CPU_FEATURE_SSE4_2, &CpuidAnswer::ecx, 20},
    {TAVIX_CPU_FEATURE_AVX, &CpuidAnswer::ecx, 28},
    {TAVIX_CPU_FEATURE_FMA, &CpuidAnswer::ecx, 12},
};
constexpr FlagSource kLeaf7Flags[] = {
    {TAVIX_CPU_FEATURE_AVX2, &CpuidAnswer::ebx, 5},
    {TAVIX_CPU_FEATURE_AVX512F, &CpuidAnswer::ebx, 16},
    {TAVIX_CPU_FEATURE_AVX512_VNNI, &CpuidAnswer::ecx, 11},
};

template <size_t N>
uint32_t flags_of(const CpuidAnswer &answer, const FlagSource (&sources)[N]) {
  uint32_t flags = 0;
  for (const FlagSource &source : sources)
    if ((answer.*source.word >> source.bit) & 1) flags |= source.flag;
  return flags;
}

constexpr uint32_t bits(uint32_t word, int high, int low) {
  return uint32_t((uint64_t(word) >> low) & ((uint64_t(1) << (high - low + 1)) - 1));
}

// Of a data or unified cache, as leaf 4 and leaf 0x8000001D describe it; 0 for what is none.
uint64_t cache_size(const CpuidAnswer &answer) {
  const uint32_t type = bits(answer.eax, 4, 0);
  if (type != 1 && type != 3) return 0;
  return (uint64_t(bits(answer.ebx, 31, 22)) + 1) *  // ways
         (uint64_t(bits(answer.ebx, 21, 12)) + 1) *  // partitions
         (uint64_t(bits(answer.ebx, 11, 0)) + 1) *   // line size
         (uint64_t(answer.ecx) + 1);                 // sets
}

constexpr bool has_all(uint64_t word, uint64_t wanted) {
  return (word & wanted) == wanted;
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

CpuidAnswer ask_processor([[maybe_unused]] uint32_t leaf, [[maybe_unused]] uint32_t subleaf) {
  CpuidAnswer answer = {};
#if defined(__x86_64__)
  __cpuid_count(leaf, subleaf, answer.eax, answer.ebx, answer.ecx, answer.edx);
#endif
  return answer;
}

namespace detail {
TavixCpuFeatures features = {};
int64_t last_cache = 0;
CpuLevel level_limit = CpuLevel::kAvx512Vbmi;
}  // namespace detail

TavixCpuFeatures probe_cpu(Cpuid *cpuid) {
  TavixCpuFeatures record = {};
  record.flags = flags_of(cpuid(1, 0), kLeaf1Flags);
  record.flags |= flags_of(cpuid(7, 0), kLeaf7Flags);

  if (cpuid(0x80000000, 0).eax >= 0x80000005) {
    record.l1_size = uint64_t(bits(cpuid(0x80000005, 0).ecx, 31, 24)) * 1024;
    const CpuidAnswer outer = cpuid(0x80000006, 0);
    record.l2_size = uint64_t(bits(outer.ecx, 31, 16)) * 1024;
    record.l3_size = uint64_t(bits(outer.edx, 31, 18)) * 512 * 1024;
  }

  // Leaf 4 wins wherever it describes a data or unified cache, whoever made the processor.
  constexpr struct {
    uint32_t subleaf;
    uint64_t TavixCpuFeatures::*size;
  } kCaches[] = {{0, &TavixCpuFeatures::l1_size},
                 {2, &TavixCpuFeatures::l2_size},
                 {3, &TavixCpuFeatures::l3_size}};
  for (const auto &cache : kCaches)
    if (const uint64_t size = cache_size(cpuid(4, cache.subleaf)); size != 0)
      record.*cache.size = size;

  const CpuidAnswer vendor = cpuid(0, 0);
  const uint32_t text[] = {vendor.ebx, vendor.edx, vendor.ecx, 0};
  static_assert(sizeof(text) == sizeof(record.vendor));
  std::memcpy(record.vendor, text, sizeof(text));
  return record;
}

int64_t probe_last_cache(Cpuid *cpuid) {
  constexpr uint32_t kAmdLeaf = 0x8000001d;
  const bool has_amd_leaf = cpuid(0x80000000, 0).eax >= kAmdLeaf;
  const uint64_t amd = has_amd_leaf ? cache_size(cpuid(kAmdLeaf, 3)) : 0;
  return int64_t(amd != 0 ? amd : cache_size(cpuid(4, 3)));
}

const TavixCpuFeatures &cpu_features() {
  // Once, whoever asks; cheaper to ask again than a once_flag.
  static const TavixCpuFeatures &record = (detail::last_cache = probe_last_cache(ask_processor),
                                           detail::features = probe_cpu(ask_processor));
  return record;
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
