// SPDX-License-Identifier: Apache-2.0
#include "oracle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <opencv2/core.hpp>
#include <optional>

#include "documented_lines.h"
#include "support/compare.h"
#include "support/core_double.h"
#include "support/scarce_memory.h"

namespace tavix::fuzz {

namespace {

Reached reached_so_far;

constexpr int32_t kStatuses[] = {TAVIX_OK, TAVIX_ERROR_MEMORY, TAVIX_ERROR_UNSUPPORTED,
                                 TAVIX_ERROR_INVALID_PARAM, TAVIX_ERROR_INVALID_DATA};

struct Outcome {
  std::optional<int32_t> status;  // none: OpenCV's exception left the call
  std::vector<test::LogLine> lines;
  std::vector<std::vector<uint8_t>> written;  // of each destination, then what was made
};

// The core's own reasons, which come before the library's line.
bool of_core(const test::LogLine &line) {
  return line.unit == "core";
}

// New frames lie elsewhere each time.
std::string without_addresses(const std::string &text) {
  std::string result;
  for (size_t i = 0; i < text.size();) {
    result += text[i];
    if (text.compare(i++, 2, "0x") != 0) continue;
    while (++i < text.size() && std::isxdigit(static_cast<unsigned char>(text[i]))) {
    }
  }
  return result;
}

void expect_documented(const Call &call, int32_t status, const std::vector<test::LogLine> &lines) {
  int errors = 0;
  for (const test::LogLine &line : lines) {
    if (of_core(line)) {
      EXPECT_NE(status, TAVIX_OK) << line;
      continue;
    }
    const bool error = line.level == TAVIX_LOG_ERROR;
    const auto *row = find_line(call.function, error ? status : TAVIX_OK, line.text);
    ASSERT_NE(row, nullptr) << "not documented with status " << status << ": " << line;
    EXPECT_EQ(row->follows, error && errors == 1) << line;
    EXPECT_GT(line.line, 0);
    reached_so_far.lines.insert(row);
    errors += error;
  }
  if (status == TAVIX_OK) {
    EXPECT_EQ(errors, 0);
  } else if (errors == 0 && std::none_of(lines.begin(), lines.end(), of_core)) {
    const auto *row = find_line(call.function, status, "");
    EXPECT_NE(row, nullptr) << "refused with status " << status << " in silence";
    reached_so_far.lines.insert(row);
  }
}

Outcome run(const Call &call) {
  Outcome outcome;
  try {
    int32_t status = call.run();
    if (planted_fault) planted_fault(call, status);
    outcome.status = status;
  } catch (const cv::Exception &exception) {
    EXPECT_TRUE(call.may_throw) << exception.what();
  }
  // What was to fail and was not asked for must not fail a later call.
  test::core_double().fail_frame_allocation(0);
  test::core_double().fail_array_allocation(0);
  test::fail_nothrow_new(0);
  outcome.lines = test::core_double().take_logs();
  for (const Record *record : call.destinations) outcome.written.push_back(record->contents());
  return outcome;
}

// Any NaN is any other.
bool same_contents(const std::vector<uint8_t> &one, const std::vector<uint8_t> &other) {
  if (one == other) return true;
  if (one.size() != other.size() || one.size() % sizeof(float) != 0) return false;
  for (size_t i = 0; i < one.size(); i += sizeof(float)) {
    float a, b;
    std::memcpy(&a, &one[i], sizeof(a)), std::memcpy(&b, &other[i], sizeof(b));
    if (!test::same_value(a, b)) return false;
  }
  return true;
}

void expect_same(const Outcome &one, const Outcome &other) {
  ASSERT_EQ(one.lines.size(), other.lines.size());
  for (size_t i = 0; i < one.lines.size(); ++i) {
    EXPECT_EQ(one.lines[i].level, other.lines[i].level);
    EXPECT_EQ(without_addresses(one.lines[i].text), without_addresses(other.lines[i].text));
  }
}

}  // namespace

Fault planted_fault;

const Reached &reached() {
  return reached_so_far;
}

void check(const Call &call, std::span<const Path> paths) {
  SCOPED_TRACE(call.function);
  std::vector<std::vector<uint8_t>> sources, destinations;
  for (const Record *record : call.sources) sources.push_back(record->contents());
  for (const Record *record : call.destinations) destinations.push_back(record->contents());

  std::optional<Outcome> first[2];  // on the portable path, on a vector path
  for (const Path &path : paths) {
    SCOPED_TRACE(path.workers == 1 ? "1 worker" : "several workers");
    SCOPED_TRACE(test::name_of(path.level));
    const test::ScopedLevel level(path.level);
    const test::Scoped<uint8_t> workers(module::worker_count, uint8_t(path.workers));
    for (size_t i = 0; i < destinations.size(); ++i) call.destinations[i]->restore(destinations[i]);
    Outcome outcome = run(call);

    for (size_t i = 0; i < sources.size(); ++i) {
      EXPECT_TRUE(call.sources[i]->contents() == sources[i]) << "a source was written";
      EXPECT_TRUE(call.sources[i]->intact()) << "padding of a source was written";
    }
    for (const Record *record : call.destinations)
      EXPECT_TRUE(record->intact()) << "padding of a destination was written";
    if (outcome.status) {
      const int32_t status = *outcome.status;
      EXPECT_NE(std::ranges::find(kStatuses, status), std::end(kStatuses)) << status;
      if (call.must_succeed) {
        EXPECT_EQ(status, TAVIX_OK) << ::testing::PrintToString(outcome.lines);
      }
      expect_documented(call, status, outcome.lines);
      ++(status == TAVIX_OK ? reached_so_far.succeeded : reached_so_far.refused)[call.function];
      // Equal bits are expected below, so that the reference is asked once of each kind of path.
      const bool compared = first[path.vector] && call.same_bits;
      if (status == TAVIX_OK && call.expect_result && !compared) call.expect_result(path);
    } else {
      EXPECT_TRUE(outcome.lines.empty()) << outcome.lines[0];
    }
    if (call.take_made) outcome.written.push_back(call.take_made());
    if (outcome.status && outcome.status != TAVIX_OK) {
      for (size_t i = 0; i < destinations.size(); ++i)
        EXPECT_TRUE(outcome.written[i] == destinations[i]) << "written by a refused call";
    }

    std::optional<Outcome> &same_kind = first[path.vector];
    if (!same_kind) {
      same_kind = std::move(outcome);
      continue;
    }
    EXPECT_EQ(same_kind->status, outcome.status);
    expect_same(*same_kind, outcome);
    if (call.same_bits) {
      EXPECT_TRUE(std::ranges::equal(same_kind->written, outcome.written, same_contents))
          << "other results";
    }
  }
  // Below the checks of ByCPU each implementation has checks of its own.
  if (first[0] && first[1] && call.function.ends_with("ByCPU")) {
    EXPECT_EQ(first[0]->status, first[1]->status);
  }
  EXPECT_EQ(test::core_double().outstanding_frames(), 0) << "a frame was lost";
  EXPECT_EQ(test::core_double().outstanding_arrays(), 0) << "an array was lost";
}

}  // namespace tavix::fuzz
