// SPDX-License-Identifier: Apache-2.0
// The kept corpus, and inputs that are the same in every run.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

#include "documented_lines.h"
#include "support/core_double.h"
#include "support/fill.h"
#include "support/seams.h"
#include "support/sweep.h"
#include "target.h"
#include "tavix/core/host.h"

namespace tavix::fuzz {
namespace {

std::string text_of(const std::filesystem::path &path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// In one order on every machine.
std::vector<std::filesystem::path> corpus_of(const std::string &family) {
  std::vector<std::filesystem::path> files;
  for (const auto &entry : std::filesystem::recursive_directory_iterator(
           std::filesystem::path(TAVIX_FUZZ_CORPUS) / family))
    if (entry.is_regular_file()) files.push_back(entry.path());
  std::ranges::sort(files);
  return files;
}

std::vector<std::string> exported_functions() {
  const std::string map = text_of(TAVIX_EXPORTS);
  const std::regex name("Tavix\\w+");
  return {std::sregex_token_iterator(map.begin(), map.end(), name), {}};
}

TEST(Corpus, KeepsEveryExpectationAndReachesEveryFunctionAndLine) {
  for (const auto &[name, run] : kFamilies)
    for (const auto &path : corpus_of(name)) {
      SCOPED_TRACE(::testing::Message() << name << ' ' << path.filename().string());
      const std::string input = text_of(path);
      try_input(run, reinterpret_cast<const uint8_t *>(input.data()), input.size());
      if (HasFailure()) return;
    }
  TavixDeinitialize();
  if (test::levels().size() == 1) GTEST_SKIP() << "without AVX2 some lines are never logged";

  const auto functions = exported_functions();
  const auto both_ways = std::ranges::count_if(functions, [](const std::string &name) {
    return reached().succeeded.contains(name) && reached().refused.contains(name);
  });
  std::cout << "functions reached: " << both_ways << " of " << functions.size()
            << ", each with success and with refusal\n";
  for (const std::string &name : functions) {
    EXPECT_TRUE(reached().succeeded.contains(name)) << name << " never succeeded";
    EXPECT_TRUE(reached().refused.contains(name)) << name << " never refused a call";
  }
  for (const DocumentedLine &line : documented_lines())
    EXPECT_TRUE(line.unreached || reached().lines.contains(&line))
        << line.functions << ", status " << line.status << ": \"" << line.format << '"';
}

// Where the memory of records lies, between pages that nobody may touch.
constexpr struct {
  test::Touching touching;
  int32_t row_distance;
} kPlacements[] = {{test::Touching::closing_page, 0},
                   {test::Touching::opening_page, 0},
                   {test::Touching::closing_page, 1 << 16}};

int64_t calls_so_far() {
  int64_t calls = 0;
  for (const auto *counts : {&reached().succeeded, &reached().refused})
    for (const auto &[function, count] : *counts) calls += count;
  return calls;
}

class RandomInputs : public ::testing::TestWithParam<size_t> {};

TEST_P(RandomInputs, KeepEveryExpectation) {
  const int inputs = test::by_effort(20000, 1000, 600000);
  const int64_t calls_before = calls_so_far();
  test::Random random(GetParam() + 1);
  for (int i = 0; i < inputs; ++i) {
    const auto &[touching, distance] = kPlacements[size_t(i) % std::size(kPlacements)];
    const test::Scoped placed(test::touching, touching);
    const test::Scoped apart(row_distance, distance);
    std::vector<uint8_t> input(size_t(16 + random.below(112)));
    std::ranges::generate(input, [&] { return uint8_t(random.next() >> 32); });
    try_input(kFamilies[GetParam()].run, input.data(), input.size());
    ASSERT_FALSE(HasFailure()) << "input " << i << ": " << ::testing::PrintToString(input);
  }
  TavixDeinitialize();
  std::cout << inputs << " inputs, " << calls_so_far() - calls_before << " calls\n";
}

INSTANTIATE_TEST_SUITE_P(Families, RandomInputs, ::testing::Range(size_t(0), std::size(kFamilies)),
                         [](const auto &family) {
                           return std::string(kFamilies[family.param].name);
                         });

}  // namespace
}  // namespace tavix::fuzz
