// SPDX-License-Identifier: Apache-2.0
// The kept corpus, and inputs that are the same in every run.
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <opencv2/core.hpp>
#include <regex>
#include <string>
#include <vector>

#include "documented_lines.h"
#include "oracle.h"
#include "support/core_double.h"
#include "support/fill.h"
#include "support/seams.h"
#include "support/sweep.h"
#include "target.h"
#include "tavix/core/host.h"
#include "tavix/core/services.h"

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

// Faults that the oracle must find when it replays the corpus, each with words of what it says.

void flip_a_bit(Record &record) {
  std::vector<uint8_t> bytes = record.contents();
  if (bytes.empty()) return;
  bytes[0] ^= 1;
  record.restore(bytes);
}

void write_into(const std::vector<Record *> &records) {
  for (Record *record : records) flip_a_bit(*record);
}

// The byte after the first row, where it belongs to no row.
void write_beside_rows(const Call &call, int32_t &) {
  for (Record *record : call.destinations) {
    auto *frame = dynamic_cast<FrameRecord *>(record);
    if (frame == nullptr || frame->spoiled) continue;
    const TavixVideoInfo &video = (*frame)->video;
    const int64_t element = test::is_float_format(video.format) ? 4 : 1;
    const int64_t row = int64_t(video.width) * video.channels * element;
    if (video.height > 1 && (*frame)->linesize[0] > row) (*frame)->data[0][row] ^= 1;
  }
}

// Frames that nobody frees before the oracle has counted.
std::vector<TavixFrameV2 *> lost_frames;

struct Planted {
  const char *name, *words;
  Fault commit;
};
std::ostream &operator<<(std::ostream &out, const Planted &planted) {
  return out << planted.name;
}

const Planted kPlanted[] = {
    {"WrongResult", "right(",
     [](const Call &call, int32_t &status) {
       if (status == TAVIX_OK) write_into(call.destinations);
     }},
    {"ResultThatDependsOnWorkers", "other results",
     [](const Call &call, int32_t &status) {
       if (status == TAVIX_OK && module::worker_count > 1) write_into(call.destinations);
     }},
    {"WriteBesideRows", "padding of a destination was written", write_beside_rows},
    {"WriteIntoASource", "a source was written",
     [](const Call &call, int32_t &) { write_into(call.sources); }},
    {"WriteByARefusedCall", "written by a refused call",
     [](const Call &call, int32_t &status) {
       if (status != TAVIX_OK) write_into(call.destinations);
     }},
    {"UndocumentedLine", "not documented with status",
     [](const Call &call, int32_t &) {
       TavixLoggerLogV2(TAVIX_LOG_ERROR, "host", call.function.c_str(), 1, "on no page");
     }},
    {"UnknownStatus", "kStatuses", [](const Call &, int32_t &status) { status = 99; }},
    {"SilentRefusal", "in silence",
     [](const Call &, int32_t &status) {
       if (status == TAVIX_OK) status = TAVIX_ERROR_INVALID_DATA;
     }},
    {"StatusThatDependsOnWorkers", "outcome.status",
     [](const Call &, int32_t &status) {
       if (module::worker_count > 1) status = TAVIX_ERROR_INVALID_DATA;
     }},
    {"LostFrame", "a frame was lost",
     [](const Call &, int32_t &) {
       lost_frames.push_back(
           TavixVideoFrameAllocV2(TAVIX_PIX_FMT_GRAY8, TAVIX_MEMORY_HOST, 2, 2, 0, 1));
     }},
    {"Exception", "call.may_throw",
     [](const Call &, int32_t &) { throw cv::Exception(-1, "planted", "", "", 0); }},
};

class Oracle : public ::testing::TestWithParam<Planted> {};

TEST_P(Oracle, FindsAPlantedFault) {
  const Planted &planted = GetParam();
  ::testing::TestPartResultArray found;
  {
    const ::testing::ScopedFakeTestPartResultReporter reporter(&found);
    const test::Scoped<Fault> scoped(planted_fault, planted.commit);
    for (const auto &path : corpus_of("arithmetic")) {
      const std::string input = text_of(path);
      try_input(arithmetic, reinterpret_cast<const uint8_t *>(input.data()), input.size());
      if (found.size() > 0) break;
    }
  }
  for (TavixFrameV2 *frame : lost_frames) TavixFrameFreeV2(frame);
  lost_frames.clear();
  TavixDeinitialize();
  std::string said;
  for (int i = 0; i < found.size(); ++i) said += found.GetTestPartResult(i).message();
  EXPECT_NE(said.find(planted.words), said.npos) << "it says: " << said;
}

INSTANTIATE_TEST_SUITE_P(Faults, Oracle, ::testing::ValuesIn(kPlanted),
                         [](const auto &fault) { return fault.param.name; });

INSTANTIATE_TEST_SUITE_P(Families, RandomInputs, ::testing::Range(size_t(0), std::size(kFamilies)),
                         [](const auto &family) {
                           return std::string(kFamilies[family.param].name);
                         });

}  // namespace
}  // namespace tavix::fuzz
