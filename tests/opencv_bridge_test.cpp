// SPDX-License-Identifier: Apache-2.0
// The maps from codes to OpenCV, and which operations let OpenCV's exceptions out.
#include "tavix_frame_convert_cpu/opencv_bridge.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <opencv2/imgproc.hpp>
#include <set>

#include "support/core_double.h"
#include "support/frame_pair.h"
#include "tavix/video_common_cpu.h"

namespace tavix::test {
namespace {

using namespace tavix::module;

constexpr FrameShape kShape = {TAVIX_PIX_FMT_BGR24, 8, 8};
constexpr int32_t kOddCodes[] = {-1, 17, 99, 1 << 30, std::numeric_limits<int32_t>::min()};

TEST(OpencvBridge, TypeOfEveryFormat) {
  const std::map<int32_t, int> types = {
      {TAVIX_PIX_FMT_RGB24, CV_8UC3},    {TAVIX_PIX_FMT_BGR24, CV_8UC3},
      {TAVIX_PIX_FMT_GRAY8, CV_8UC1},    {TAVIX_PIX_FMT_BGRA32, CV_8UC4},
      {TAVIX_PIX_FMT_RGBA32, CV_8UC4},   {TAVIX_PIX_FMT_RGBF32, CV_32FC3},
      {TAVIX_PIX_FMT_BGRF32, CV_32FC3},  {TAVIX_PIX_FMT_RGBAF32, CV_32FC4},
      {TAVIX_PIX_FMT_BGRAF32, CV_32FC4}, {TAVIX_PIX_FMT_GRAYF32, CV_32FC1}};
  for (int32_t format = -2; format < 40; ++format) {
    const auto found = types.find(format);
    EXPECT_EQ(opencv_type(format), found == types.end() ? -1 : found->second)
        << format_name(format);
  }
  for (const int32_t code : kOddCodes) EXPECT_EQ(opencv_type(code), -1);
}

TEST(OpencvBridge, InterpolationAndBorderCodes) {
  const std::set<int32_t> interpolations = {cv::INTER_LINEAR,       cv::INTER_CUBIC,
                                            cv::INTER_AREA,         cv::INTER_LANCZOS4,
                                            cv::INTER_LINEAR_EXACT, cv::INTER_MAX,
                                            cv::WARP_FILL_OUTLIERS, cv::WARP_INVERSE_MAP},
                          borders = {cv::BORDER_REPLICATE,   cv::BORDER_REFLECT,
                                     cv::BORDER_WRAP,        cv::BORDER_REFLECT_101,
                                     cv::BORDER_TRANSPARENT, cv::BORDER_ISOLATED};
  for (int32_t code = -3; code < 40; ++code) {
    EXPECT_EQ(opencv_interpolation(code), interpolations.contains(code) ? code : 0);
    EXPECT_EQ(opencv_border(code), borders.contains(code) ? code : 0);
  }
  for (const int32_t code : kOddCodes) {
    EXPECT_EQ(opencv_interpolation(code), 0);
    EXPECT_EQ(opencv_border(code), 0);
  }
}

TEST(OpencvBridge, WholeSizesDropFractions) {
  EXPECT_EQ(kernel_size(2.9f, -2.9f), cv::Size(2, -2));
  EXPECT_EQ(kernel_size(32767.9f, NAN), cv::Size(32767, std::numeric_limits<int>::min()));
  EXPECT_EQ(whole_rect({0.9f, 1.5f, 4.9f, 4.99f}), cv::Rect(0, 1, 4, 4));
  const float inf = std::numeric_limits<float>::infinity();
  const cv::Rect far = whole_rect({2147483520.0f, inf, 2147483520.0f, -inf});
  EXPECT_GT(far.x + far.width, 0) << "no overflow";
  EXPECT_EQ(far.y, -(1 << 30));
}

TEST(OpencvBridge, CountsWhatOpencvLetsWrap) {
  EXPECT_TRUE(countable(1 << 30, 1 << 30, CV_8UC4)) << "no memory, and OpenCV says so";
  EXPECT_TRUE(countable(-1, INT32_MAX, CV_32FC4)) << "OpenCV raises for negative sizes";
  EXPECT_FALSE(countable(1 << 30, 1 << 30, CV_32FC4)) << "2^64 bytes";
  EXPECT_FALSE(countable((1 << 30) - 1, (1 << 30) + 1, CV_32FC4)) << "just below 2^64 bytes";
  EXPECT_FALSE(countable(INT32_MAX, INT32_MAX, CV_32FC3));
  EXPECT_FALSE(countable(int64_t(INT32_MAX) + 1, 1, CV_8UC1));
  EXPECT_FALSE(countable(1, int64_t(INT32_MAX) + 1, CV_8UC1));
}

// OpenCV adds the kernel and 64 to both sides in 32 bits, and takes no kernel side beyond 2^28.
TEST(OpencvBridge, CountsWhatKernelsAdd) {
  constexpr int32_t kSide = 1 << 28, kMost = INT32_MAX - 64;
  const auto fits = [](int32_t width, int32_t height, int type, cv::Size kernel) {
    TavixVideoInfo picture = {};
    picture.width = width, picture.height = height;
    return countable(picture, type, kernel);
  };
  EXPECT_TRUE(fits(1, kMost - 3, CV_8UC1, {3, 3}));
  EXPECT_FALSE(fits(1, kMost - 2, CV_8UC1, {3, 3}));
  EXPECT_TRUE(fits(kMost - 3, 1, CV_8UC1, {3, 3}));
  EXPECT_FALSE(fits(kMost - 2, 1, CV_8UC1, {3, 3}));
  EXPECT_TRUE(fits(INT32_MAX / 16 - 64 - 3, 1, CV_32FC4, {3, 3}));
  EXPECT_FALSE(fits(INT32_MAX / 16 - 64 - 2, 1, CV_32FC4, {3, 3}));
  EXPECT_TRUE(fits(1, 1, CV_8UC1, {kSide, kSide}));
  EXPECT_FALSE(fits(1, 1, CV_8UC1, {kSide + 1, 1}));
  EXPECT_FALSE(fits(1, 1, CV_8UC1, {1, kSide + 1}));
}

TEST(OpencvBridge, ViewOwnsNothing) {
  GuardedFrame frame({TAVIX_PIX_FMT_BGRF32, 5, 3}, {.pad = 8});
  const cv::Mat view = plane_view(*frame, CV_32FC3);
  EXPECT_EQ(view.data, frame->data[0]);
  EXPECT_EQ(view.step[0], size_t(frame->linesize[0]));
  EXPECT_EQ(view.u, nullptr);
}

// Every operation on OpenCV, called with a source whose stride OpenCV refuses, and what its log
// line says before OpenCV's own text. No text: the exception leaves the call. A helpful edit that
// guards an operation, or frees one from its guard, fails here.
struct Seam {
  const char *function;
  int32_t status;    // of a guarded operation
  const char *text;  // null: unguarded
  std::function<int32_t(TavixFrameV2 *src, TavixFrameV2 *dst)> call;
};

// A new frame of an operation, freed whichever way the call ends.
struct NewFrame {
  TavixFrameV2 *frame = nullptr;
  ~NewFrame() { TavixFrameFreeV2(frame); }
};

float kernel_values[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
const TavixSize kSize = {3, 3};
const TavixKernel kFloatKernel = {3, 3, TAVIX_DATA_TYPE_FLOAT32, kernel_values};
const TavixKernel kByteKernel = {3, 3, TAVIX_DATA_TYPE_UINT8, kernel_values};

const Seam kSeams[] = {
    {"TavixFrameBlurByCPU", kInvalid,
     "OpenCV error: ", [](auto *src, auto *dst) { return TavixFrameBlurByCPU(src, dst, kSize); }},
    {"TavixFrameBoxFilterByCPU", kInvalid, "OpenCV error: ",
     [](auto *src, auto *dst) { return TavixFrameBoxFilterByCPU(src, dst, &kSize); }},
    {"TavixFrameFilter2DByCPU", kInvalid, "OpenCV error: ",
     [](auto *src, auto *dst) { return TavixFrameFilter2DByCPU(src, dst, &kFloatKernel); }},
    {"TavixFrameDilateBorderByCPU", kInvalid, "Dilate failed: ",
     [](auto *src, auto *dst) { return TavixFrameDilateBorderByCPU(src, dst, &kByteKernel); }},
    {"TavixFrameErodeBorderByCPU", kInvalid, "Erosion failed: ",
     [](auto *src, auto *dst) { return TavixFrameErodeBorderByCPU(src, dst, &kByteKernel); }},
    {"TavixFrameThresholdBinaryByCPU", TAVIX_ERROR_MEMORY, "opencv threshold failed: ",
     [](auto *src, auto *dst) { return TavixFrameThresholdBinaryByCPU(src, dst, 1, 2, 0); }},
    {"TavixFrameMinMaxNormByCPU", kInvalid, "normalize failed: ",
     [](auto *src, auto *dst) { return TavixFrameMinMaxNormByCPU(src, dst, 0, 255); }},
    {"TavixFrameMultiFrameByCPU", TAVIX_ERROR_MEMORY, "multiply failed: ",
     [](auto *src, auto *dst) {
       TavixFrameV2 *out = dst;
       return TavixFrameMultiFrameByCPU(src, dst, &out);
     }},
    {"TavixFrameResizeByCPU", TAVIX_OK, nullptr,
     [](auto *src, auto *dst) { return TavixFrameResizeByCPU(src, dst, 8, 8, 1); }},
    {"TavixFrameResizeByScaleByCPU", TAVIX_OK, nullptr,
     [](auto *src, auto *) {
       NewFrame out;
       return TavixFrameResizeByScaleByCPU(src, &out.frame, 2, 2, 1);
     }},
    {"TavixFrameWarpAffineByCPU", TAVIX_OK, nullptr,
     [](auto *src, auto *dst) {
       return TavixFrameWarpAffineByCPU(dst, src, kernel_values, 1, 0, 0);
     }},
    {"TavixFrameWarpPerspectiveByCPU", TAVIX_OK, nullptr,
     [](auto *src, auto *dst) {
       return TavixFrameWarpPerspectiveByCPU(dst, src, kernel_values, 1, 0, 0);
     }},
    {"TavixFrameRoiByCPU", TAVIX_OK, nullptr,
     [](auto *src, auto *dst) {
       return TavixFrameRoiByCPU(src, dst, {0, 0, 2, 2}, {0, 0, 2, 2});
     }},
    {"TavixFrameCopyMakeBorderByCPU", TAVIX_OK, nullptr,
     [](auto *src, auto *dst) {
       return TavixFrameCopyMakeBorderByCPU(src, dst, 0, 0, 0, 0, 0, 0);
     }},
    {"TavixFrameChannelSplitByCPU", TAVIX_OK, nullptr,
     [](auto *src, auto *) {
       TavixChannelFrames out = {};
       const int32_t status = TavixFrameChannelSplitByCPU(src, &out, 1);
       TavixFrameFreeV2(out.red);
       return status;
     }},
    {"TavixFrameAddMaskByCPU", TAVIX_OK, nullptr,
     [](auto *src, auto *dst) {
       dst->video.format = TAVIX_PIX_FMT_GRAY8, dst->video.channels = 1;
       NewFrame out;
       return TavixFrameAddMaskByCPU(src, dst, &out.frame);
     }},
};

// Each bad record makes OpenCV raise, in the matrix header or in the call.
struct BadRecord {
  const char *what;
  bool allocatable;  // the core can make a frame of this size
  void (*spoil)(TavixFrameV2 &src);
};
const BadRecord kBadRecords[] = {
    {"a stride below the row", true, [](TavixFrameV2 &f) { f.linesize[0] = 1; }},
    {"a negative width", false, [](TavixFrameV2 &f) { f.video.width = -8; }},
    {"a negative height", false, [](TavixFrameV2 &f) { f.video.height = -8; }},
};

TEST(OpencvExceptions, StopAtTheEightGuardedOperationsOnly) {
  for (const BadRecord &bad : kBadRecords) {
    for (const Seam &seam : kSeams) {
      SCOPED_TRACE(::testing::Message() << seam.function << " with " << bad.what);
      // The mask's new frame comes before the views, and already fails.
      if (!bad.allocatable && seam.function == std::string("TavixFrameAddMaskByCPU")) continue;
      FramePair frames(kShape);
      GuardedFrame &src = frames.src, &dst = frames.dst;
      bad.spoil(*src);
      if (seam.text == nullptr) {
        EXPECT_THROW(seam.call(src, dst), cv::Exception);
        EXPECT_TRUE(logged_nothing());
      } else {
        EXPECT_EQ(seam.call(src, dst), seam.status);
        const auto logs = core_double().take_logs();
        ASSERT_EQ(logs.size(), 1u);
        EXPECT_EQ(logs[0].level, TAVIX_LOG_ERROR);
        EXPECT_EQ(logs[0].unit, kFrameConvertUnit);
        EXPECT_EQ(logs[0].function, seam.function);
        EXPECT_TRUE(logs[0].text.starts_with(seam.text)) << logs[0].text;
        EXPECT_GT(logs[0].text.size(), std::string(seam.text).size()) << "OpenCV's own text";
      }
      EXPECT_TRUE(src.intact() && frames.untouched());
    }
  }
}

// OpenCV finds that its result has another size, and the destination stays as it was. Where it is
// the source of the size, or one side of the call, it raises or the size is the mismatch.
TEST(NegativeDestinations, AreOpencvsToJudge) {
  const std::map<std::string, int32_t> others = {{"TavixFrameWarpAffineByCPU", kInvalid},
                                                 {"TavixFrameWarpPerspectiveByCPU", kInvalid},
                                                 {"TavixFrameMultiFrameByCPU", TAVIX_ERROR_MEMORY}};
  for (const Seam &seam : kSeams) {
    const std::string function = seam.function;
    if (function == "TavixFrameResizeByScaleByCPU" || function == "TavixFrameChannelSplitByCPU" ||
        function == "TavixFrameAddMaskByCPU")
      continue;  // no destination, or one more source
    SCOPED_TRACE(function);
    FramePair frames(kShape);
    GuardedFrame &src = frames.src, &dst = frames.dst;
    dst->video.height = -8;
    if (function == "TavixFrameRoiByCPU") {
      EXPECT_THROW(seam.call(src, dst), cv::Exception);
    } else {
      const auto other = others.find(function);
      EXPECT_EQ(seam.call(src, dst), other == others.end() ? TAVIX_OK : other->second);
      EXPECT_EQ(core_double().take_logs().size(), other == others.end() ? 0u : 1u);
    }
    EXPECT_TRUE(frames.untouched());
  }
}

// Texts that are printed with %s would break a log that is searched by its formats.
TEST(OpencvExceptions, LogLiteralFormats) {
  for (const Seam &seam : kSeams) {
    if (seam.text == nullptr) continue;
    SCOPED_TRACE(seam.function);
    GuardedFrame src(kShape), dst(kShape);
    src->linesize[0] = 1;
    seam.call(src, dst);
    const auto logs = core_double().take_logs();
    ASSERT_EQ(logs.size(), 1u);
    EXPECT_EQ(logs[0].format, std::string(seam.text) + "%s");
  }
}

TEST(OpencvExceptions, NameNoFileOfThisLibrary) {
  for (const BadRecord &bad : kBadRecords) {
    for (const Seam &seam : kSeams) {
      SCOPED_TRACE(::testing::Message() << seam.function << " with " << bad.what);
      GuardedFrame src(kShape), dst(kShape);
      bad.spoil(*src);
      std::string text;
      try {
        seam.call(src, dst);
        for (const LogLine &line : core_double().take_logs()) text += line.text;
      } catch (const cv::Exception &exception) {
        text = exception.what();
      }
      EXPECT_EQ(text.find("opencv_bridge"), std::string::npos) << text;
      EXPECT_EQ(text.find("tavix_frame_convert_cpu"), std::string::npos) << text;
    }
  }
}

TEST(OpencvExceptions, TheNextCallWorks) {
  for (const Seam &seam : kSeams) {
    SCOPED_TRACE(seam.function);
    FramePair bad(kShape), good(kShape);
    bad.src->linesize[0] = 1;
    try {
      seam.call(bad.src, bad.dst);
    } catch (const cv::Exception &) {
    }
    core_double().take_logs();
    EXPECT_EQ(seam.call(good.src, good.dst), TAVIX_OK);
    EXPECT_TRUE(logged_nothing());
    EXPECT_EQ(core_double().outstanding_frames(), 0);
  }
}

// Records and memory no operation's own checks name.
TEST(OpencvGuards, NullRecordsAndForeignMemory) {
  for (const Seam &seam : kSeams) {
    SCOPED_TRACE(seam.function);
    FramePair frames(kShape);
    GuardedFrame &src = frames.src, &dst = frames.dst;
    EXPECT_EQ(seam.call(nullptr, dst), TAVIX_ERROR_INVALID_PARAM);
    auto logs = core_double().take_logs();
    ASSERT_EQ(logs.size(), 1u);
    EXPECT_EQ(logs[0].function, seam.function);
    src->memory = 1;
    EXPECT_EQ(seam.call(src, dst), TAVIX_ERROR_INVALID_PARAM);
    logs = core_double().take_logs();
    ASSERT_EQ(logs.size(), 1u);
    EXPECT_EQ(logs[0].function, seam.function);
    EXPECT_TRUE(core_double().frame_requests().empty()) << "nothing is allocated";
    EXPECT_TRUE(frames.untouched());
  }
}

}  // namespace
}  // namespace tavix::test
