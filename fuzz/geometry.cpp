// SPDX-License-Identifier: Apache-2.0
// Geometry against OpenCV's own functions.
#include "tavix/video_common_cpu/geometry.h"

#include <cmath>
#include <opencv2/imgproc.hpp>

#include "families.h"
#include "opencv_call.h"
#include "support/core_double.h"

namespace tavix::fuzz {

namespace {

using test::matrix_of;

void resize(Choices &c, std::span<const Path> paths) {
  FrameRecord src(c, any_shape(c));
  const int32_t width = c.rarely() ? c.of(kIntegers) : 1 + c.byte() % 80,
                height = c.rarely() ? c.of(kIntegers) : 1 + c.byte() % 9;
  FrameRecord dst(c, any_destination(c, {src->video.format, std::clamp(width, 1, 99),
                                         std::clamp(height, 1, 99)}));
  const int32_t code = c.of(kIntegers);
  src.maybe_spoil(c), dst.maybe_spoil(c);
  const bool null = c.rarely(), huge = width > 99 || height > 99;
  TavixFrameV2 *in = null ? c.maybe(&*src) : &*src, *out = null ? c.maybe(&*dst) : &*dst;
  // Beyond what can be counted it is refused; below it is a matter of memory only.
  const bool uncountable = width == INT32_MAX && height == INT32_MAX &&
                           test::is_float_format(src->video.format) && src->video.channels > 1;
  if (huge && !uncountable) return;
  check_opencv(
      {.function = "TavixFrameResizeByCPU",
       .run = [&] { return TavixFrameResizeByCPU(in, out, width, height, code); },
       .sources = {&src},
       .may_throw = true},
      dst, !null && !src.spoiled && has_opencv_strides(src),
      [&](cv::Mat &result) {
        cv::resize(matrix_of(*src), result, {width, height}, 0, 0, interpolation_of(code));
      },
      paths);
}

void resize_by_scale(Choices &c, std::span<const Path> paths) {
  constexpr double kScales[] = {1, 0.5, 2, 1.5, 0.1, 1.0 / 3, 0, -1, 1e30, -1e30, NAN, INFINITY};
  FrameRecord src(c, any_shape(c));
  const double fx = c.of(kScales), fy = c.of(kScales);
  const int32_t code = c.of(kIntegers);
  src.maybe_spoil(c);
  const bool null = c.rarely(), scarce = c.rarely();
  TavixFrameV2 *made = nullptr;
  TavixFrameV2 *in = null ? c.maybe(&*src) : &*src, **out = null ? c.maybe(&made) : &made;
  const bool plain = !null && !scarce && !src.spoiled && has_opencv_strides(src);
  const auto expected = plain ? opencv_result([&](cv::Mat &result) {
    cv::resize(matrix_of(*src), result, {}, fx, fy, interpolation_of(code));
  })
                              : std::nullopt;
  check({.function = "TavixFrameResizeByScaleByCPU",
         .run =
             [&] {
               if (scarce) test::core_double().fail_frame_allocation();
               return TavixFrameResizeByScaleByCPU(in, out, fx, fy, code);
             },
         .sources = {&src},
         .expect_result =
             [&](const Path &) {
               if (!plain) return;
               ASSERT_TRUE(expected.has_value()) << "succeeded where OpenCV raises";
               ASSERT_NE(made, nullptr);
               EXPECT_TRUE(same_as(*expected, *made));
             },
         .take_made = [&] { return take_frame(made); },
         .must_succeed = expected.has_value(),
         .may_throw = true},
        paths);
}

void warp(Choices &c, std::span<const Path> paths) {
  const bool affine = c.byte() % 2 == 0;
  FrameRecord src(c, any_shape(c));
  FrameRecord dst(c, any_destination(c, {src->video.format, 1 + c.byte() % 70, 1 + c.byte() % 8}));
  float matrix[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  for (float &value : matrix)
    if (c.byte() % 2 == 1) value = float(any_number(c));
  const int32_t code = c.of(kIntegers), border = c.of(kIntegers);
  const double value = any_number(c);
  src.maybe_spoil(c), dst.maybe_spoil(c);
  const bool null = c.rarely();
  TavixFrameV2 *in = null ? c.maybe(&*src) : &*src, *out = null ? c.maybe(&*dst) : &*dst;
  const float *coefficients = null ? c.maybe(matrix) : matrix;
  const bool positive = src->linesize[0] > 0 && dst->linesize[0] > 0;
  // Results of another type are refused, and so is the result of the source's size that OpenCV
  // makes for a destination without pixels. The transparent border starts from black.
  const bool fits = src->video.format == dst->video.format && dst->video.height > 0;
  check_opencv(
      {.function = affine ? "TavixFrameWarpAffineByCPU" : "TavixFrameWarpPerspectiveByCPU",
       .run =
           [&] {
             return (affine ? TavixFrameWarpAffineByCPU : TavixFrameWarpPerspectiveByCPU)(
                 out, in, coefficients, code, border, value);
           },
       .sources = {&src},
       .may_throw = true},
      dst, !null && positive && fits && !src.spoiled && has_opencv_strides(src),
      [&](cv::Mat &result) {
        const cv::Size size(dst->video.width, dst->video.height);
        const int mode = border_of(border), flags = interpolation_of(code);
        const cv::Scalar all = cv::Scalar::all(value);
        result = cv::Mat::zeros(size, test::matrix_type(src->video.format));
        if (affine)
          cv::warpAffine(matrix_of(*src), result, cv::Mat(2, 3, CV_32F, matrix), size, flags, mode,
                         all);
        else
          cv::warpPerspective(matrix_of(*src), result, cv::Mat(3, 3, CV_32F, matrix), size, flags,
                              mode, all);
      },
      paths);
}

void roi(Choices &c, std::span<const Path> paths) {
  FrameRecord src(c, any_shape(c));
  const test::FrameShape shape = any_shape(c);
  FrameRecord dst(c, any_destination(c, {src->video.format, shape.width, shape.height}));
  const auto side = [&](int32_t most) {
    return c.rarely() ? float(any_number(c)) : float(c.byte() % (std::max(most, 0) + 1)) + 0.25f;
  };
  const TavixVideoInfo &from = src->video, &to = dst->video;
  TavixRect src_rect = {side(from.width / 2), side(from.height / 2), side(from.width / 2),
                        side(from.height / 2)},
            dst_rect = {side(to.width / 2), side(to.height / 2), src_rect.width, src_rect.height};
  if (c.rarely()) dst_rect.width = side(to.width);
  src.maybe_spoil(c), dst.maybe_spoil(c);
  const bool null = c.rarely();
  TavixFrameV2 *in = null ? c.maybe(&*src) : &*src, *out = null ? c.maybe(&*dst) : &*dst;
  const bool numbers = std::abs(src_rect.x) < 1e6f && std::abs(src_rect.y) < 1e6f &&
                       std::abs(src_rect.width) < 1e6f && std::abs(src_rect.height) < 1e6f &&
                       std::abs(dst_rect.x) < 1e6f && std::abs(dst_rect.y) < 1e6f &&
                       std::abs(dst_rect.width) < 1e6f;
  const auto whole = [](const TavixRect &rect) {
    return cv::Rect(int(rect.x), int(rect.y), int(rect.width), int(rect.height));
  };
  check_opencv(
      {.function = "TavixFrameRoiByCPU",
       .run = [&] { return TavixFrameRoiByCPU(in, out, src_rect, dst_rect); },
       .sources = {&src},
       .may_throw = true},
      dst, !null && numbers && from.format == to.format && !src.spoiled && has_opencv_strides(src),
      [&](cv::Mat &result) {
        result = matrix_of(*dst);
        const cv::Mat part = result(whole(dst_rect));
        matrix_of (*src)(whole(src_rect)).copyTo(part);
      },
      paths);
}

void make_border(Choices &c, std::span<const Path> paths) {
  FrameRecord src(c, any_shape(c));
  int32_t sides[4];
  for (int32_t &side : sides) side = c.rarely() ? c.of(kIntegers) : c.byte() % 10;
  const int32_t top = sides[0], bottom = sides[1], left = sides[2], right = sides[3];
  const auto extent = [](int32_t whole, int32_t one, int32_t other) {
    return int32_t(std::clamp<int64_t>(int64_t(whole) + one + other, 1, 200));
  };
  FrameRecord dst(c, any_destination(c, {src->video.format, extent(src->video.width, left, right),
                                         extent(src->video.height, top, bottom)}));
  const int32_t border = c.of(kIntegers);
  const double value = any_number(c);
  src.maybe_spoil(c), dst.maybe_spoil(c);
  const bool null = c.rarely();
  TavixFrameV2 *in = null ? c.maybe(&*src) : &*src, *out = null ? c.maybe(&*dst) : &*dst;
  const bool moderate = std::ranges::all_of(sides, [](int32_t side) { return side < 100; });
  // Around nothing, the largest sides are a matter of memory only.
  if (!moderate && (src->video.width <= 0 || src->video.height <= 0)) return;
  const bool usual = std::ranges::all_of(sides, [](int32_t side) { return side >= 0; }) &&
                     moderate && src->video.width > 0 && src->video.height > 0;
  check_opencv(
      {.function = "TavixFrameCopyMakeBorderByCPU",
       .run =
           [&] {
             return TavixFrameCopyMakeBorderByCPU(in, out, top, bottom, left, right, border, value);
           },
       .sources = {&src},
       .may_throw = true},
      dst, !null && usual && !src.spoiled && has_opencv_strides(src),
      [&](cv::Mat &result) {
        cv::copyMakeBorder(matrix_of(*src), result, top, bottom, left, right, border_of(border),
                           cv::Scalar::all(value));
      },
      paths);
}

}  // namespace

void geometry(Choices &c, std::span<const Path> paths) {
  constexpr Family *kOperations[] = {resize, resize_by_scale, warp, roi, make_border};
  c.of(kOperations)(c, paths);
}

}  // namespace tavix::fuzz
