// SPDX-License-Identifier: Apache-2.0
// What the checks of element-wise arithmetic have in common: a valid call, and rows of check
// tables for each of its frames and parameters.
//
//   struct Call : ArithmeticCall<decltype(TavixFrame...ByCPU), 2> {
//     static constexpr FrameSlot<Call> kFrames[] = {{"src", &Call::src1}, ...};
//     static constexpr ParameterSlot<Call> kParameters[] = {{"scale", &Call::scale}, ...};
//     static constexpr char kFirst[] = "src";  // what messages call the first frame
//     static constexpr int32_t kOperations = 4;  // the first code without one
//     int32_t op;
//     int32_t run();
//   };
#pragma once

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "common/log.h"
#include "support/check_table.h"
#include "support/guarded_frame.h"
#include "support/names.h"
#include "support/seams.h"
#include "support/sweep.h"

namespace tavix::test {

inline constexpr double kOnes[4] = {1, 1, 1, 1};

// A valid call of a function, until a fault changes it. The last frame is the destination.
template <class Function, int frame_count>
class ArithmeticCall {
 public:
  explicit ArithmeticCall(Function *function)
      : function_(function), frames_(noise()), before_(frames_.back().payload()) {}

  void set_all(int32_t TavixVideoInfo::*field, int32_t value) {
    for (GuardedFrame &frame : frames_) frame->video.*field = value;
  }
  bool untouched() const { return frames_.back().payload() == before_ && frames_.back().intact(); }

 protected:
  static std::vector<GuardedFrame> noise() {
    std::vector<GuardedFrame> frames;
    for (int i = 0; i < frame_count; ++i) {
      frames.emplace_back(FrameShape{TAVIX_PIX_FMT_BGR24, 5, 3});
      frames.back().fill(Fill::noise, uint64_t(i));
    }
    return frames;
  }

  Function *const function_;
  std::vector<GuardedFrame> frames_;
  std::vector<uint8_t> before_;

 public:
  TavixFrameV2 *src1 = frames_.front(), *dst = frames_.back();
};

template <class Call>
struct FrameSlot {
  const char *name;
  TavixFrameV2 *Call::*frame;
};

template <class Call>
struct ParameterSlot {
  const char *name;
  const double *Call::*values;
};

template <class Call>
using Text = std::function<std::string(const Call &call)>;

// Addresses and shapes as messages print them.
inline const void *plane(const TavixFrameV2 *frame) {
  return frame->data[0];
}
inline const void *address(const void *pointer) {
  return pointer;
}
inline std::string shape_text(const TavixVideoInfo &video) {
  return printed("width=%d, height=%d, channels=%d, format=%d", video.width, video.height,
                 video.channels, video.format);
}

// What is said of a format outside the RGB family.
template <class Call>
std::string must_be_rgb_text(const Call &c) {
  return c.formats_must_be("either RGB Family");
}
template <class Call>
std::string unsupported_text(const Call &c) {
  return printed("Unsupported pixel format: %d", c.src1->video.format);
}

// --- rows ----------------------------------------------------------------------------------------

template <class Call>
Checks<Call> joined(const std::vector<Checks<Call>> &tables) {
  Checks<Call> all;
  for (const Checks<Call> &table : tables) all.insert(all.end(), table.begin(), table.end());
  return all;
}

// One fault in each frame in turn.
template <class Call>
Checks<Call> each_frame(const std::string &fault, void (*spoil)(TavixFrameV2 *&frame),
                        const Text<Call> &text) {
  Checks<Call> rows;
  for (const auto &slot : Call::kFrames)
    rows.push_back({slot.name + (": " + fault),
                    [spoil, frame = slot.frame](Call &c) { spoil(c.*frame); }, kInvalid, text});
  return rows;
}

template <class Call>
Checks<Call> null_frame_rows(const Text<Call> &text) {
  return each_frame<Call>(
      "null", [](auto *&frame) { frame = nullptr; }, text);
}

template <class Call>
Checks<Call> null_plane_rows(const Text<Call> &text) {
  return each_frame<Call>(
      "null plane", [](auto *&frame) { frame->data[0] = nullptr; }, text);
}

template <class Call>
Checks<Call> memory_rows(const Text<Call> &text) {
  return joined<Call>({
      each_frame<Call>(
          "memory 1", [](auto *&frame) { frame->memory = 1; }, text),
      each_frame<Call>(
          "the last memory", [](auto *&frame) { frame->memory = UINT_MAX; }, text),
  });
}

// A frame whose size differs from that of the first.
template <class Call>
Checks<Call> size_rows(TavixFrameV2 *Call::*frame, const Text<Call> &text) {
  constexpr struct {
    const char *name;
    int32_t TavixVideoInfo::*field;
    int32_t value;
  } kFaults[] = {
      {"width 4", &TavixVideoInfo::width, 4},      {"width -4", &TavixVideoInfo::width, -4},
      {"height 2", &TavixVideoInfo::height, 2},    {"height 4", &TavixVideoInfo::height, 4},
      {"1 channel", &TavixVideoInfo::channels, 1}, {"4 channels", &TavixVideoInfo::channels, 4}};
  Checks<Call> rows;
  for (const auto &fault : kFaults)
    rows.push_back({fault.name, [=](Call &c) { (c.*frame)->video.*fault.field = fault.value; },
                    kInvalid, text});
  return rows;
}

// Likewise, or its format.
template <class Call>
Checks<Call> shape_rows(TavixFrameV2 *Call::*frame, const Text<Call> &text) {
  Checks<Call> rows = size_rows(frame, text);
  for (const int32_t format : {TAVIX_PIX_FMT_RGB24, TAVIX_PIX_FMT_GRAYF32})
    rows.push_back(
        {format_name(format), [=](Call &c) { (c.*frame)->video.format = format; }, kInvalid, text});
  return rows;
}

template <class Call>
Check<Call> format_row(int32_t format, const Text<Call> &text) {
  return {format_name(format), [=](Call &c) { c.set_all(&TavixVideoInfo::format, format); },
          kUnsupported, text};
}

// Of an entry: formats that differ, then one outside the RGB family.
template <class Call>
Checks<Call> entry_format_rows() {
  return {{"dst is NONE", [](Call &c) { c.dst->video.format = TAVIX_PIX_FMT_NONE; }, kInvalid,
           [](const Call &c) { return c.formats_must_be("the same"); }},
          format_row<Call>(TAVIX_PIX_FMT_NV12, Call::other_format())};
}

// Refused without a log line.
template <class Call>
Checks<Call> operation_rows() {
  Checks<Call> rows;
  for (const auto op : {Call::kOperations, decltype(Call::op)(-1)})
    rows.push_back(
        {"operation " + std::to_string(op), [op](Call &c) { c.op = op; }, kInvalid, nullptr});
  return rows;
}

template <class Call>
Checks<Call> limit_rows() {
  const auto channels = [](const Call &c) {
    return printed("%s channels(%d) must not exceed 4", Call::kFirst, c.src1->video.channels);
  };
  const auto row = [](const Call &c) {
    return printed("width(%d) * channels(%d) must not exceed 2147483647 elements of a row",
                   c.src1->video.width, c.src1->video.channels);
  };
  return {{"five channels", [](Call &c) { c.set_all(&TavixVideoInfo::channels, 5); }, kInvalid,
           channels},
          {"row of too many elements", [](Call &c) { c.set_all(&TavixVideoInfo::width, 1 << 30); },
           kInvalid, row}};
}

template <class Call>
Checks<Call> null_parameter_rows(const Text<Call> &text) {
  Checks<Call> rows;
  for (const auto &slot : Call::kParameters)
    rows.push_back({std::string("null ") + slot.name,
                    [values = slot.values](Call &c) { c.*values = nullptr; }, kInvalid, text});
  return rows;
}

// An AVX call where the processor has no AVX2: every other check comes first.
template <class Avx>
struct OnAnOldProcessor : Avx {
  template <class C>
  static Checks<C> checks() {
    return joined<C>({Avx::template checks<C>(),
                      {{"no AVX2", [](C &) {}, kUnsupported,
                        [](const C &) { return "the processor has no AVX2"; }}}});
  }
  WithoutAvx2 portable;
};

// --- tests ---------------------------------------------------------------------------------------

// The calls of one family. checks<C>() are all faults in the order of the checks; other_format() is
// the text about formats outside the RGB family.
template <class AnyCall, class Entry, class Portable, class Vector>
struct CheckedFamily {
  using Call = AnyCall;
  using ByCPU = Entry;
  using CommonC = Portable;
  using Avx = Vector;
};

template <class Family>
class ArithmeticChecks : public ::testing::Test {};
TYPED_TEST_SUITE_P(ArithmeticChecks);

template <class Call>
void expect_faults() {
  expect_checks(Call::template checks<Call>());
}

TYPED_TEST_P(ArithmeticChecks, ByCPU) {
  expect_faults<typename TypeParam::ByCPU>();
}

TYPED_TEST_P(ArithmeticChecks, CommonC) {
  expect_faults<typename TypeParam::CommonC>();
}

TYPED_TEST_P(ArithmeticChecks, AVX) {
  expect_faults<typename TypeParam::Avx>();
}

TYPED_TEST_P(ArithmeticChecks, AVXWithoutAvx2) {
  expect_faults<OnAnOldProcessor<typename TypeParam::Avx>>();
}

template <class Call>
void expect_other_formats_refused() {
  for (const int32_t format : kOtherFormats) {
    SCOPED_TRACE(format_name(format));
    const auto check = format_row<Call>(format, Call::other_format());
    Call call;
    check.fault(call);
    expect_refusal(call, check);
  }
}

TYPED_TEST_P(ArithmeticChecks, OtherFormatsAreRefused) {
  expect_other_formats_refused<typename TypeParam::ByCPU>();
  expect_other_formats_refused<typename TypeParam::CommonC>();
  expect_other_formats_refused<typename TypeParam::Avx>();
}

template <class Call>
void expect_not_to_look_at_memory() {
  Call call;
  call.src1->memory = 1, call.dst->memory = 9;
  EXPECT_SILENT(EXPECT_EQ(call.run(), TAVIX_OK));
  EXPECT_FALSE(call.untouched());
}

TYPED_TEST_P(ArithmeticChecks, ImplementationsDoNotLookAtMemory) {
  expect_not_to_look_at_memory<typename TypeParam::CommonC>();
  if (module::use_avx2()) expect_not_to_look_at_memory<typename TypeParam::Avx>();
}

template <class Call>
void expect_limits_of_one_row() {
  for (const Check<Call> &check : limit_rows<Call>()) {
    SCOPED_TRACE(check.name);
    Call call;
    call.set_all(&TavixVideoInfo::height, 1);
    check.fault(call);
    expect_refusal(call, check);
  }
}

TYPED_TEST_P(ArithmeticChecks, OneRowHasTheLimitsOfMany) {
  expect_limits_of_one_row<typename TypeParam::CommonC>();
  expect_limits_of_one_row<typename TypeParam::Avx>();
}

TYPED_TEST_P(ArithmeticChecks, EntryLeavesTheRestToTheImplementation) {
  const WithoutAvx2 portable;
  using Call = typename TypeParam::Call;
  const Checks<Call> left =
      joined<Call>({size_rows<Call>(&Call::dst, nullptr), operation_rows<Call>(),
                    limit_rows<Call>(), null_parameter_rows<Call>(nullptr)});
  for (const Check<Call> &check : left) {
    SCOPED_TRACE(check.name);
    typename TypeParam::ByCPU entry;
    typename TypeParam::CommonC implementation;
    check.fault(entry), check.fault(implementation);
    EXPECT_EQ(entry.run(), kInvalid);
    const auto lines = core_double().take_logs();
    EXPECT_EQ(implementation.run(), kInvalid);
    EXPECT_EQ(lines, core_double().take_logs());
    EXPECT_TRUE(entry.untouched());
  }
}

REGISTER_TYPED_TEST_SUITE_P(ArithmeticChecks, ByCPU, CommonC, AVX, AVXWithoutAvx2,
                            OtherFormatsAreRefused, ImplementationsDoNotLookAtMemory,
                            OneRowHasTheLimitsOfMany, EntryLeavesTheRestToTheImplementation);

}  // namespace tavix::test
