// SPDX-License-Identifier: Apache-2.0
// Frames that span more than two gigabytes of addresses, of which only the rows have memory.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <climits>
#include <set>
#include <string>
#include <vector>

#include "calls.h"
#include "core/recorded_log.h"
#include "support/longest_row.h"
#include "support/seams.h"
#include "support/sweep.h"
#include "tavix/video_common_cpu.h"

namespace tavix::proof {
namespace {

using test::LongestRow;

// The frames of calls.h have 18 rows. Of the larger distance the product with the last row takes
// more than 32 bits; of the smaller one only that with the number of rows does.
constexpr int32_t kPages = 1 << 16, kWithinReach = INT_MAX / 17 / kPages * kPages,
                  kOutOfReach = kWithinReach + kPages;
static_assert(18 * int64_t(kWithinReach) > INT_MAX);

bool begins_with_one_of(const std::string &name, std::initializer_list<const char *> beginnings) {
  return std::ranges::any_of(beginnings, [&](const char *b) { return name.starts_with(b); });
}

// Multiply rows and strides in 32 bits, which wrap.
bool wraps(const std::string &name) {
  return begins_with_one_of(name, {"TavixFrameBinaryArithmetic", "TavixFrameUnaryArithmetic",
                                   "TavixFrameStatisticalFunction"});
}

// Do so too, and refuse frames that they would not find their way in.
bool refuses(const std::string &name) {
  return begins_with_one_of(
      name, {"TavixFrameConvertColorByCPU", "TavixFrameToBlobByCPU", "TavixFramesToBlobByCPU",
             "TavixBlobToFrame", "TavixFrameDataTypeConvertNormalizationFuseByCPU",
             "TavixFrameMemfillByCPU", "TavixFrameCopyV2"});
}

// OpenCV knows no rows that lie upside down.
bool takes(const std::string &name, bool bottom_up) {
  return !bottom_up || wraps(name) || refuses(name);
}

// Of the vector implementations those of statistics run on every processor.
int32_t status_with(bool vectors, const std::string &name) {
  const bool missing =
      !vectors && name.ends_with("AVX") && name != "TavixFrameStatisticalFunctionAVX";
  return missing ? TAVIX_ERROR_UNSUPPORTED : TAVIX_OK;
}

// Of two calls of the same function.
void expect_same(const Subject &expected, const Subject &actual, int32_t status) {
  EXPECT_EQ(expected.call(), status);
  EXPECT_EQ(actual.call(), status);
  EXPECT_TRUE(expected.take().bytes == actual.take().bytes);
}

TEST(TwoGigabytes, RowsWithinReachGiveTheResultsOfOthers) {
  const test::RecordedLog silent;
  const auto near = subjects();
  for (const bool bottom_up : {false, true}) {
    const auto far = subjects({.bottom_up = bottom_up, .row_distance = kWithinReach});
    test::for_each_path([&](const test::Path &path) {
      for (size_t i = 0; i < near.size(); ++i) {
        SCOPED_TRACE(near[i].name);
        if (!takes(near[i].name, bottom_up)) continue;
        expect_same(near[i], far[i], status_with(path.vector, near[i].name));
      }
    });
  }
}

TEST(TwoGigabytes, RowsOutOfReachAreFoundOrRefused) {
  test::RecordedLog log(TAVIX_LOG_ERROR);
  const auto near = subjects();
  for (const bool bottom_up : {false, true}) {
    const auto far = subjects({.bottom_up = bottom_up, .row_distance = kOutOfReach});
    int refused = 0;
    for (size_t i = 0; i < near.size(); ++i) {
      SCOPED_TRACE(near[i].name);
      if (wraps(near[i].name) || !takes(near[i].name, bottom_up)) continue;
      if (!refuses(near[i].name)) {
        expect_same(near[i], far[i], status_with(module::use_avx2(), near[i].name));
        continue;
      }
      const auto untouched = far[i].take();
      log.take();
      EXPECT_EQ(far[i].call(), TAVIX_ERROR_INVALID_PARAM);
      const auto lines = log.take();
      ASSERT_FALSE(lines.empty());
      EXPECT_NE(lines[0].message.find("linesize"), std::string::npos) << lines[0].message;
      const auto left = far[i].take();
      EXPECT_FALSE(left.made_something);
      EXPECT_TRUE(left.bytes == untouched.bytes) << "written by a refused call";
      ++refused;
    }
    EXPECT_EQ(refused, 8);
  }
}

// Row 16 lies 2^31 bytes before row 0, where the wrapped product says.
class WrappedFrame {
 public:
  static constexpr int32_t kRows = 17, kWidth = 37, kDistance = 1 << 27;

  WrappedFrame() {
    mapping_ = static_cast<uint8_t *>(
        mmap(nullptr, kBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    EXPECT_NE(mapping_, MAP_FAILED);
    record_.video = {1, kWidth, kRows, TAVIX_PIX_FMT_GRAY8, 0, 0};
    record_.data[0] = mapping_ + (size_t(1) << 31);
    record_.linesize[0] = kDistance;
    for (int32_t y = 0; y < kRows; ++y) {
      EXPECT_EQ(mprotect(row(y), kPage, PROT_READ | PROT_WRITE), 0);
      for (int32_t x = 0; x < kWidth; ++x) row(y)[x] = uint8_t(x + 3 * y);
    }
  }
  ~WrappedFrame() { munmap(mapping_, kBytes); }
  WrappedFrame(const WrappedFrame &) = delete;
  WrappedFrame &operator=(const WrappedFrame &) = delete;

  operator TavixFrameV2 *() { return &record_; }
  uint8_t *row(int32_t y) const {
    return record_.data[0] + int32_t(uint32_t(y) * uint32_t(kDistance));
  }

 private:
  static constexpr size_t kBytes = (size_t(1) << 32) + 4096, kPage = 4096;
  uint8_t *mapping_;
  TavixFrameV2 record_ = {};
};

TEST(TwoGigabytes, ArithmeticFindsRowsWhereTheProductWraps) {
  const double one[4] = {1, 1, 1, 1}, nothing[4] = {};
  WrappedFrame src, dst;
  const auto expect_rows = [&](const char *name, int32_t factor, int32_t offset) {
    for (int32_t y = 0; y < WrappedFrame::kRows; ++y)
      for (int32_t x = 0; x < WrappedFrame::kWidth; ++x)
        ASSERT_EQ(dst.row(y)[x], factor * (x + 3 * y) + offset) << name << ", row " << y;
  };
  test::for_each_path([&](const test::Path &path) {
    for (auto *binary : {TavixFrameBinaryArithmeticByCPU, TavixFrameBinaryArithmeticForward,
                         TavixFrameBinaryArithmeticCommonC, TavixFrameBinaryArithmeticAVX}) {
      if (binary == TavixFrameBinaryArithmeticAVX && !path.vector) continue;
      EXPECT_EQ(binary(src, src, TAVIX_BINARY_OP_ADD, one, one, nothing, dst), TAVIX_OK);
      expect_rows("binary", 2, 0);
    }
    for (auto *unary : {TavixFrameUnaryArithmeticByCPU, TavixFrameUnaryArithmeticForward,
                        TavixFrameUnaryArithmeticCommonC, TavixFrameUnaryArithmeticAVX}) {
      if (unary == TavixFrameUnaryArithmeticAVX && !path.vector) continue;
      EXPECT_EQ(unary(src, TAVIX_UNARY_OP_MUL_ADD, one, one, dst), TAVIX_OK);
      expect_rows("unary", 1, 1);
    }
    for (auto *statistic :
         {TavixFrameStatisticalFunctionByCPU, TavixFrameStatisticalFunctionForward,
          TavixFrameStatisticalFunctionCommonC, TavixFrameStatisticalFunctionAVX}) {
      TavixArray *array = nullptr;
      EXPECT_EQ(statistic(src, TAVIX_STAT_OP_MEAN, &array), TAVIX_OK);
      ASSERT_NE(array, nullptr);
      EXPECT_EQ(array->elements[0].value, 18 + 3 * 8);
      TavixArrayFree(array);
    }
  });
}

class LongestRows : public ::testing::Test {
 protected:
  void SetUp() override {
    if (test::effort() == test::Effort::quick) GTEST_SKIP() << "two gigabytes of addresses";
  }
};

TEST_F(LongestRows, AreCountedByStatistics) {
  LongestRow row;
  row.fill(255);
  for (const module::CpuLevel level : test::levels()) {
    SCOPED_TRACE(test::name_of(level));
    const test::ScopedLevel scoped(level);
    for (const auto &[op, expected] : {std::pair(TAVIX_STAT_OP_SUM, 255.0 * INT_MAX),
                                       {TAVIX_STAT_OP_MEAN, 255.0},
                                       {TAVIX_STAT_OP_STDDEV, 0.0},
                                       {TAVIX_STAT_OP_MIN, 255.0}}) {
      TavixArray *array = nullptr;
      EXPECT_EQ(TavixFrameStatisticalFunctionByCPU(row, op, &array), TAVIX_OK);
      ASSERT_NE(array, nullptr);
      EXPECT_EQ(array->elements[0].value, expected) << "op " << op;
      TavixArrayFree(array);
    }
  }
}

TEST_F(LongestRows, AreFilledToTheirEnd) {
  LongestRow row;
  row.fill(1);
  EXPECT_EQ(TavixFrameMemfillByCPU(row, row, 77), TAVIX_OK);
  EXPECT_EQ(std::ranges::count(row.piece(), 77), int64_t(row.piece().size()));
}

TEST_F(LongestRows, AreConvertedUpToTheLastByteOfTheWiderRow) {
  constexpr int32_t kWidest = INT_MAX / 3;
  LongestRow bgr(TAVIX_PIX_FMT_BGR24, kWidest), gray(TAVIX_PIX_FMT_GRAY8, kWidest);
  for (const module::CpuLevel level : test::levels()) {
    SCOPED_TRACE(test::name_of(level));
    const test::ScopedLevel scoped(level);
    gray.fill(7), bgr.fill(1);
    EXPECT_EQ(TavixFrameConvertColorByCPU(gray, bgr), TAVIX_OK);
    EXPECT_EQ(std::ranges::count(bgr.piece(), 7), int64_t(bgr.piece().size()));
    gray.fill(1);
    EXPECT_EQ(TavixFrameConvertColorByCPU(bgr, gray), TAVIX_OK);
    EXPECT_EQ(std::ranges::count(gray.piece(), 7), int64_t(gray.piece().size()));
  }

  test::RecordedLog log;
  bgr->video.width = gray->video.width = kWidest + 1;
  EXPECT_EQ(TavixFrameConvertColorByCPU(bgr, gray), TAVIX_ERROR_INVALID_PARAM);
  EXPECT_EQ(TavixFrameConvertColorByCPU(gray, bgr), TAVIX_ERROR_INVALID_PARAM);
  const auto lines = log.take();
  ASSERT_EQ(lines.size(), 2u);
  for (const auto &line : lines) EXPECT_EQ(line.message, "rows of 715827883 pixels are too long");
}

TEST_F(LongestRows, AreCopiedWhole) {
  LongestRow src, dst;
  src.fill(9), dst.fill(1);
  dst->linesize[0] = src->linesize[0] = INT_MAX;
  EXPECT_EQ(TavixFrameCopyV2(dst, src, 0, 0), TAVIX_OK);
  EXPECT_EQ(std::ranges::count(dst.piece(), 9), int64_t(dst.piece().size()));
}

}  // namespace
}  // namespace tavix::proof
