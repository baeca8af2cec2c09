// SPDX-License-Identifier: Apache-2.0
// The proofs rest on the support library, so it is tested itself: what it should catch, it catches.
#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <string>

#include "common/log.h"
#include "support/compare.h"
#include "support/core_double.h"
#include "support/guarded_blob.h"
#include "support/guarded_frame.h"
#include "support/seams.h"
#include "support/sweep.h"
#include "tavix/video_common_cpu.h"

namespace tavix::test {
namespace {

void log_error(const char *text) {
  TavixLoggerLogV2(TAVIX_LOG_ERROR, "u", "f", 1, "%s", text);
}

TEST(CoreDouble, RecordsLines) {
  log_error("text");
  EXPECT_LOGGED(TAVIX_LOG_ERROR, "u", "f", "text");
  EXPECT_TRUE(logged_nothing());

  const LogLine expected{TAVIX_LOG_ERROR, "u", "f", "text"};
  log_error("other text");
  EXPECT_FALSE(logged_once(expected));
  log_error("text"), log_error("text");
  EXPECT_FALSE(logged_once(expected));
  EXPECT_FALSE(logged_once(expected)) << "nothing is left";
  log_error("text");
  EXPECT_FALSE(logged_nothing());
}

TEST(CoreDouble, StandsBeforeTheCoreAndHearsIt) {
  EXPECT_EQ(TavixVideoFrameAllocV2(TAVIX_PIX_FMT_NONE, 0, 1, 1, 7, 1), nullptr);
  ASSERT_EQ(core_double().frame_requests().size(), 1u);
  EXPECT_EQ(core_double().frame_requests()[0].device, 7u);
  EXPECT_EQ(core_double().take_logs().size(), 1u) << "the core logs through the double";
}

TEST(CoreDouble, CountsFramesAndFailsTheNthAllocation) {
  core_double().fail_frame_allocation(2);
  TavixFrameV2 *frames[3];
  for (auto &frame : frames) frame = TavixVideoFrameAllocV2(TAVIX_PIX_FMT_BGR24, 0, 4, 4, 0, 1);
  EXPECT_TRUE(frames[0] && !frames[1] && frames[2]);
  EXPECT_EQ(core_double().outstanding_frames(), 2);
  core_double().fail_frame_copy(TAVIX_ERROR_MEMORY);
  EXPECT_EQ(TavixFrameCopyV2(frames[0], frames[2], 5, 6), TAVIX_ERROR_MEMORY);
  EXPECT_EQ(core_double().copy_requests().at(0).options, 6u);
  for (auto *frame : frames) TavixFrameFreeV2(frame);
  EXPECT_EQ(core_double().outstanding_frames(), 0);
}

TEST(CoreDouble, CountsArraysAndFailsTheNthAllocation) {
  core_double().fail_array_allocation();
  EXPECT_EQ(TavixArrayAlloc(TAVIX_ARRAY_TYPE_DOUBLE, 2), nullptr);
  TavixArray *array = TavixArrayAlloc(TAVIX_ARRAY_TYPE_DOUBLE, 2);
  EXPECT_EQ(core_double().outstanding_arrays(), 1);
  TavixArrayFree(array);
  EXPECT_EQ(core_double().outstanding_arrays(), 0);
}

TEST(GuardedBlob, IsServedByTheDouble) {
  GuardedBlob blob(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NCHW, {1, 2, 3});
  EXPECT_EQ(blob.elements<float>().size(), 6u);
  EXPECT_EQ(TavixBlobBufferGet(blob), blob.elements<float>().data());
  EXPECT_EQ(TavixBufferDataGetV2(blob->buffer), blob.elements<float>().data());
  core_double().fail_buffer_data_get();
  EXPECT_EQ(TavixBufferDataGetV2(blob->buffer), nullptr);
  EXPECT_NE(TavixBlobBufferGet(blob), nullptr);
  core_double().fail_blob_buffer_get();
  EXPECT_EQ(TavixBlobBufferGet(blob), nullptr);

  core_double().reset();
  const int32_t dims[] = {3};
  TavixBlob *real = TavixBlobAlloc(TAVIX_DATA_TYPE_UINT8, TAVIX_DATA_FORMAT_C, 1, dims);
  EXPECT_NE(TavixBlobBufferGet(real), nullptr);
  TavixBlobFree(real);
}

TEST(GuardedFrameDeathTest, OnePastAnyPlaneCrashes) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  GuardedFrame frame({TAVIX_PIX_FMT_I420, 5, 3});
  for (const int plane : {0, 1, 2}) {
    volatile uint8_t *end = frame.row(plane == 0 ? 2 : 1, plane) + (plane == 0 ? 5 : 3);
    EXPECT_DEATH(static_cast<void>(*end), "");
  }
  GuardedFrame empty({TAVIX_PIX_FMT_BGR24, 5, 0});
  ASSERT_NE(empty->data[0], nullptr);
  EXPECT_DEATH(*static_cast<volatile uint8_t *>(empty->data[0]) = 1, "");
}

TEST(GuardedBytes, FindWhatWasWrittenAfterTheirEnd) {
  uint8_t *late;
  {
    const GuardedBytes bytes(100);
    late = bytes.data();
  }
  *late = 7;
  EXPECT_THROW(GuardedBytes(50), std::logic_error);
}

TEST(GuardedBytes, MayTouchTheOpeningPage) {
  const Scoped opening(touching, Touching::opening_page);
  const GuardedBytes bytes(100);
  EXPECT_DEATH(static_cast<void>(static_cast<volatile uint8_t *>(bytes.data())[-1]), "");
  EXPECT_TRUE(bytes.intact());
  bytes.data()[100] = 7;
  EXPECT_FALSE(bytes.intact());
}

TEST(GuardedFrame, MayHaveAGuardAfterEachRow) {
  for (const bool bottom_up : {false, true}) {
    GuardedFrame frame({TAVIX_PIX_FMT_NV12, 6, 4},
                       {.bottom_up = bottom_up, .row_distance = 1 << 16});
    frame.fill(Fill::noise, 1);
    for (const int plane : {0, 1})
      for (const int row : {0, 1}) {
        volatile uint8_t *first = frame.row(row, plane);
        EXPECT_DEATH(static_cast<void>(first[6]), "");
        EXPECT_EQ(frame.row(row + 1, plane) - first, bottom_up ? -(1 << 16) : 1 << 16);
        EXPECT_TRUE(frame.intact());
        first[-1] = 7;
        EXPECT_FALSE(frame.intact());
        first[-1] = kSentinel;
      }
  }
  EXPECT_THROW(GuardedFrame({TAVIX_PIX_FMT_GRAY8, 4097, 2}, {.row_distance = 4096}),
               std::logic_error);
}

TEST(GuardedFrame, KnowsPaddingFromPayload) {
  for (const FrameLayout &layout : kLayouts) {
    SCOPED_TRACE(::testing::Message() << layout);
    GuardedFrame frame({TAVIX_PIX_FMT_BGRF32, 3, 4}, layout);
    frame.fill(Fill::noise, 1);
    EXPECT_TRUE(frame.intact());
    if (layout.pad == 0) continue;
    uint8_t &after_row = frame.row(1)[3 * 3 * 4];
    after_row ^= 1;
    EXPECT_FALSE(frame.intact());
    after_row ^= 1;
    frame.row(layout.bottom_up ? 3 : 0)[-1] ^= 1;
    EXPECT_FALSE(frame.intact());
  }
}

TEST(Compare, FindsASingleBit) {
  GuardedFrame expected({TAVIX_PIX_FMT_BGRAF32, 5, 3}), actual({TAVIX_PIX_FMT_BGRAF32, 5, 3}, {7});
  expected.fill(Fill::specials, 3), actual.fill(Fill::specials, 3);
  EXPECT_TRUE(same_pixels(*expected, *actual));

  expected.set(18, 2, 0.0f), actual.set(18, 2, -0.0f);
  const auto result = same_pixels(*expected, *actual);
  EXPECT_FALSE(result);
  EXPECT_STREQ(result.message(),
               "BGRAF32, 5x3, stride 87, plane 0, column 4, row 2, channel 2: expected 0 (0x0), "
               "actual -0 (0x80000000)");
  expected.set(18, 2, std::nanf("1")), actual.set(18, 2, -std::nanf("2"));
  EXPECT_TRUE(same_pixels(*expected, *actual)) << "any NaN is NaN";
  actual.set(18, 2, 1.0f);
  EXPECT_FALSE(same_pixels(*expected, *actual));
  actual->video.width = 4;
  EXPECT_FALSE(same_pixels(*expected, *actual));
}

TEST(Compare, HonoursATolerance) {
  EXPECT_TRUE(same_value<uint8_t>(3, 4, 1));
  EXPECT_FALSE(same_value<uint8_t>(3, 5, 1));
  EXPECT_FALSE(same_value(1.0f, std::nanf(""), 1e9));
}

TEST(Sweep, VisitsEveryCaseOnceOrAnEvenSelection) {
  const SweepAxes axes{.formats = kRgbFormats, .widths = {1, 2, 3}, .heights = {1, 2}};
  std::multiset<std::string> seen;
  std::multiset<int32_t> formats;
  sweep(axes, 1 << 20, [&](const SweepCase &c) {
    seen.insert(::testing::PrintToString(c));
    formats.insert(c.shape.format);
  });
  const size_t total = 10 * 3 * 2 * std::size(kLayouts) * std::size(kFills);
  EXPECT_EQ(seen.size(), total);
  EXPECT_EQ(std::set(seen.begin(), seen.end()).size(), total);

  formats.clear();
  const int selection = by_effort(100, 2000);
  sweep(axes, selection, [&](const SweepCase &c) { formats.insert(c.shape.format); });
  EXPECT_EQ(formats.size(), 100u);
  for (const int32_t format : kRgbFormats) EXPECT_NEAR(double(formats.count(format)), 10.0, 3.0);
}

TEST(Seams, PathsCoverWorkersAndFeatures) {
  const uint32_t flags = module::cpu_features().flags;
  const uint8_t workers = module::worker_count;
  std::vector<std::pair<bool, int>> paths;
  for_each_path([&](const Path &path) {
    EXPECT_EQ(module::use_avx2(), path.vector);
    EXPECT_EQ(module::worker_count, path.workers);
    paths.emplace_back(path.vector, path.workers);
  });
  std::vector<std::pair<bool, int>> expected;
  for (const module::CpuLevel level : levels()) {
    const bool vector = level != module::CpuLevel::kPortable;
    expected.insert(expected.end(), {{vector, 1}, {vector, 8}});
  }
  EXPECT_EQ(paths, expected);
  EXPECT_EQ(module::cpu_features().flags, flags);
  EXPECT_EQ(module::worker_count, workers);
}

}  // namespace
}  // namespace tavix::test
