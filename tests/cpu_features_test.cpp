// SPDX-License-Identifier: Apache-2.0
// The processor probe, over made-up processors and over the real one.
#include <gtest/gtest.h>

#if defined(__x86_64__)
#include <cpuid.h>
#endif

#include <cstring>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "cpu_dispatch/cpu_features.h"
#include "cpu_dispatch/kernel_families.h"
#include "support/seams.h"
#include "tavix/video_common_cpu.h"

namespace tavix::module {
namespace {

using Leaf = std::pair<uint32_t, uint32_t>;  // with its sub-leaf

// The processor that the probe asks; leaves left out answer zeros.
std::map<Leaf, CpuidAnswer> processor;
CpuidAnswer ask(uint32_t leaf, uint32_t subleaf) {
  return processor[{leaf, subleaf}];
}

TavixCpuFeatures probe(std::map<Leaf, CpuidAnswer> answers) {
  processor = std::move(answers);
  return probe_cpu(ask);
}

int64_t last_cache(std::map<Leaf, CpuidAnswer> answers) {
  processor = std::move(answers);
  return probe_last_cache(ask);
}

constexpr uint32_t kAllBits = ~0u;

struct Feature {
  int bit;  // of the flags
  Leaf leaf;
  uint32_t CpuidAnswer::*word;
  int source_bit;
};

constexpr Feature kFeatures[] = {
    {0, {1, 0}, &CpuidAnswer::edx, 25},  {1, {1, 0}, &CpuidAnswer::edx, 26},
    {2, {1, 0}, &CpuidAnswer::ecx, 0},   {3, {1, 0}, &CpuidAnswer::ecx, 9},
    {4, {1, 0}, &CpuidAnswer::ecx, 19},  {5, {1, 0}, &CpuidAnswer::ecx, 20},
    {6, {1, 0}, &CpuidAnswer::ecx, 28},  {7, {7, 0}, &CpuidAnswer::ebx, 5},
    {8, {1, 0}, &CpuidAnswer::ecx, 12},  {12, {7, 0}, &CpuidAnswer::ebx, 16},
    {15, {7, 0}, &CpuidAnswer::ecx, 11},
};

TEST(CpuFeatures, EveryFlagIsACopyOfOneBit) {
  uint32_t all = 0;
  for (const Feature &feature : kFeatures) {
    CpuidAnswer only = {};
    only.*feature.word = 1u << feature.source_bit;
    EXPECT_EQ(probe({{feature.leaf, only}}).flags, 1u << feature.bit) << feature.bit;

    CpuidAnswer others = {kAllBits, kAllBits, kAllBits, kAllBits};
    others.*feature.word = ~(1u << feature.source_bit);
    EXPECT_EQ(probe({{feature.leaf, others}}).flags & (1u << feature.bit), 0u) << feature.bit;
    all |= 1u << feature.bit;
  }
  const CpuidAnswer full = {kAllBits, kAllBits, kAllBits, kAllBits};
  EXPECT_EQ(probe({{{1, 0}, full}, {{7, 0}, full}}).flags, all);
  EXPECT_EQ(probe({{{1, 1}, full}, {{7, 1}, full}}).flags, 0u) << "other sub-leaves do not count";
}

constexpr CpuidAnswer kHighestExtended = {0x80000008, 0, 0, 0};

TEST(CpuFeatures, CacheSizesOfTheExtendedLeaves) {
  // 32 KiB, 512 KiB, 16 MiB; the neighbouring fields are full.
  const std::map<Leaf, CpuidAnswer> amd = {
      {{0x80000000, 0}, kHighestExtended},
      {{0x80000005, 0}, {kAllBits, kAllBits, (32u << 24) | 0xffffff, kAllBits}},
      {{0x80000006, 0}, {kAllBits, kAllBits, (512u << 16) | 0xffff, (32u << 18) | 0x3ffff}}};
  TavixCpuFeatures features = probe(amd);
  EXPECT_EQ(features.l1_size, 32u << 10);
  EXPECT_EQ(features.l2_size, 512u << 10);
  EXPECT_EQ(features.l3_size, 16u << 20);

  auto highest = amd;
  highest[{0x80000005, 0}].ecx = highest[{0x80000006, 0}].ecx = kAllBits;
  highest[{0x80000006, 0}].edx = kAllBits;
  features = probe(highest);
  EXPECT_EQ(features.l1_size, 255u << 10);
  EXPECT_EQ(features.l2_size, 65535u << 10);
  EXPECT_EQ(features.l3_size, uint64_t(16383) << 19);

  auto without = amd;
  without[{0x80000000, 0}].eax = 0x80000004;
  features = probe(without);
  EXPECT_EQ(features.l1_size + features.l2_size + features.l3_size, 0u);
  without[{0x80000000, 0}].eax = 0x80000005;
  EXPECT_EQ(probe(without).l1_size, 32u << 10);
}

// ways, partitions, line size and sets as counts; the fields hold one less.
CpuidAnswer cache(uint32_t type, uint32_t ways, uint32_t partitions, uint32_t line, uint32_t sets) {
  return {type | 0xffffffe0, ((ways - 1) << 22) | ((partitions - 1) << 12) | (line - 1), sets - 1,
          kAllBits};
}

TEST(CpuFeatures, LeafFourReplacesTheExtendedLeaves) {
  const std::map<Leaf, CpuidAnswer> both = {{{0x80000000, 0}, kHighestExtended},
                                            {{0x80000005, 0}, {0, 0, 64u << 24, 0}},
                                            {{0x80000006, 0}, {0, 0, 1024u << 16, 2u << 18}},
                                            {{4, 0}, cache(1, 12, 1, 64, 64)},
                                            {{4, 1}, cache(1, 1, 1, 1, 1)},
                                            {{4, 2}, cache(3, 10, 2, 64, 2048)},
                                            {{4, 3}, cache(3, 1024, 1024, 4096, 1u << 12)}};
  TavixCpuFeatures features = probe(both);
  EXPECT_EQ(features.l1_size, 48u << 10);
  EXPECT_EQ(features.l2_size, 2560u << 10);
  EXPECT_EQ(features.l3_size, uint64_t(1) << 44) << "products need 64 bits";

  // Instruction caches, the end of the list and unknown types say nothing.
  for (const uint32_t type : {0u, 2u, 4u, 31u}) {
    auto others = both;
    for (const uint32_t subleaf : {0u, 2u, 3u}) {
      uint32_t &eax = others[{4, subleaf}].eax;
      eax = (eax & ~31u) | type;
    }
    features = probe(others);
    EXPECT_EQ(features.l1_size, 64u << 10) << type;
    EXPECT_EQ(features.l2_size, 1024u << 10) << type;
    EXPECT_EQ(features.l3_size, 1u << 20) << type;
  }
}

TEST(CpuFeatures, LastCacheIsTheProcessorsOwnPart) {
  const std::map<Leaf, CpuidAnswer> amd = {{{0x80000000, 0}, {0x8000001d, 0, 0, 0}},
                                           {{0x80000006, 0}, {0, 0, 0, 768u << 18}},
                                           {{0x8000001d, 3}, cache(3, 16, 1, 64, 32768)}};
  EXPECT_EQ(last_cache(amd), 32 << 20);
  auto without = amd;
  without[{0x80000000, 0}].eax = 0x8000001c;
  EXPECT_EQ(last_cache(without), 0);
  without[{4, 3}] = cache(3, 11, 1, 64, 53248);
  EXPECT_EQ(last_cache(without), 36608 << 10);
  without[{4, 3}].eax &= ~31u;
  EXPECT_EQ(last_cache(without), 0);
}

TEST(CpuFeatures, VendorTextEndsWithAZeroWord) {
  uint32_t words[3];  // EBX, EDX, ECX
  std::memcpy(words, "GenuineIntel", sizeof words);
  const auto features = probe({{{0, 0}, {13, words[0], words[2], words[1]}}});
  EXPECT_EQ(std::memcmp(features.vendor, "GenuineIntel\0\0\0", 16), 0);
}

#if defined(__x86_64__)
CpuidAnswer real_cpuid(uint32_t leaf) {
  CpuidAnswer answer;
  __cpuid_count(leaf, 0, answer.eax, answer.ebx, answer.ecx, answer.edx);
  return answer;
}

TEST(CpuFeatures, ThisProcessor) {
  const TavixCpuFeatures &features = cpu_features();
  uint32_t expected = 0;
  for (const Feature &feature : kFeatures) {
    const uint32_t word = real_cpuid(feature.leaf.first).*feature.word;
    expected |= ((word >> feature.source_bit) & 1) << feature.bit;
  }
  EXPECT_EQ(features.flags, expected);
  EXPECT_NE(features.flags & TAVIX_CPU_FEATURE_SSE2, 0u) << "every x86-64 has it";
  EXPECT_EQ(use_avx2(), (expected & (1u << 7)) != 0);
  const CpuidAnswer vendor = real_cpuid(0);
  EXPECT_EQ(std::memcmp(features.vendor, &vendor.ebx, 4), 0);
  EXPECT_EQ(std::memcmp(features.vendor + 4, &vendor.edx, 4), 0);
  EXPECT_EQ(std::memcmp(features.vendor + 8, &vendor.ecx, 4), 0);
  EXPECT_EQ(std::strlen(features.vendor), 12u);
}

#else

TEST(CpuFeatures, ThisProcessor) {
  EXPECT_EQ(cpu_features().flags, 0u) << "there is no CPUID to ask";
  EXPECT_EQ(cpu_level(), CpuLevel::kPortable);
}

#endif

TEST(CpuFeatures, ProbedOnceWhoeverAsks) {
  std::vector<const TavixCpuFeatures *> seen(8);
  {
    std::vector<std::jthread> threads;
    for (auto &address : seen) threads.emplace_back([&address] { address = &cpu_features(); });
  }
  for (const auto *address : seen) EXPECT_EQ(address, &cpu_features());
  const test::ScopedCpuFlags changed(0x5a);
  EXPECT_EQ(cpu_features().flags, 0x5au) << "a second probe would have restored them";
}

// A processor with every feature that a wide level asks for, under an operating system that saves
// these register states.
CpuLevel level_of(CpuidAnswer leaf1, CpuidAnswer leaf7, uint64_t saved) {
  static uint64_t state;
  state = saved;
  processor = {{{1, 0}, leaf1}, {{7, 0}, leaf7}};
  return probe_vector_level(ask, [] { return state; });
}

TEST(CpuLevel, WideLevelsNeedTheProcessorAndTheOperatingSystem) {
  constexpr uint32_t kF = 1u << 16, kDq = 1u << 17, kBw = 1u << 30, kVl = 1u << 31, kVbmi = 1u << 1;
  constexpr CpuidAnswer kSaves = {0, 0, 1u << 27, 0};
  constexpr CpuidAnswer kWide = {0, kF | kDq | kBw | kVl, 0, 0};
  constexpr CpuidAnswer kVbmiToo = {0, kF | kDq | kBw | kVl, kVbmi, 0};
  constexpr uint64_t kState = 0xe7;

  EXPECT_EQ(level_of(kSaves, kWide, kState), CpuLevel::kAvx512);
  EXPECT_EQ(level_of(kSaves, kVbmiToo, kState), CpuLevel::kAvx512Vbmi);
  for (const uint32_t bit : {kF, kDq, kBw, kVl}) {
    CpuidAnswer lacking = kVbmiToo;
    lacking.ebx &= ~bit;
    EXPECT_EQ(level_of(kSaves, lacking, kState), CpuLevel::kAvx2) << bit;
  }
  for (const int bit : {1, 2, 5, 6, 7})
    EXPECT_EQ(level_of(kSaves, kVbmiToo, kState & ~(uint64_t(1) << bit)), CpuLevel::kAvx2) << bit;
}

TEST(CpuLevel, TheOperatingSystemIsAskedOnlyWhereItCanAnswer) {
  processor = {{{1, 0}, {0, 0, ~(1u << 27), 0}},
               {{7, 0}, {kAllBits, kAllBits, kAllBits, kAllBits}}};
  const auto never = []() -> uint64_t {
    ADD_FAILURE() << "xgetbv would fault";
    return ~uint64_t(0);
  };
  EXPECT_EQ(probe_vector_level(ask, never), CpuLevel::kAvx2);
}

TEST(CpuLevel, TheAvx2BitDecidesBetweenThePaths) {
  const test::WithoutAvx2 portable;
  EXPECT_EQ(cpu_level(), CpuLevel::kPortable);
}

TEST(KernelFamily, ALevelWithoutARecordTakesTheNextOneBelow) {
  static const int portable = 0, wide = 2;
  const KernelFamily<int> family = {{&portable, nullptr, &wide}};
  EXPECT_EQ(family.at(CpuLevel::kPortable), 0);
  EXPECT_EQ(family.at(CpuLevel::kAvx2), 0);
  EXPECT_EQ(family.at(CpuLevel::kAvx512), 2);
  EXPECT_EQ(family.at(CpuLevel::kAvx512Vbmi), 2);
}

// A record for a level of its own: what an instruction set adds.
constinit int pinned_runs = 0;
void pin_operation(const UnaryJob &job) {
  ++pinned_runs;
  *job.dst->data[0] = 77;
}
template <class T, int op>
struct PinnedBody final : ParallelLoopBody {
  explicit PinnedBody(const UnaryJob &call) : job(call) {}
  void operator()(const Range &) const override { pin_operation(job); }
  const UnaryJob &job;
};
constinit const UnaryRows kPinnedRows = UnaryRows::of<PinnedBody>();

TEST(KernelFamily, ARecordOfAnotherInstructionSetIsTakenByItsLevelAlone) {
  const CpuLevel widest = cpu_level();
  if (widest == CpuLevel::kPortable) GTEST_SKIP() << "no level but the portable one";
  const test::Scoped<const UnaryRows *> added(unary_family.records[int(widest)], &kPinnedRows);
  const double ones[4] = {1, 1, 1, 1}, zeros[4] = {};
  const auto result_at = [&](CpuLevel level) {
    const test::ScopedLevel scoped(level);
    uint8_t sample = 9;
    TavixFrameV2 frame = {};
    frame.video = {1, 1, 1, TAVIX_PIX_FMT_GRAY8, 0, 0};
    frame.data[0] = &sample, frame.linesize[0] = 1;
    EXPECT_EQ(TavixFrameUnaryArithmeticByCPU(&frame, 0, ones, zeros, &frame), TAVIX_OK);
    return sample;
  };
  for (int below = 0; below < int(widest); ++below) EXPECT_EQ(result_at(CpuLevel(below)), 9);
  EXPECT_EQ(pinned_runs, 0);
  EXPECT_EQ(result_at(widest), 77);
  EXPECT_EQ(pinned_runs, 1);
}

}  // namespace
}  // namespace tavix::module
