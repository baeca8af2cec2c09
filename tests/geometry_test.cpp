// SPDX-License-Identifier: Apache-2.0
// Geometry beside direct calls of OpenCV, its refusals, and what happens to results that do not
// fit.
#include "tavix/video_common_cpu/geometry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <opencv2/imgproc.hpp>

#include "common/log.h"
#include "support/core_double.h"
#include "support/frame_pair.h"
#include "support/opencv_reference.h"
#include "support/sweep.h"

namespace tavix::test {
namespace {

constexpr auto *kUnit = module::kFrameConvertUnit;
constexpr int32_t kCodes[] = {cv::INTER_NEAREST, cv::INTER_LINEAR,   cv::INTER_CUBIC,
                              cv::INTER_AREA,    cv::INTER_LANCZOS4, cv::INTER_LINEAR_EXACT};
const std::vector<Fill> kFiniteFills = {Fill::noise, Fill::zeros, Fill::full};

SweepAxes geometry_axes() {
  return {.formats = kRgbFormats,
          .widths = {1, 2, 7, 16, 33, 130},
          .heights = {1, 2, 5, 31},
          .fills = kFiniteFills};
}

// The view demands a stride of whole elements: float frames take the layouts that have one.
bool opencv_takes(const SweepCase &c) {
  return !c.layout.bottom_up && (!is_float_format(c.shape.format) || c.layout.pad % 4 == 0);
}

TEST(Resize, EqualsOpencv) {
  sweep(geometry_axes(), 900, [](const SweepCase &c) {
    if (!opencv_takes(c)) return;
    GuardedFrame src(c.shape, c.layout);
    src.fill(c.fill, c.seed);
    const int32_t code = kCodes[c.seed % std::size(kCodes)];
    const int32_t width = 1 + int32_t(c.seed % 70), height = 1 + int32_t(c.seed % 41);
    GuardedFrame dst({c.shape.format, width, height}, c.layout);
    dst.fill(Fill::noise, c.seed + 1);
    cv::Mat expected;
    cv::resize(matrix_of(*src), expected, {width, height}, 0, 0, code);
    EXPECT_EQ(TavixFrameResizeByCPU(src, dst, width, height, code), TAVIX_OK);
    EXPECT_TRUE(same_pixels_as(expected, *dst));
    EXPECT_TRUE(src.intact() && dst.intact());
    EXPECT_TRUE(logged_nothing());
  });
}

TEST(Resize, FoldsOtherCodesToNearest) {
  GuardedFrame src({TAVIX_PIX_FMT_BGR24, 13, 9});
  src.fill(Fill::noise, 3);
  cv::Mat expected;
  cv::resize(matrix_of(*src), expected, {29, 31}, 0, 0, cv::INTER_NEAREST);
  for (const int32_t code : {+cv::INTER_NEAREST, 6, -1, 17, 99}) {
    GuardedFrame dst({TAVIX_PIX_FMT_BGR24, 29, 31});
    EXPECT_EQ(TavixFrameResizeByCPU(src, dst, 29, 31, code), TAVIX_OK);
    EXPECT_TRUE(same_pixels_as(expected, *dst)) << "code " << code;
  }
}

TEST(Resize, OntoItselfChangesNothing) {
  GuardedFrame frame({TAVIX_PIX_FMT_BGR24, 13, 9});
  frame.fill(Fill::noise, 3);
  const auto before = frame.payload();
  for (const int32_t code : kCodes)
    EXPECT_EQ(TavixFrameResizeByCPU(frame, frame, 13, 9, code), TAVIX_OK);
  EXPECT_EQ(frame.payload(), before);
}

TEST(Resize, LosesAResultThatDoesNotFit) {
  FramePair frames({TAVIX_PIX_FMT_BGR24, 13, 9}, {TAVIX_PIX_FMT_BGR24, 20, 20}, {.pad = 60});
  EXPECT_EQ(TavixFrameResizeByCPU(frames.src, frames.dst, 21, 20, cv::INTER_LINEAR), TAVIX_OK);
  EXPECT_TRUE(frames.untouched() && logged_nothing());
}

TEST(ResizeByScale, EqualsOpencvInANewPackedFrame) {
  sweep(geometry_axes(), 600, [](const SweepCase &c) {
    if (!opencv_takes(c)) return;
    GuardedFrame src(c.shape, c.layout);
    src.fill(c.fill, c.seed);
    src->device = 77, src->pts = 1, src->dts = -2, src->duration = 3, src->flags = 4;
    const double fx = 0.5 + double(c.seed % 7) / 4, fy = 0.6 + double(c.seed % 5) / 3;
    cv::Mat expected;
    try {
      cv::resize(matrix_of(*src), expected, {}, fx, fy, cv::INTER_LINEAR);
    } catch (const cv::Exception &) {
      return;  // a size that comes to nothing
    }
    core_double().reset();
    TavixFrameV2 *dst = nullptr;
    ASSERT_EQ(TavixFrameResizeByScaleByCPU(src, &dst, fx, fy, cv::INTER_LINEAR), TAVIX_OK);
    EXPECT_TRUE(same_pixels_as(expected, *dst));
    EXPECT_TRUE(dst->pts == 1 && dst->dts == -2 && dst->duration == 3 && dst->flags == 4);
    const auto requests = core_double().frame_requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].format, c.shape.format);
    EXPECT_EQ(requests[0].memory, 0u);
    EXPECT_EQ(requests[0].device, 77u);
    EXPECT_EQ(requests[0].alignment, 1);
    TavixFrameFreeV2(dst);
  });
}

TEST(ResizeByScale, HalvesGoToTheEvenNeighbour) {
  GuardedFrame src({TAVIX_PIX_FMT_GRAY8, 7, 5});
  src.fill(Fill::noise, 1);
  TavixFrameV2 *dst = nullptr;
  ASSERT_EQ(TavixFrameResizeByScaleByCPU(src, &dst, 0.5, 0.5, cv::INTER_LINEAR), TAVIX_OK);
  EXPECT_EQ(dst->video.width, 4);
  EXPECT_EQ(dst->video.height, 2);
  TavixFrameFreeV2(dst);
}

TEST(ResizeByScale, FailedAllocationLeavesNull) {
  GuardedFrame src({TAVIX_PIX_FMT_GRAY8, 7, 5});
  src.fill(Fill::noise, 1);
  TavixFrameV2 *dst = src;
  core_double().fail_frame_allocation();
  EXPECT_REFUSES(TavixFrameResizeByScaleByCPU, (src, &dst, 2, 2, cv::INTER_LINEAR),
                 TAVIX_ERROR_MEMORY, kUnit,
                 "TavixFrameResizeByScaleByCPU dst frame alloc/data failed");
  EXPECT_EQ(dst, nullptr);
  core_double().alter_frames([](TavixFrameV2 &frame) { frame.data[0] = nullptr; });
  dst = src;
  EXPECT_REFUSES(TavixFrameResizeByScaleByCPU, (src, &dst, 2, 2, cv::INTER_LINEAR),
                 TAVIX_ERROR_MEMORY, kUnit,
                 "TavixFrameResizeByScaleByCPU dst frame alloc/data failed");
  EXPECT_EQ(dst, nullptr);
  EXPECT_EQ(core_double().outstanding_frames(), 0) << "a frame without a plane is freed";
  core_double().alter_frames({});
  ASSERT_EQ(TavixFrameResizeByScaleByCPU(src, &dst, 2, 2, cv::INTER_LINEAR), TAVIX_OK)
      << "the next call works";
  TavixFrameFreeV2(dst);
}

// Affine and perspective side by side: a 3x3 matrix whose last row is neutral serves both.
struct Warp {
  const char *function, *name;
  decltype(&TavixFrameWarpAffineByCPU) call;
  std::function<void(const cv::Mat &, cv::Mat &, const float *, cv::Size, int, int, cv::Scalar)>
      expected;
};
const Warp kWarps[] = {
    {"TavixFrameWarpAffineByCPU", "warpAffine", TavixFrameWarpAffineByCPU,
     [](const cv::Mat &src, cv::Mat &dst, const float *m, cv::Size size, int flags, int border,
        cv::Scalar value) {
       cv::warpAffine(src, dst, cv::Mat(2, 3, CV_32F, const_cast<float *>(m)).clone(), size, flags,
                      border, value);
     }},
    {"TavixFrameWarpPerspectiveByCPU", "warpPerspective", TavixFrameWarpPerspectiveByCPU,
     [](const cv::Mat &src, cv::Mat &dst, const float *m, cv::Size size, int flags, int border,
        cv::Scalar value) {
       cv::warpPerspective(src, dst, cv::Mat(3, 3, CV_32F, const_cast<float *>(m)).clone(), size,
                           flags, border, value);
     }},
};
constexpr float kMatrix[9] = {0.9f, 0.2f, 1.5f, -0.1f, 1.1f, -2.0f, 0.001f, 0.002f, 1.0f};

std::ostream &operator<<(std::ostream &out, const Warp &warp) {
  return out << warp.function;
}

class EachWarp : public ::testing::TestWithParam<Warp> {
 protected:
  static int32_t call(TavixFrameV2 *dst, const TavixFrameV2 *src, const float *matrix,
                      int32_t interpolation = cv::INTER_LINEAR,
                      int32_t border = cv::BORDER_CONSTANT, double border_value = 9) {
    return GetParam().call(dst, src, matrix, interpolation, border, border_value);
  }
  static cv::Mat expected(const TavixFrameV2 &src, cv::Size size,
                          int32_t interpolation = cv::INTER_LINEAR,
                          int32_t border = cv::BORDER_CONSTANT) {
    cv::Mat result;
    GetParam().expected(matrix_of(src), result, kMatrix, size, interpolation, border,
                        cv::Scalar::all(9));
    return result;
  }
};
INSTANTIATE_TEST_SUITE_P(Warps, EachWarp, ::testing::ValuesIn(kWarps),
                         ::testing::PrintToStringParamName());

TEST_P(EachWarp, EqualsOpencv) {
  sweep(geometry_axes(), 500, [&](const SweepCase &c) {
    if (!opencv_takes(c)) return;
    GuardedFrame src(c.shape, c.layout);
    src.fill(c.fill, c.seed);
    GuardedFrame dst({c.shape.format, 1 + int32_t(c.seed % 40), 1 + int32_t(c.seed % 23)},
                     c.layout);
    constexpr int32_t kInterpolations[] = {cv::INTER_NEAREST, cv::INTER_LINEAR, cv::INTER_CUBIC,
                                           cv::INTER_LANCZOS4, cv::WARP_INVERSE_MAP};
    constexpr int32_t kBorders[] = {cv::BORDER_CONSTANT, cv::BORDER_REPLICATE, cv::BORDER_REFLECT,
                                    cv::BORDER_WRAP, cv::BORDER_REFLECT_101};
    const int32_t code = kInterpolations[c.seed % 5], border = kBorders[c.seed / 5 % 5];
    EXPECT_EQ(call(dst, src, kMatrix, code, border), TAVIX_OK);
    EXPECT_TRUE(
        same_pixels_as(expected(*src, {dst->video.width, dst->video.height}, code, border), *dst));
    EXPECT_TRUE(src.intact() && dst.intact() && logged_nothing());
  });
}

TEST_P(EachWarp, WorksInPlace) {
  GuardedFrame frame({TAVIX_PIX_FMT_BGR24, 40, 23});
  frame.fill(Fill::noise, 5);
  const cv::Mat result = expected(*frame, {40, 23});
  EXPECT_EQ(call(frame, frame, kMatrix), TAVIX_OK);
  EXPECT_TRUE(same_pixels_as(result, *frame));
}

// Channels keep their order where the formats differ in nothing else.
TEST_P(EachWarp, CopiesAcrossFormatsOfOneType) {
  FramePair frames({TAVIX_PIX_FMT_RGBF32, 40, 23}, {TAVIX_PIX_FMT_BGRF32, 30, 20});
  EXPECT_EQ(call(frames.dst, frames.src, kMatrix), TAVIX_OK);
  EXPECT_TRUE(same_pixels_as(expected(*frames.src, {30, 20}), *frames.dst));
}

// Where the affine formula of the header says so: one pixel, moved by the matrix or against it.
TEST_P(EachWarp, MatrixMapsSourceToDestination) {
  constexpr float kMove[9] = {1, 0, 3, 0, 1, 2, 0, 0, 1};
  for (const bool inverse : {false, true}) {
    GuardedFrame src({TAVIX_PIX_FMT_GRAY8, 9, 9}), dst({TAVIX_PIX_FMT_GRAY8, 9, 9});
    for (int y = 0; y < 9; ++y) std::memset(src.row(y), 0, 9);
    src.set<uint8_t>(4, 4, 77);
    EXPECT_EQ(call(dst, src, kMove, inverse ? cv::WARP_INVERSE_MAP : cv::INTER_NEAREST), TAVIX_OK);
    EXPECT_EQ(dst.get<uint8_t>(inverse ? 1 : 7, inverse ? 2 : 6), 77);
  }
}

TEST_P(EachWarp, CombinedCodesAreNearest) {
  const FrameShape shape = {TAVIX_PIX_FMT_GRAY8, 20, 20};
  GuardedFrame src(shape);
  src.fill(Fill::noise, 5);
  const auto warped = [&](int32_t interpolation, int32_t border, double border_value) {
    GuardedFrame dst(shape);
    EXPECT_EQ(call(dst, src, kMatrix, interpolation, border, border_value), TAVIX_OK);
    return dst.payload();
  };
  constexpr int32_t kNearest = cv::INTER_NEAREST, kConstant = cv::BORDER_CONSTANT;
  EXPECT_EQ(warped(kNearest, kConstant, 7), warped(17, 99, 7))
      << "17 is nearest, 99 a constant border";
  EXPECT_EQ(warped(kNearest, cv::BORDER_TRANSPARENT, 7), warped(kNearest, kConstant, 0))
      << "unset pixels are black";
}

// OpenCV takes no size for the source's.
TEST_P(EachWarp, NoPixelsGetNoBorder) {
  FramePair frames({TAVIX_PIX_FMT_BGR24, 6, 4});
  frames.dst->video.width = 0;
  EXPECT_REFUSED(call(frames.dst, frames.src, kMatrix, cv::INTER_NEAREST, cv::BORDER_TRANSPARENT),
                 kInvalid, kUnit, GetParam().function,
                 GetParam().name + std::string(" result size/type mismatch: result(6x4, type=16), "
                                               "expected(0x4, type=16)"));
  EXPECT_TRUE(frames.untouched());
}

// Each refusal with the faults before it still there: it comes first.
TEST_P(EachWarp, RefusalsInOrder) {
  const Warp &warp = GetParam();
  FramePair frames({TAVIX_PIX_FMT_BGR24, 6, 4}),
      others({TAVIX_PIX_FMT_BGR24, 6, 4}, {TAVIX_PIX_FMT_BGRA32, 6, 4});
  TavixFrameV2 *const src = frames.src, *const dst = frames.dst;
  const TavixFrameV2 valid = *src, valid_dst = *dst;
  const auto refused = [&](const TavixFrameV2 *from, const float *matrix, int32_t status,
                           const std::string &text) {
    EXPECT_REFUSED(call(dst, from, matrix), status, kUnit, warp.function, text);
  };

  EXPECT_EQ(call(others.dst, others.src, kMatrix), kInvalid);
  const auto logs = core_double().take_logs();
  ASSERT_EQ(logs.size(), 1u);
  EXPECT_EQ(logs[0].function, warp.function);
  EXPECT_EQ(logs[0].text,
            warp.name + std::string(" result size/type mismatch: result(6x4, type=16), "
                                    "expected(6x4, type=24)"));
  EXPECT_EQ(logs[0].format,
            warp.name + std::string(" result size/type mismatch: result(%dx%d, type=%d), "
                                    "expected(%dx%d, type=%d)"));
  EXPECT_TRUE(others.untouched());

  refused(src, nullptr, kInvalid, printed("matrix:%p is nullptr", nullptr));
  src->memory = 1;
  refused(src, nullptr, kInvalid, "src_frame->memory:1 or dst_frame->memory:0 is not host memory");
  src->linesize[0] = 0;
  refused(src, nullptr, kInvalid,
          "src_frame->linesize[0]:0 or dst_frame->linesize[0]:18 is invalid");
  src->data[0] = nullptr;
  refused(
      src, nullptr, kInvalid,
      printed("src_frame->data[0]:%p or dst_frame->data[0]:%p is nullptr", nullptr, dst->data[0]));
  src->video.format = TAVIX_PIX_FMT_NV12;
  refused(src, nullptr, kUnsupported,
          "Unsupported src frame type:7 or dst frame type:1 to OpencvType");
  refused(nullptr, nullptr, kInvalid,
          printed("src_frame:%p or dst_frame:%p is nullptr", nullptr, dst));
  EXPECT_TRUE(frames.untouched());

  // What a refusal says of either frame holds for the destination alone too.
  *src = valid;
  dst->linesize[0] = 0;
  refused(src, kMatrix, kInvalid,
          "src_frame->linesize[0]:18 or dst_frame->linesize[0]:0 is invalid");
  dst->video.format = TAVIX_PIX_FMT_NV12;
  refused(src, kMatrix, kUnsupported,
          "Unsupported src frame type:1 or dst frame type:7 to OpencvType");
  *dst = valid_dst;
  EXPECT_EQ(call(dst, src, kMatrix), TAVIX_OK);
}

// The operations that view the destination with the source's type: its own format counts for
// nothing, and a longer row keeps its end.
struct Delivery {
  const char *function;
  std::function<int32_t(const TavixFrameV2 *src, TavixFrameV2 *dst)> call;
};
std::ostream &operator<<(std::ostream &out, const Delivery &delivery) {
  return out << delivery.function;
}
const Delivery kDeliveries[] = {
    {"TavixFrameResizeByCPU",
     [](auto *src, auto *dst) { return TavixFrameResizeByCPU(src, dst, 9, 7, cv::INTER_NEAREST); }},
    {"TavixFrameRoiByCPU",
     [](auto *src, auto *dst) {
       return TavixFrameRoiByCPU(src, dst, {0, 0, 9, 7}, {0, 0, 9, 7});
     }},
    {"TavixFrameCopyMakeBorderByCPU",
     [](auto *src, auto *dst) {
       return TavixFrameCopyMakeBorderByCPU(src, dst, 0, 0, 0, 0, cv::BORDER_CONSTANT, 0);
     }},
};

class EachDelivery : public ::testing::TestWithParam<Delivery> {};
INSTANTIATE_TEST_SUITE_P(Deliveries, EachDelivery, ::testing::ValuesIn(kDeliveries),
                         ::testing::PrintToStringParamName());

TEST_P(EachDelivery, TakesTheSourcesFormatForBoth) {
  constexpr int32_t kFormat = TAVIX_PIX_FMT_RGB24, kPixelBytes = 3;
  for (const int32_t dst_format : {+TAVIX_PIX_FMT_BGR24, +TAVIX_PIX_FMT_RGBA32,
                                   +TAVIX_PIX_FMT_BGRF32, +TAVIX_PIX_FMT_NONE, 99}) {
    SCOPED_TRACE(conversion_name(kFormat, dst_format));
    // Memory for whichever rows are longer.
    FramePair frames({kFormat, 9, 7}, {TAVIX_PIX_FMT_BGRF32, 9, 7});
    const auto before = frames.dst.payload();
    frames.dst->video.format = dst_format;
    EXPECT_EQ(GetParam().call(frames.src, frames.dst), TAVIX_OK);
    EXPECT_EQ(frames.dst->video.format, dst_format) << "the record stays";
    const auto after = frames.dst.payload();
    for (int32_t y = 0; y < 7; ++y)
      for (int32_t i = 0; i < 9 * 12; ++i) {
        const size_t at = size_t(y * 9 * 12 + i);
        ASSERT_EQ(after[at], i < 9 * kPixelBytes ? frames.src.get<uint8_t>(i, y) : before[at])
            << "row " << y << ", byte " << i;
      }
    EXPECT_TRUE(frames.src.intact() && frames.dst.intact() && logged_nothing());
  }
}

TEST(Roi, CopiesWholePixels) {
  sweep(geometry_axes(), 500, [](const SweepCase &c) {
    if (!opencv_takes(c)) return;
    GuardedFrame src(c.shape, c.layout);
    GuardedFrame dst({c.shape.format, c.shape.width + 3, c.shape.height + 2}, c.layout);
    src.fill(c.fill, c.seed);
    dst.fill(Fill::noise, c.seed + 1);
    cv::Mat expected = matrix_of(*dst);
    matrix_of(*src).copyTo(expected(cv::Rect(2, 1, c.shape.width, c.shape.height)));
    EXPECT_EQ(TavixFrameRoiByCPU(
                  src, dst, {0.0f, 0.9f, float(c.shape.width) + 0.9f, float(c.shape.height) + 0.5f},
                  {2.7f, 1.2f, float(c.shape.width), float(c.shape.height)}),
              TAVIX_OK);
    EXPECT_TRUE(same_pixels_as(expected, *dst));
    EXPECT_TRUE(src.intact() && dst.intact() && logged_nothing());
  });
}

TEST(Roi, RaisesForRectanglesThatDoNotFit) {
  FramePair frames({TAVIX_PIX_FMT_GRAY8, 8, 8});
  GuardedFrame &src = frames.src, &dst = frames.dst;
  const float far = 2147483520.0f;
  const TavixRect bad[] = {{0, 0, 5, 4},     {6, 0, 4, 4},     {-1, 0, 4, 4},  {0, 0, -4, 4},
                           {far, 0, far, 4}, {0, far, 4, far}, {0, 0, NAN, 4}, {INFINITY, 0, 4, 4}};
  for (const TavixRect &rect : bad) {
    EXPECT_THROW(TavixFrameRoiByCPU(src, dst, rect, {2, 2, 4, 4}), cv::Exception);
    EXPECT_THROW(TavixFrameRoiByCPU(src, dst, {2, 2, 4, 4}, rect), cv::Exception);
  }
  EXPECT_TRUE(frames.untouched());
  EXPECT_EQ(TavixFrameRoiByCPU(src, dst, {0, 0, 4.9f, 4.9f}, {2, 2, 4, 4}), TAVIX_OK);
  EXPECT_TRUE(dst.intact());
}

TEST(CopyMakeBorder, EqualsOpencv) {
  sweep(geometry_axes(), 600, [](const SweepCase &c) {
    if (!opencv_takes(c)) return;
    GuardedFrame src(c.shape, c.layout);
    src.fill(c.fill, c.seed);
    const int32_t top = int32_t(c.seed % 4), bottom = 1, left = int32_t(c.seed % 3), right = 2;
    const int32_t codes[] = {cv::BORDER_CONSTANT,
                             cv::BORDER_REPLICATE,
                             cv::BORDER_REFLECT,
                             cv::BORDER_WRAP,
                             cv::BORDER_REFLECT_101,
                             cv::BORDER_ISOLATED,
                             99};
    const int32_t code = codes[c.seed % 7];
    GuardedFrame dst({c.shape.format, c.shape.width + left + right, c.shape.height + top + bottom},
                     c.layout);
    cv::Mat expected;
    cv::copyMakeBorder(matrix_of(*src), expected, top, bottom, left, right,
                       code == 99 ? int32_t(cv::BORDER_CONSTANT) : code, cv::Scalar::all(17));
    EXPECT_EQ(TavixFrameCopyMakeBorderByCPU(src, dst, top, bottom, left, right, code, 17),
              TAVIX_OK);
    EXPECT_TRUE(same_pixels_as(expected, *dst));
    EXPECT_TRUE(src.intact() && dst.intact() && logged_nothing());
  });
}

TEST(CopyMakeBorder, LosesAResultThatDoesNotFit) {
  FramePair frames({TAVIX_PIX_FMT_GRAY8, 8, 8}, {TAVIX_PIX_FMT_GRAY8, 9, 9});
  GuardedFrame &src = frames.src, &dst = frames.dst;
  EXPECT_EQ(TavixFrameCopyMakeBorderByCPU(src, dst, 1, 1, 1, 1, cv::BORDER_CONSTANT, 0), TAVIX_OK);
  EXPECT_TRUE(frames.untouched());
  EXPECT_TRUE(logged_nothing());
}

// Sides whose sum wraps around to what fits, and nothing to repeat.
TEST(CopyMakeBorder, RefusesWhatOpencvDoesNotSurvive) {
  constexpr int32_t kMost = INT32_MAX;
  FramePair frames({TAVIX_PIX_FMT_GRAY8, 8, 8}, {TAVIX_PIX_FMT_GRAY8, 6, 6});
  GuardedFrame &src = frames.src, &dst = frames.dst;
  const auto refuse = [&](int32_t top, int32_t bottom, int32_t left, int32_t right) {
    EXPECT_REFUSES(
        TavixFrameCopyMakeBorderByCPU,
        (src, dst, top, bottom, left, right, cv::BORDER_REPLICATE, 0), kInvalid, kUnit,
        printed("src frame:%dx%d can not take border:1 with top:%d, bottom:%d, left:%d, right:%d",
                src->video.width, src->video.height, top, bottom, left, right));
  };
  refuse(kMost, kMost, 0, 0);
  refuse(0, 0, kMost, kMost);
  for (int32_t side = 0; side < 4; ++side)
    refuse(side == 0 ? kMost : 0, side == 1 ? kMost : 0, side == 2 ? kMost : 0,
           side == 3 ? kMost : 0);
  src->video.width = 0;
  refuse(0, 0, 3, 3);
  refuse(0, 0, 3, 0);
  refuse(0, 0, 0, 3);
  EXPECT_EQ(TavixFrameCopyMakeBorderByCPU(src, dst, 3, 3, 0, 0, cv::BORDER_REPLICATE, 0), TAVIX_OK);
  src->video.width = 8, src->video.height = 0;
  refuse(3, 3, 0, 0);
  refuse(3, 0, 0, 0);
  refuse(0, 3, 0, 0);
  for (const int32_t border : {cv::BORDER_REPLICATE, cv::BORDER_REFLECT, cv::BORDER_REFLECT_101})
    EXPECT_EQ(TavixFrameCopyMakeBorderByCPU(src, dst, 3, 3, 0, 0, border, 0), kInvalid) << border;
  EXPECT_EQ(core_double().take_logs().size(), 3u);
  // What OpenCV answers itself is left to it.
  EXPECT_EQ(TavixFrameCopyMakeBorderByCPU(src, dst, 0, 0, 0, 0, cv::BORDER_REPLICATE, 0), TAVIX_OK);
  EXPECT_EQ(TavixFrameCopyMakeBorderByCPU(src, dst, 0, 0, 3, 3, cv::BORDER_REFLECT, 0), TAVIX_OK);
  EXPECT_THROW(TavixFrameCopyMakeBorderByCPU(src, dst, 3, 3, 0, 0, cv::BORDER_TRANSPARENT, 0),
               cv::Exception);
  EXPECT_THROW(TavixFrameCopyMakeBorderByCPU(src, dst, kMost, -1, 0, 0, cv::BORDER_REPLICATE, 0),
               cv::Exception);
  EXPECT_THROW(TavixFrameCopyMakeBorderByCPU(src, dst, 3, 3, 0, 0, cv::BORDER_WRAP, 0),
               cv::Exception);
  src->video.height = 8;
  EXPECT_THROW(TavixFrameCopyMakeBorderByCPU(src, dst, kMost, -1, 0, 0, cv::BORDER_REPLICATE, 0),
               cv::Exception);
  EXPECT_TRUE(logged_nothing());
  EXPECT_TRUE(frames.untouched());
}

// The bytes of such results wrap to few or none, which OpenCV would write beyond.
TEST(GeometryRefusals, ResultsThatOpencvCannotCount) {
  constexpr int32_t kSide = 1 << 30;
  constexpr char kText[] = "a result of 1073741824x1073741824 pixels is too large";
  FramePair frames({TAVIX_PIX_FMT_RGBAF32, 8, 8});
  GuardedFrame &src = frames.src, &dst = frames.dst;
  TavixFrameV2 *out = dst;
  EXPECT_REFUSES(TavixFrameResizeByCPU, (src, dst, kSide, kSide, cv::INTER_LINEAR), kInvalid, kUnit,
                 kText);
  EXPECT_REFUSES(TavixFrameResizeByScaleByCPU, (src, &out, kSide / 8, kSide / 8, cv::INTER_LINEAR),
                 kInvalid, kUnit, kText);
  EXPECT_EQ(out, static_cast<TavixFrameV2 *>(dst)) << "nothing was allocated or stored";
  EXPECT_REFUSES(TavixFrameCopyMakeBorderByCPU,
                 (src, dst, 0, kSide - 8, 0, kSide - 8, cv::BORDER_CONSTANT, 0), kInvalid, kUnit,
                 "src frame:8x8 can not take border:0 with top:0, bottom:1073741816, left:0, "
                 "right:1073741816");
  // One byte a pixel in the destination, sixteen in the result.
  dst->video.format = TAVIX_PIX_FMT_GRAY8;
  dst->video.width = dst->video.height = dst->linesize[0] = kSide;
  for (const Warp &warp : kWarps)
    EXPECT_REFUSED(warp.call(dst, src, kMatrix, cv::INTER_LINEAR, cv::BORDER_CONSTANT, 0), kInvalid,
                   kUnit, warp.function, kText);
  EXPECT_TRUE(frames.untouched());
}

TEST(GeometryRefusals, EveryRowInOrder) {
  FramePair frames({TAVIX_PIX_FMT_BGR24, 6, 4});
  TavixFrameV2 *const src = frames.src, *const to = frames.dst, *const no_frame = nullptr;
  TavixFrameV2 *out = to;

  // Worst first: a null plane in a frame of a wrong format is refused for its format.
  src->data[0] = nullptr;
  EXPECT_REFUSES(TavixFrameResizeByCPU, (src, to, 6, 4, cv::INTER_LINEAR), kInvalid, kUnit,
                 "TavixFrameResizeByCPU src frame data is nullptr");
  EXPECT_REFUSES(TavixFrameResizeByScaleByCPU, (src, &out, 1, 1, cv::INTER_LINEAR), kInvalid, kUnit,
                 "TavixFrameResizeByScaleByCPU src frame data is nullptr");
  EXPECT_REFUSES(
      TavixFrameRoiByCPU, (src, to, {}, {}), kInvalid, kUnit,
      printed("src_frame->data[0]:%p or dst_frame->data[0]:%p is nullptr", nullptr, to->data[0]));
  EXPECT_REFUSES(TavixFrameCopyMakeBorderByCPU, (src, to, 0, 0, 0, 0, cv::BORDER_CONSTANT, 0),
                 kInvalid, kUnit, "src_frame->data[0] is nullptr");

  src->video.format = TAVIX_PIX_FMT_I420;
  EXPECT_REFUSES(TavixFrameResizeByCPU, (src, to, 6, 4, cv::INTER_LINEAR), kInvalid, kUnit,
                 "TavixFrameResizeByCPU not suppoted src frame data format:10");
  EXPECT_REFUSES(TavixFrameResizeByScaleByCPU, (src, &out, 1, 1, cv::INTER_LINEAR), kInvalid, kUnit,
                 "TavixFrameResizeByScaleByCPU not suppoted src frame data format:10");
  EXPECT_REFUSES(TavixFrameRoiByCPU, (src, to, {}, {}), kUnsupported, kUnit,
                 "Unsupported Frame Type:10 To OpencvType");
  EXPECT_REFUSES(TavixFrameCopyMakeBorderByCPU, (src, to, 0, 0, 0, 0, cv::BORDER_CONSTANT, 0),
                 kUnsupported, kUnit, "src frame video format:10 not support");

  EXPECT_REFUSES(TavixFrameResizeByCPU, (nullptr, to, 6, 4, cv::INTER_LINEAR), kInvalid, kUnit,
                 printed("TavixFrameResizeByCPU src frame:%p or des frame pointer:%p is nullptr",
                         nullptr, to));
  EXPECT_REFUSES(TavixFrameResizeByScaleByCPU, (nullptr, &out, 1, 1, cv::INTER_LINEAR), kInvalid,
                 kUnit, printed("TavixFrameResizeByScaleByCPU src frame:%p is nullptr", nullptr));
  EXPECT_REFUSES(TavixFrameRoiByCPU, (src, nullptr, {}, {}), kInvalid, kUnit,
                 printed("src_frame:%p or dst_frame:%p is nullptr", src, no_frame));

  GuardedFrame sound({TAVIX_PIX_FMT_BGR24, 6, 4});
  EXPECT_REFUSES(TavixFrameResizeByScaleByCPU, (sound, nullptr, 1, 1, cv::INTER_LINEAR), kInvalid,
                 kUnit,
                 printed("TavixFrameResizeByScaleByCPU dst frame address:%p is nullptr", nullptr));
  EXPECT_EQ(out, to) << "a refusal leaves the output pointer alone";
  EXPECT_TRUE(frames.untouched());
}

}  // namespace
}  // namespace tavix::test
