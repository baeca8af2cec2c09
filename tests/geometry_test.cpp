// SPDX-License-Identifier: Apache-2.0
// Geometry beside direct calls of OpenCV, its refusals, and what happens to results that do not
// fit.
#include "tavix/video_common_cpu/geometry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <opencv2/imgproc.hpp>

#include "support/core_double.h"
#include "support/opencv_reference.h"
#include "support/sweep.h"

namespace tavix::test {
namespace {

constexpr char kUnit[] = "source/host/tavix_frame_convert_cpu";
constexpr int32_t kCodes[] = {0, 1, 2, 3, 4, 5};
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
  for (const int32_t code : {0, 6, -1, 17, 99}) {
    GuardedFrame dst({TAVIX_PIX_FMT_BGR24, 29, 31});
    EXPECT_EQ(TavixFrameResizeByCPU(src, dst, 29, 31, code), TAVIX_OK);
    EXPECT_TRUE(same_pixels_as(expected, *dst)) << code;
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
  GuardedFrame src({TAVIX_PIX_FMT_BGR24, 13, 9}), dst({TAVIX_PIX_FMT_BGR24, 20, 20}, {.pad = 60});
  src.fill(Fill::noise, 3);
  dst.fill(Fill::noise, 4);
  const auto before = dst.payload();
  EXPECT_EQ(TavixFrameResizeByCPU(src, dst, 21, 20, 1), TAVIX_OK);
  EXPECT_EQ(dst.payload(), before);
  EXPECT_TRUE(dst.intact() && logged_nothing());
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
    ASSERT_EQ(TavixFrameResizeByScaleByCPU(src, &dst, fx, fy, 1), TAVIX_OK);
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
  ASSERT_EQ(TavixFrameResizeByScaleByCPU(src, &dst, 0.5, 0.5, 1), TAVIX_OK);
  EXPECT_EQ(dst->video.width, 4);
  EXPECT_EQ(dst->video.height, 2);
  TavixFrameFreeV2(dst);
}

TEST(ResizeByScale, FailedAllocationLeavesNull) {
  GuardedFrame src({TAVIX_PIX_FMT_GRAY8, 7, 5});
  src.fill(Fill::noise, 1);
  TavixFrameV2 *dst = src;
  core_double().fail_frame_allocation();
  EXPECT_REFUSED(TavixFrameResizeByScaleByCPU(src, &dst, 2, 2, 1), TAVIX_ERROR_MEMORY, kUnit,
                 "TavixFrameResizeByScaleByCPU",
                 "TavixFrameResizeByScaleByCPU dst frame alloc/data failed");
  EXPECT_EQ(dst, nullptr);
  core_double().alter_frames([](TavixFrameV2 &frame) { frame.data[0] = nullptr; });
  dst = src;
  EXPECT_REFUSED(TavixFrameResizeByScaleByCPU(src, &dst, 2, 2, 1), TAVIX_ERROR_MEMORY, kUnit,
                 "TavixFrameResizeByScaleByCPU",
                 "TavixFrameResizeByScaleByCPU dst frame alloc/data failed");
  EXPECT_EQ(dst, nullptr);
  EXPECT_EQ(core_double().outstanding_frames(), 0) << "a frame without a plane is freed";
  core_double().alter_frames({});
  ASSERT_EQ(TavixFrameResizeByScaleByCPU(src, &dst, 2, 2, 1), TAVIX_OK) << "the next call works";
  TavixFrameFreeV2(dst);
}

// Affine and perspective side by side: a 3x3 matrix whose last row is neutral serves both.
struct Warp {
  const char *name, *function;
  decltype(&TavixFrameWarpAffineByCPU) call;
  std::function<void(const cv::Mat &, cv::Mat &, const float *, cv::Size, int, int, cv::Scalar)>
      expected;
};
const Warp kWarps[] = {
    {"warpAffine", "TavixFrameWarpAffineByCPU", TavixFrameWarpAffineByCPU,
     [](const cv::Mat &src, cv::Mat &dst, const float *m, cv::Size size, int flags, int border,
        cv::Scalar value) {
       cv::warpAffine(src, dst, cv::Mat(2, 3, CV_32F, const_cast<float *>(m)).clone(), size, flags,
                      border, value);
     }},
    {"warpPerspective", "TavixFrameWarpPerspectiveByCPU", TavixFrameWarpPerspectiveByCPU,
     [](const cv::Mat &src, cv::Mat &dst, const float *m, cv::Size size, int flags, int border,
        cv::Scalar value) {
       cv::warpPerspective(src, dst, cv::Mat(3, 3, CV_32F, const_cast<float *>(m)).clone(), size,
                           flags, border, value);
     }},
};
constexpr float kMatrix[9] = {0.9f, 0.2f, 1.5f, -0.1f, 1.1f, -2.0f, 0.001f, 0.002f, 1.0f};

TEST(Warp, EqualsOpencv) {
  for (const Warp &warp : kWarps) {
    SCOPED_TRACE(warp.name);
    sweep(geometry_axes(), 500, [&](const SweepCase &c) {
      if (!opencv_takes(c)) return;
      GuardedFrame src(c.shape, c.layout);
      src.fill(c.fill, c.seed);
      GuardedFrame dst({c.shape.format, 1 + int32_t(c.seed % 40), 1 + int32_t(c.seed % 23)},
                       c.layout);
      const int codes[] = {0, 1, 2, 4, 16}, borders[] = {0, 1, 2, 3, 4};
      const int code = codes[c.seed % 5], border = borders[c.seed / 5 % 5];
      cv::Mat expected;
      warp.expected(matrix_of(*src), expected, kMatrix, {dst->video.width, dst->video.height}, code,
                    border, cv::Scalar::all(9));
      EXPECT_EQ(warp.call(dst, src, kMatrix, code, border, 9), TAVIX_OK);
      EXPECT_TRUE(same_pixels_as(expected, *dst));
      EXPECT_TRUE(src.intact() && dst.intact() && logged_nothing());
    });
  }
}

TEST(Warp, WorksInPlace) {
  for (const Warp &warp : kWarps) {
    GuardedFrame frame({TAVIX_PIX_FMT_BGR24, 40, 23});
    frame.fill(Fill::noise, 5);
    cv::Mat expected;
    warp.expected(matrix_of(*frame), expected, kMatrix, {40, 23}, 1, 0, cv::Scalar::all(9));
    EXPECT_EQ(warp.call(frame, frame, kMatrix, 1, 0, 9), TAVIX_OK);
    EXPECT_TRUE(same_pixels_as(expected, *frame)) << warp.name;
  }
}

// Where the affine formula of the header says so: one pixel, moved by the matrix or against it.
TEST(Warp, MatrixMapsSourceToDestination) {
  constexpr float kMove[9] = {1, 0, 3, 0, 1, 2, 0, 0, 1};
  for (const Warp &warp : kWarps) {
    for (const int32_t code : {0, 16}) {
      GuardedFrame src({TAVIX_PIX_FMT_GRAY8, 9, 9}), dst({TAVIX_PIX_FMT_GRAY8, 9, 9});
      for (int y = 0; y < 9; ++y) std::memset(src.row(y), 0, 9);
      src.set<uint8_t>(4, 4, 77);
      EXPECT_EQ(warp.call(dst, src, kMove, code, 0, 0), TAVIX_OK);
      EXPECT_EQ(dst.get<uint8_t>(code == 16 ? 1 : 7, code == 16 ? 2 : 6), 77) << warp.name;
    }
  }
}

TEST(Warp, CombinedCodesAreNearest) {
  GuardedFrame src({TAVIX_PIX_FMT_GRAY8, 20, 20});
  src.fill(Fill::noise, 5);
  for (const Warp &warp : kWarps) {
    GuardedFrame nearest({TAVIX_PIX_FMT_GRAY8, 20, 20}), combined({TAVIX_PIX_FMT_GRAY8, 20, 20}),
        transparent({TAVIX_PIX_FMT_GRAY8, 20, 20}), constant({TAVIX_PIX_FMT_GRAY8, 20, 20});
    EXPECT_EQ(warp.call(nearest, src, kMatrix, 0, 0, 7), TAVIX_OK);
    EXPECT_EQ(warp.call(combined, src, kMatrix, 17, 99, 7), TAVIX_OK);
    EXPECT_EQ(nearest.payload(), combined.payload()) << "17 is nearest, 99 a constant border";
    EXPECT_EQ(warp.call(transparent, src, kMatrix, 0, 5, 7), TAVIX_OK);
    EXPECT_EQ(warp.call(constant, src, kMatrix, 0, 0, 0), TAVIX_OK);
    EXPECT_EQ(transparent.payload(), constant.payload()) << "unset pixels are black";
  }
}

TEST(Warp, RefusalsInOrder) {
  for (const Warp &warp : kWarps) {
    GuardedFrame src({TAVIX_PIX_FMT_BGR24, 6, 4}), dst({TAVIX_PIX_FMT_BGR24, 6, 4});
    GuardedFrame other({TAVIX_PIX_FMT_BGRA32, 6, 4});
    src.fill(Fill::noise, 1), dst.fill(Fill::noise, 2), other.fill(Fill::noise, 3);
    const auto before = dst.payload(), other_before = other.payload();
    uint8_t *const plane = src->data[0];
    const int32_t stride = src->linesize[0];

    EXPECT_EQ(warp.call(other, src, kMatrix, 1, 0, 0), TAVIX_ERROR_INVALID_PARAM);
    EXPECT_EQ(core_double().take_logs().at(0).format,
              std::string(warp.name) +
                  " result size/type mismatch: result(%dx%d, type=%d), "
                  "expected(%dx%d, type=%d)");
    EXPECT_REFUSED(
        warp.call(other, src, kMatrix, 1, 0, 0), TAVIX_ERROR_INVALID_PARAM, kUnit, warp.function,
        printed("%s result size/type mismatch: result(6x4, type=16), expected(6x4, type=24)",
                warp.name));
    EXPECT_EQ(other.payload(), other_before);

    EXPECT_REFUSED(warp.call(dst, src, nullptr, 1, 0, 0), TAVIX_ERROR_INVALID_PARAM, kUnit,
                   warp.function, printed("matrix:%p is nullptr", nullptr));
    src->memory = 1;
    EXPECT_REFUSED(warp.call(dst, src, kMatrix, 1, 0, 0), TAVIX_ERROR_INVALID_PARAM, kUnit,
                   warp.function, "src_frame->memory:1 or dst_frame->memory:0 is not host memory");
    src->linesize[0] = 0;
    EXPECT_REFUSED(warp.call(dst, src, kMatrix, 1, 0, 0), TAVIX_ERROR_INVALID_PARAM, kUnit,
                   warp.function,
                   "src_frame->linesize[0]:0 or dst_frame->linesize[0]:18 is invalid");
    src->data[0] = nullptr;
    EXPECT_REFUSED(warp.call(dst, src, kMatrix, 1, 0, 0), TAVIX_ERROR_INVALID_PARAM, kUnit,
                   warp.function,
                   printed("src_frame->data[0]:%p or dst_frame->data[0]:%p is nullptr", nullptr,
                           dst->data[0]));
    src->video.format = 7;
    EXPECT_REFUSED(warp.call(dst, src, kMatrix, 1, 0, 0), TAVIX_ERROR_UNSUPPORTED, kUnit,
                   warp.function, "Unsupported src frame type:7 or dst frame type:1 to OpencvType");
    EXPECT_REFUSED(warp.call(dst, nullptr, kMatrix, 1, 0, 0), TAVIX_ERROR_INVALID_PARAM, kUnit,
                   warp.function,
                   printed("src_frame:%p or dst_frame:%p is nullptr", nullptr,
                           static_cast<TavixFrameV2 *>(dst)));
    EXPECT_EQ(dst.payload(), before);

    src->memory = 0, src->video.format = 1, src->linesize[0] = stride, src->data[0] = plane;
    EXPECT_EQ(warp.call(dst, src, kMatrix, 1, 0, 0), TAVIX_OK);
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
  GuardedFrame src({TAVIX_PIX_FMT_GRAY8, 8, 8}), dst({TAVIX_PIX_FMT_GRAY8, 8, 8});
  src.fill(Fill::noise, 1), dst.fill(Fill::noise, 2);
  const auto before = dst.payload();
  const float far = 2147483520.0f;
  const TavixRect bad[] = {{0, 0, 5, 4},     {6, 0, 4, 4},     {-1, 0, 4, 4},  {0, 0, -4, 4},
                           {far, 0, far, 4}, {0, far, 4, far}, {0, 0, NAN, 4}, {INFINITY, 0, 4, 4}};
  for (const TavixRect &rect : bad) {
    EXPECT_THROW(TavixFrameRoiByCPU(src, dst, rect, {2, 2, 4, 4}), cv::Exception);
    EXPECT_THROW(TavixFrameRoiByCPU(src, dst, {2, 2, 4, 4}, rect), cv::Exception);
  }
  EXPECT_EQ(dst.payload(), before);
  EXPECT_EQ(TavixFrameRoiByCPU(src, dst, {0, 0, 4.9f, 4.9f}, {2, 2, 4, 4}), TAVIX_OK);
  EXPECT_TRUE(dst.intact());
}

TEST(CopyMakeBorder, EqualsOpencv) {
  sweep(geometry_axes(), 600, [](const SweepCase &c) {
    if (!opencv_takes(c)) return;
    GuardedFrame src(c.shape, c.layout);
    src.fill(c.fill, c.seed);
    const int32_t top = int32_t(c.seed % 4), bottom = 1, left = int32_t(c.seed % 3), right = 2;
    const int32_t codes[] = {0, 1, 2, 3, 4, 16, 99};
    const int32_t code = codes[c.seed % 7];
    GuardedFrame dst({c.shape.format, c.shape.width + left + right, c.shape.height + top + bottom},
                     c.layout);
    cv::Mat expected;
    cv::copyMakeBorder(matrix_of(*src), expected, top, bottom, left, right, code == 99 ? 0 : code,
                       cv::Scalar::all(17));
    EXPECT_EQ(TavixFrameCopyMakeBorderByCPU(src, dst, top, bottom, left, right, code, 17),
              TAVIX_OK);
    EXPECT_TRUE(same_pixels_as(expected, *dst));
    EXPECT_TRUE(src.intact() && dst.intact() && logged_nothing());
  });
}

TEST(CopyMakeBorder, LosesAResultThatDoesNotFit) {
  GuardedFrame src({TAVIX_PIX_FMT_GRAY8, 8, 8}), dst({TAVIX_PIX_FMT_GRAY8, 9, 9});
  src.fill(Fill::noise, 1), dst.fill(Fill::noise, 2);
  const auto before = dst.payload();
  EXPECT_EQ(TavixFrameCopyMakeBorderByCPU(src, dst, 1, 1, 1, 1, 0, 0), TAVIX_OK);
  EXPECT_EQ(dst.payload(), before);
  EXPECT_TRUE(logged_nothing());
}

// Sides whose sum wraps around to what fits, and nothing to repeat.
TEST(CopyMakeBorder, RefusesWhatOpencvDoesNotSurvive) {
  constexpr int32_t kMost = INT32_MAX;
  GuardedFrame src({TAVIX_PIX_FMT_GRAY8, 8, 8}), dst({TAVIX_PIX_FMT_GRAY8, 6, 6});
  const auto before = dst.payload();
  const auto refuse = [&](int32_t top, int32_t bottom, int32_t left, int32_t right) {
    EXPECT_REFUSED(
        TavixFrameCopyMakeBorderByCPU(src, dst, top, bottom, left, right, 1, 0), 7, kUnit,
        "TavixFrameCopyMakeBorderByCPU",
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
  src->video.width = 8, src->video.height = 0;
  refuse(3, 3, 0, 0);
  refuse(3, 0, 0, 0);
  refuse(0, 3, 0, 0);
  for (const int32_t border : {1, 2, 4})
    EXPECT_EQ(TavixFrameCopyMakeBorderByCPU(src, dst, 3, 3, 0, 0, border, 0), 7) << border;
  EXPECT_EQ(core_double().take_logs().size(), 3u);
  // What OpenCV answers itself is left to it.
  EXPECT_EQ(TavixFrameCopyMakeBorderByCPU(src, dst, 0, 0, 0, 0, 1, 0), TAVIX_OK);
  EXPECT_EQ(TavixFrameCopyMakeBorderByCPU(src, dst, 0, 0, 3, 3, 2, 0), TAVIX_OK);
  EXPECT_THROW(TavixFrameCopyMakeBorderByCPU(src, dst, 3, 3, 0, 0, 5, 0), cv::Exception);
  EXPECT_THROW(TavixFrameCopyMakeBorderByCPU(src, dst, kMost, -1, 0, 0, 1, 0), cv::Exception);
  EXPECT_THROW(TavixFrameCopyMakeBorderByCPU(src, dst, 3, 3, 0, 0, cv::BORDER_WRAP, 0),
               cv::Exception);
  src->video.height = 8;
  EXPECT_THROW(TavixFrameCopyMakeBorderByCPU(src, dst, kMost, -1, 0, 0, 1, 0), cv::Exception);
  EXPECT_TRUE(logged_nothing());
  EXPECT_EQ(dst.payload(), before);
  EXPECT_TRUE(dst.intact());
}

// The bytes of such results wrap to few or none, which OpenCV would write beyond.
TEST(GeometryRefusals, ResultsThatOpencvCannotCount) {
  constexpr int32_t kSide = 1 << 30;
  constexpr char kText[] = "a result of 1073741824x1073741824 pixels is too large";
  GuardedFrame src({TAVIX_PIX_FMT_RGBAF32, 8, 8}), dst({TAVIX_PIX_FMT_RGBAF32, 8, 8});
  src.fill(Fill::noise, 1), dst.fill(Fill::noise, 2);
  const auto before = dst.payload();
  TavixFrameV2 *out = dst;
  EXPECT_REFUSED(TavixFrameResizeByCPU(src, dst, kSide, kSide, 1), 7, kUnit,
                 "TavixFrameResizeByCPU", kText);
  EXPECT_REFUSED(TavixFrameResizeByScaleByCPU(src, &out, kSide / 8, kSide / 8, 1), 7, kUnit,
                 "TavixFrameResizeByScaleByCPU", kText);
  EXPECT_EQ(out, static_cast<TavixFrameV2 *>(dst)) << "nothing was allocated or stored";
  EXPECT_REFUSED(TavixFrameCopyMakeBorderByCPU(src, dst, 0, kSide - 8, 0, kSide - 8, 0, 0), 7,
                 kUnit, "TavixFrameCopyMakeBorderByCPU",
                 "src frame:8x8 can not take border:0 with top:0, bottom:1073741816, left:0, "
                 "right:1073741816");
  // One byte a pixel in the destination, sixteen in the result.
  dst->video.format = TAVIX_PIX_FMT_GRAY8;
  dst->video.width = dst->video.height = dst->linesize[0] = kSide;
  for (const Warp &warp : kWarps)
    EXPECT_REFUSED(warp.call(dst, src, kMatrix, 1, 0, 0), 7, kUnit, warp.function, kText);
  EXPECT_EQ(dst.payload(), before);
}

TEST(GeometryRefusals, EveryRowInOrder) {
  GuardedFrame src({TAVIX_PIX_FMT_BGR24, 6, 4}), dst({TAVIX_PIX_FMT_BGR24, 6, 4});
  dst.fill(Fill::noise, 2);
  const auto before = dst.payload();
  TavixFrameV2 *const no_frame = nullptr;
  TavixFrameV2 *const to = dst, *out = dst;

  // Worst first: a null plane in a frame of a wrong format is refused for its format.
  src->data[0] = nullptr;
  EXPECT_REFUSED(TavixFrameResizeByCPU(src, to, 6, 4, 1), 7, kUnit, "TavixFrameResizeByCPU",
                 "TavixFrameResizeByCPU src frame data is nullptr");
  EXPECT_REFUSED(TavixFrameResizeByScaleByCPU(src, &out, 1, 1, 1), 7, kUnit,
                 "TavixFrameResizeByScaleByCPU",
                 "TavixFrameResizeByScaleByCPU src frame data is nullptr");
  EXPECT_REFUSED(
      TavixFrameRoiByCPU(src, to, {}, {}), 7, kUnit, "TavixFrameRoiByCPU",
      printed("src_frame->data[0]:%p or dst_frame->data[0]:%p is nullptr", nullptr, to->data[0]));
  EXPECT_REFUSED(TavixFrameCopyMakeBorderByCPU(src, to, 0, 0, 0, 0, 0, 0), 7, kUnit,
                 "TavixFrameCopyMakeBorderByCPU", "src_frame->data[0] is nullptr");

  src->video.format = 10;
  EXPECT_REFUSED(TavixFrameResizeByCPU(src, to, 6, 4, 1), 7, kUnit, "TavixFrameResizeByCPU",
                 "TavixFrameResizeByCPU not suppoted src frame data format:10");
  EXPECT_REFUSED(TavixFrameResizeByScaleByCPU(src, &out, 1, 1, 1), 7, kUnit,
                 "TavixFrameResizeByScaleByCPU",
                 "TavixFrameResizeByScaleByCPU not suppoted src frame data format:10");
  EXPECT_REFUSED(TavixFrameRoiByCPU(src, to, {}, {}), 4, kUnit, "TavixFrameRoiByCPU",
                 "Unsupported Frame Type:10 To OpencvType");
  EXPECT_REFUSED(TavixFrameCopyMakeBorderByCPU(src, to, 0, 0, 0, 0, 0, 0), 4, kUnit,
                 "TavixFrameCopyMakeBorderByCPU", "src frame video format:10 not support");

  EXPECT_REFUSED(TavixFrameResizeByCPU(nullptr, to, 6, 4, 1), 7, kUnit, "TavixFrameResizeByCPU",
                 printed("TavixFrameResizeByCPU src frame:%p or des frame pointer:%p is nullptr",
                         nullptr, to));
  EXPECT_REFUSED(TavixFrameResizeByScaleByCPU(nullptr, &out, 1, 1, 1), 7, kUnit,
                 "TavixFrameResizeByScaleByCPU",
                 printed("TavixFrameResizeByScaleByCPU src frame:%p is nullptr", nullptr));
  EXPECT_REFUSED(TavixFrameRoiByCPU(src, nullptr, {}, {}), 7, kUnit, "TavixFrameRoiByCPU",
                 printed("src_frame:%p or dst_frame:%p is nullptr",
                         static_cast<TavixFrameV2 *>(src), no_frame));
  EXPECT_EQ(out, to) << "a refusal leaves the output pointer alone";
  EXPECT_EQ(dst.payload(), before);
}

}  // namespace
}  // namespace tavix::test
