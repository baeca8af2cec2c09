// SPDX-License-Identifier: Apache-2.0
// Statistics against plain references: integers for 8-bit frames, bit for bit; long double for
// float frames, within the error of adding n doubles in any order, n * 2^-52 * sum of |v|.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "common/log.h"
#include "statistics_reference.h"
#include "support/core_double.h"
#include "support/guarded_frame.h"
#include "support/seams.h"
#include "support/sweep.h"
#include "tavix/video_common_cpu.h"

namespace tavix::test {
namespace {

using Entry = int32_t (*)(const TavixFrameV2 *, int32_t, TavixArray **);
constexpr Entry kByCPU = TavixFrameStatisticalFunctionByCPU,
                kCommonC = TavixFrameStatisticalFunctionCommonC,
                kAVX = TavixFrameStatisticalFunctionAVX;

// The values of a call that must succeed, from an array of its own.
std::vector<double> statistic(Entry entry, const TavixFrameV2 *src, int32_t op) {
  TavixArray *array = nullptr;
  EXPECT_EQ(entry(src, op, &array), TAVIX_OK);
  std::vector<double> values;
  for (int32_t i = 0; array != nullptr && i < array->count; ++i) {
    EXPECT_EQ(array->elements[i].type, TAVIX_ARRAY_TYPE_DOUBLE);
    values.push_back(array->elements[i].value);
  }
  TavixArrayFree(array);
  return values;
}

template <class T, class Sum>
void expect_statistics_of(Entry entry, const GuardedFrame &frame) {
  const int32_t channels = frame->video.channels;
  const double pixels = double(frame->video.width) * frame->video.height;
  std::vector<std::vector<double>> actual;
  for (int32_t op = 0; op < kOps; ++op) {
    actual.push_back(statistic(entry, frame, op));
    ASSERT_EQ(int32_t(actual[op].size()), channels);
  }
  for (int32_t c = 0; c < channels; ++c) {
    const auto channel = statistics_reference<T, Sum>(frame, c);
    for (int32_t op = 0; op < kOps; ++op) {
      SCOPED_TRACE(::testing::Message() << statistic_name(op) << ", channel " << c);
      expect_statistic(channel, pixels, op, actual[op][c]);
    }
  }
  EXPECT_TRUE(frame.intact());
}

void expect_statistics(Entry entry, const GuardedFrame &frame) {
  is_float_format(frame->video.format) ? expect_statistics_of<float, long double>(entry, frame)
                                       : expect_statistics_of<uint8_t, int64_t>(entry, frame);
}

TEST(Statistics, AreThoseOfTheReference) {
  for_each_path([](const Path &path) {
    sweep({.formats = kRgbFormats}, path.workers == 1 ? 2500 : 1000, [&](const SweepCase &c) {
      GuardedFrame frame(c.shape, c.layout);
      frame.fill(c.fill, c.seed);
      expect_statistics(path.vector ? kAVX : kCommonC, frame);
    });
    sweep({.formats = kRgbFormats, .widths = {640, 1001}, .heights = {97}}, 40,
          [&](const SweepCase &c) {
            GuardedFrame frame(c.shape, c.layout);
            frame.fill(c.fill, c.seed);
            expect_statistics(kByCPU, frame);
          });
  });
}

// Records may say two channels, or a number the format does not have.
TEST(Statistics, GoByTheChannelsOfTheRecord) {
  for_each_path([](const Path &) {
    for (const int32_t format : {TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_GRAYF32})
      for (const int32_t channels : {1, 2, 3, 4}) {
        GuardedFrame frame({format, 61, 7, channels}, {.pad = 4});
        frame.fill(Fill::noise, uint64_t(channels));
        expect_statistics(kByCPU, frame);
      }
  });
}

// With one worker there is one order of addition, and both kernels keep it.
TEST(Statistics, KernelsAgreeBitForBit) {
  const ScopedWorkers one(1);
  sweep({.formats = kFloatFormats}, 2000, [&](const SweepCase &c) {
    GuardedFrame frame(c.shape, c.layout);
    frame.fill(c.fill, c.seed);
    for (int32_t op = 0; op < kOps; ++op) {
      const auto vector = statistic(kAVX, frame, op);
      const WithoutAvx2 portable;
      for (const Entry entry : {kCommonC, kAVX}) {
        const auto plain = statistic(entry, frame, op);
        for (size_t i = 0; i < vector.size(); ++i)
          EXPECT_TRUE(same_double(vector[i], plain[i])) << "op " << op;
      }
    }
  });
}

// Lanes are 16 and 32 bits wide on the way; frames of 255 fill them soonest. Rows that lie on each
// other (stride 0) make a large frame of little memory.
TEST(Statistics, SumsOfBytesNeverOverflow) {
  struct {
    int32_t width, height;
  } const sizes[] = {{256 * 96, 1},
                     {257 * 96, 1},
                     {258 * 96, 1},
                     {7000001, 1},  // squares: 66051 blocks of 96 bytes
                     {96 * 1000, by_effort(200, 70)},
                     {96 * 1000, by_effort(16900, 2)}};  // sums: 16843009 blocks
  for_each_path([&](const Path &path) {
    for (const auto &size : sizes) {
      std::vector<uint8_t> row(size_t(size.width), 255);
      TavixFrameV2 frame = {};
      frame.video = {1, size.width, size.height, TAVIX_PIX_FMT_GRAY8, 0, 0};
      frame.data[0] = row.data();
      const double pixels = double(size.width) * size.height;
      const Entry entry = path.vector ? kAVX : kCommonC;
      EXPECT_EQ(statistic(entry, &frame, TAVIX_STAT_OP_SUM)[0], pixels * 255);
      EXPECT_EQ(statistic(entry, &frame, TAVIX_STAT_OP_MEAN)[0], 255.0);
      if (size.height > 1000) continue;
      EXPECT_EQ(statistic(entry, &frame, TAVIX_STAT_OP_STDDEV)[0], 0.0);
      row[0] = 0;
      const double sum = (pixels - size.height) * 255, mean = sum / pixels;
      EXPECT_EQ(statistic(entry, &frame, TAVIX_STAT_OP_STDDEV)[0],
                std::sqrt(sum * 255 / pixels - mean * mean));
      EXPECT_EQ(statistic(entry, &frame, TAVIX_STAT_OP_MIN)[0], 0.0);
    }
  });
}

TEST(Statistics, NaNAndInfinity) {
  for_each_path([](const Path &) {
    GuardedFrame frame({TAVIX_PIX_FMT_GRAYF32, 50, 3});
    const auto all = [&](float v) {
      for (int32_t y = 0; y < 3; ++y)
        for (int32_t x = 0; x < 50; ++x) frame.set(x, y, v);
    };
    const auto expect = [&](double mean, double deviation, double sum, double max, double min) {
      const double expected[kOps] = {mean, deviation, sum, max, min};
      for (int32_t op = 0; op < kOps; ++op)
        EXPECT_TRUE(same_double(statistic(kByCPU, frame, op)[0], expected[op])) << "op " << op;
    };
    all(1.5f);
    expect(1.5, 0.0, 225.0, 1.5, 1.5);
    frame.set(7, 1, NAN);
    expect(NAN, 0.0, NAN, 1.5, 1.5);
    frame.set(0, 0, -INFINITY), frame.set(1, 0, INFINITY);
    expect(NAN, 0.0, NAN, INFINITY, -INFINITY);
    all(NAN);
    expect(NAN, 0.0, NAN, -DBL_MAX, DBL_MAX);
    all(-INFINITY);
    expect(-INFINITY, 0.0, -INFINITY, -DBL_MAX, -INFINITY);
    all(INFINITY);
    expect(INFINITY, 0.0, INFINITY, INFINITY, DBL_MAX);
    all(0.1f);  // the mean square may round below the square of the mean
    EXPECT_NEAR(statistic(kByCPU, frame, TAVIX_STAT_OP_STDDEV)[0], 0.0, 1e-8);
  });
}

TEST(Statistics, OfNoPixels) {
  for_each_path([](const Path &) {
    for (const int32_t format : kRgbFormats)
      for (const auto &[width, height] : {std::pair(5, 0), {0, 5}, {0, 0}}) {
        GuardedFrame frame({format, 5, 5});
        frame->video.width = width, frame->video.height = height;
        const double expected[kOps] = {NAN, 0.0, 0.0, -DBL_MAX, DBL_MAX};
        for (int32_t op = 0; op < kOps; ++op)
          for (const double value : statistic(kByCPU, frame, op))
            EXPECT_TRUE(same_double(value, expected[op])) << "op " << op;
      }
    GuardedFrame negative({TAVIX_PIX_FMT_BGR24, 5, 5});
    negative->video.width = -5;
    EXPECT_EQ(statistic(kByCPU, negative, TAVIX_STAT_OP_SUM), std::vector<double>(3, 0.0));
    EXPECT_EQ(statistic(kByCPU, negative, TAVIX_STAT_OP_MAX), std::vector<double>(3, -DBL_MAX));
  });
}

// Sums of floats, too: lanes are added in one order, whatever the width.
TEST(Statistics, WiderLevelsGiveTheBitsOfAvx2) {
  if (!module::use_avx2()) GTEST_SKIP() << "no AVX2";
  const ScopedWorkers one(1);
  sweep({.formats = kRgbFormats}, 300, [](const SweepCase &c) {
    GuardedFrame frame(c.shape, c.layout);
    frame.fill(Fill::noise, c.seed);
    for (int32_t op = 0; op < kOps; ++op) {
      std::vector<double> expected;
      for (const module::CpuLevel level : levels()) {
        if (level == module::CpuLevel::kPortable) continue;
        const ScopedLevel scoped(level);
        if (level == module::CpuLevel::kAvx2) expected = statistic(kAVX, frame, op);
        const std::vector<double> actual = statistic(kAVX, frame, op);
        for (size_t i = 0; i < actual.size(); ++i)
          EXPECT_TRUE(same_double(actual[i], expected[i])) << name_of(level) << ", op " << op;
      }
    }
  });
}

// Any record gets an answer.
TEST(Statistics, AbsurdSizes) {
  for (const Entry entry : {kCommonC, kAVX}) {
    GuardedFrame frame({TAVIX_PIX_FMT_BGRA32, 5, 5});
    frame->video.height = INT32_MIN;
    EXPECT_EQ(statistic(entry, frame, TAVIX_STAT_OP_SUM), std::vector<double>(4, 0.0));
    frame->video.height = 0, frame->video.width = 1 << 30;
    EXPECT_EQ(statistic(entry, frame, TAVIX_STAT_OP_SUM), std::vector<double>(4, 0.0));
    frame->video.height = 5;
    TavixArray *array = nullptr;
    EXPECT_REFUSED(entry(frame, TAVIX_STAT_OP_SUM, &array), TAVIX_ERROR_INVALID_PARAM,
                   module::kArithmeticUnit, "tavix::module::StatisticalFunctionOp",
                   "width(1073741824) * channels(4) must not exceed 2147483647 elements of a row");
    EXPECT_EQ(array, nullptr);
  }
}

// An array of the caller's own: elements and count as they were, and what lies behind them.
struct CallersArray {
  explicit CallersArray(int32_t count) : array{count, elements} {
    for (auto &e : elements) e = {77, -1.0};
  }
  TavixArrayElement elements[6];
  TavixArray array;
};

TEST(StatisticsArray, IsFilledAsFarAsItGoes) {
  GuardedFrame frame({TAVIX_PIX_FMT_BGR24, 2, 1});
  for (int32_t i = 0; i < 6; ++i) frame.set(i, 0, uint8_t(i * 10));
  for (const Entry entry : {kByCPU, kCommonC, kAVX})
    for (const int32_t count : {-3, 0, 1, 2, 3, 4, 6}) {
      CallersArray own(count);
      TavixArray *array = &own.array;
      EXPECT_EQ(entry(frame, TAVIX_STAT_OP_SUM, &array), TAVIX_OK);
      EXPECT_EQ(array, &own.array);
      EXPECT_EQ(own.array.count, 3);
      const double sums[] = {30, 50, 70};
      for (int32_t i = 0; i < 6; ++i) {
        const bool written = i < std::min(3, count);
        EXPECT_EQ(own.elements[i].type, written ? TAVIX_ARRAY_TYPE_DOUBLE : 77);
        EXPECT_EQ(own.elements[i].value, written ? sums[i] : -1.0);
      }
    }
  EXPECT_TRUE(core_double().array_requests().empty());
}

TEST(StatisticsArray, IsAllocatedWhereThereIsNone) {
  GuardedFrame frame({TAVIX_PIX_FMT_BGRAF32, 3, 2});
  frame.fill(Fill::noise, 1);
  for (const Entry entry : {kByCPU, kCommonC, kAVX}) {
    TavixArray *array = nullptr;
    EXPECT_EQ(entry(frame, TAVIX_STAT_OP_MEAN, &array), TAVIX_OK);
    const ArrayRequest request = core_double().array_requests().back();
    EXPECT_EQ(request.type, TAVIX_ARRAY_TYPE_DOUBLE);
    EXPECT_EQ(request.count, 4);
    EXPECT_EQ(request.array, array);
    EXPECT_EQ(array->count, 4);
    TavixArrayFree(array);
  }
}

TEST(StatisticsArray, AllocationMayFail) {
  GuardedFrame frame({TAVIX_PIX_FMT_BGR24, 3, 2});
  for (const Entry entry : {kByCPU, kCommonC, kAVX}) {
    TavixArray *array = nullptr;
    core_double().fail_array_allocation();
    EXPECT_REFUSED(entry(frame, TAVIX_STAT_OP_MEAN, &array), TAVIX_ERROR_MEMORY,
                   module::kArithmeticUnit, "tavix::module::StatisticalFunctionOp",
                   "Failed to allocate dst_array");
    EXPECT_EQ(array, nullptr);
  }
}

TEST(StatisticsArray, OfAFrameWithoutChannels) {
  GuardedFrame frame({TAVIX_PIX_FMT_BGR24, 3, 2});
  for (const Entry entry : {kByCPU, kCommonC, kAVX}) {
    frame->video.channels = 0;
    EXPECT_TRUE(statistic(entry, frame, TAVIX_STAT_OP_MEAN).empty());
    CallersArray own(2);
    TavixArray *array = &own.array;
    EXPECT_EQ(entry(frame, TAVIX_STAT_OP_MEAN, &array), TAVIX_OK);
    EXPECT_EQ(own.array.count, 0);
    frame->video.channels = -2;
    own.array = {2, nullptr};  // no element is needed
    EXPECT_EQ(entry(frame, TAVIX_STAT_OP_MEAN, &array), TAVIX_OK);
    EXPECT_EQ(own.array.count, -2);
    array = nullptr;
    EXPECT_EQ(entry(frame, TAVIX_STAT_OP_MEAN, &array), TAVIX_ERROR_MEMORY);
    EXPECT_EQ(core_double().take_logs().back().text, "Failed to allocate dst_array");
  }
}

// A call that must be refused: each field is a fault of its own.
struct Faults {
  bool no_src = false, no_plane = false, no_array = false;
  uint32_t memory = TAVIX_MEMORY_HOST;
  int32_t format = TAVIX_PIX_FMT_BGR24;
  int32_t op = TAVIX_STAT_OP_MEAN;
  int32_t channels = 3;
  bool no_elements = false;
};

// A function, and who its log lines say refuses.
struct Refuser {
  Entry entry;
  const char *unit, *function;

  using Text = std::function<std::string(const TavixFrameV2 *src, TavixArray **dst)>;
  void operator()(const Faults &faults, int32_t status, const Text &text) const;
};

void Refuser::operator()(const Faults &faults, int32_t status, const Text &text) const {
  GuardedFrame frame({TAVIX_PIX_FMT_BGR24, 4, 4});
  frame.fill(Fill::noise, 1);
  frame->memory = faults.memory;
  frame->video.format = faults.format;
  frame->video.channels = faults.channels;
  if (faults.no_plane) frame->data[0] = nullptr;
  CallersArray own(3);
  if (faults.no_elements) own.array.elements = nullptr;
  TavixArray *array = &own.array;
  const TavixFrameV2 *src = faults.no_src ? nullptr : &*frame;
  TavixArray **dst = faults.no_array ? nullptr : &array;
  EXPECT_REFUSED(entry(src, faults.op, dst), status, unit, function, text(src, dst));
  EXPECT_EQ(array, &own.array);
  EXPECT_EQ(own.array.count, 3);
  for (const auto &e : own.elements) EXPECT_TRUE(e.type == 77 && e.value == -1.0);
}

TEST(StatisticsChecks, ByCPU) {
  const Refuser refused = {kByCPU, module::kFrameConvertUnit, "TavixFrameStatisticalFunctionByCPU"};
  const auto null_text = [](const TavixFrameV2 *src, TavixArray **) {
    return printed("src:(%p), src->data[0]:(%p) must not be nullptr", src, nullptr);
  };
  refused({.no_src = true}, kInvalid, null_text);
  refused({.no_plane = true, .memory = 1, .format = TAVIX_PIX_FMT_NV12}, kInvalid, null_text);
  for (const uint32_t memory : {1u, 2u, ~0u})
    refused({.memory = memory, .format = TAVIX_PIX_FMT_NV12}, kInvalid, [&](auto...) {
      return printed("src->memory(%d) must be in host memory", int32_t(memory));
    });
  for (const int32_t format : kOtherFormats)
    refused({.no_array = true, .format = format, .op = 5}, kUnsupported, [&](auto...) {
      return printed("Invalid input: src->video.format(%d) must be either RGB Family", format);
    });
}

// The checks that the two implementations share, under the name of the function both run.
void expect_common_refusals(Entry entry) {
  const Refuser refused = {entry, module::kArithmeticUnit, "tavix::module::StatisticalFunctionOp"};
  for (const int32_t op : {-1, 5, INT32_MAX, INT32_MIN})
    refused({.op = op, .channels = 5, .no_elements = true}, kInvalid,
            [&](auto...) { return printed("Invalid input: op(%d) is out of range", op); });
  for (const int32_t channels : {5, INT32_MAX})
    refused({.channels = channels, .no_elements = true}, kInvalid,
            [&](auto...) { return printed("src channels(%d) must not exceed 4", channels); });
  refused({.no_elements = true}, kInvalid,
          [](auto...) { return printed("dst_array elements(%p) must not be nullptr", nullptr); });
}

TEST(StatisticsChecks, CommonC) {
  const Refuser refused = {kCommonC, module::kArithmeticUnit,
                           "TavixFrameStatisticalFunctionCommonC"};
  const auto null_text = [](const TavixFrameV2 *src, TavixArray **dst) {
    return printed("src:%p or dst_array:%p is nullptr", src, dst);
  };
  refused({.no_src = true}, kInvalid, null_text);
  refused({.no_src = true, .no_array = true}, kInvalid, null_text);
  refused({.no_plane = true, .no_array = true, .format = TAVIX_PIX_FMT_NV12}, kInvalid, null_text);
  refused({.no_plane = true, .format = TAVIX_PIX_FMT_NV12}, kInvalid,
          [](auto...) { return printed("src->data[0](%p) is nullptr", nullptr); });
  for (const int32_t format : kOtherFormats)
    refused({.memory = 1, .format = format, .op = 5}, kUnsupported,
            [&](auto...) { return printed("Unsupported pixel format: %d", format); });
  expect_common_refusals(kCommonC);
}

TEST(StatisticsChecks, AVX) {
  const Refuser refused = {kAVX, module::kArithmeticAvxUnit, "TavixFrameStatisticalFunctionAVX"};
  const auto null_text = [](const TavixFrameV2 *src, TavixArray **dst) {
    return printed("src_frame(%p) or dst_array(%p) is null", src, dst);
  };
  refused({.no_src = true}, kInvalid, null_text);
  refused({.no_src = true, .no_array = true}, kInvalid, null_text);
  refused({.no_array = true, .format = TAVIX_PIX_FMT_NV12}, kInvalid, null_text);
  for (const int32_t format : kOtherFormats)
    refused({.no_plane = true, .memory = 1, .format = format, .op = 5}, kUnsupported,
            [&](auto...) { return printed("Unsupported pixel format: %d", format); });
  expect_common_refusals(kAVX);
  expect_common_refusals(TavixFrameStatisticalFunctionForward);
  // The plane is not among the checks; where there are no pixels it is not needed.
  const Refuser common = {kAVX, module::kArithmeticUnit, "tavix::module::StatisticalFunctionOp"};
  common({.no_plane = true}, kInvalid,
         [](auto...) { return printed("src->data[0](%p) must not be nullptr", nullptr); });
  TavixFrameV2 empty = {};
  empty.video = {3, 4, 0, TAVIX_PIX_FMT_BGR24, 0, 0};
  EXPECT_EQ(statistic(kAVX, &empty, TAVIX_STAT_OP_SUM), std::vector<double>(3, 0.0));
}

// An array address nobody checked reaches the implementation's own check.
TEST(StatisticsChecks, ArrayAddress) {
  GuardedFrame frame({TAVIX_PIX_FMT_BGR24, 4, 4});
  for_each_path([&](const Path &path) {
    for (const Entry entry : {kByCPU, Entry(TavixFrameStatisticalFunctionForward)})
      EXPECT_REFUSED(
          entry(frame, TAVIX_STAT_OP_MEAN, nullptr), kInvalid,
          path.vector ? module::kArithmeticAvxUnit : module::kArithmeticUnit,
          path.vector ? "TavixFrameStatisticalFunctionAVX" : "TavixFrameStatisticalFunctionCommonC",
          printed(path.vector ? "src_frame(%p) or dst_array(%p) is null"
                              : "src:%p or dst_array:%p is nullptr",
                  static_cast<const TavixFrameV2 *>(frame), nullptr));
  });
}

}  // namespace
}  // namespace tavix::test
