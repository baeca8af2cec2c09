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

class RandomInputs : public ::testing::TestWithParam<size_t> {};

TEST_P(RandomInputs, KeepEveryExpectation) {
  test::Random random(GetParam() + 1);
  for (int i = 0; i < test::by_effort(20000, 1000); ++i) {
    std::vector<uint8_t> input(size_t(16 + random.below(112)));
    std::ranges::generate(input, [&] { return uint8_t(random.next() >> 32); });
    try_input(kFamilies[GetParam()].run, input.data(), input.size());
    ASSERT_FALSE(HasFailure()) << "input " << i << ": " << ::testing::PrintToString(input);
  }
  TavixDeinitialize();
}

INSTANTIATE_TEST_SUITE_P(Families, RandomInputs, ::testing::Range(size_t(0), std::size(kFamilies)),
                         [](const auto &family) {
                           return std::string(kFamilies[family.param].name);
                         });

}  // namespace
}  // namespace tavix::fuzz
