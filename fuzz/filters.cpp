// SPDX-License-Identifier: Apache-2.0
// Filters, morphology, threshold and normalisation against OpenCV's own functions.
#include "tavix/video_common_cpu/filters.h"

#include <algorithm>
#include <cstring>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "families.h"
#include "opencv_call.h"

namespace tavix::fuzz {

namespace {

using test::matrix_of;
const cv::Point kCentre(-1, -1);

// Frames and parameters of every filter.
struct Filter {
  FrameRecord src, dst;
  float width, height;
  std::vector<uint8_t> elements;  // of 9 x 9, none of them zero to begin with
  bool null;
  TavixFrameV2 *in, *out;

  explicit Filter(Choices &c)
      : src(c, any_shape(c)), dst(c, any_destination(c, shape_of(src))), elements(9 * 9 * 4) {
    // Kernels beyond their elements would be a lie; sizes without elements may be anything.
    width = side(c), height = side(c);
    test::Random random(c.byte());
    for (uint8_t &element : elements) element = uint8_t(random.below(256));
    for (size_t i = 0; i < elements.size() / 4; ++i) {
      const float value = float(random.below(2001) - 1000) / 1000;
      if (c.more()) std::memcpy(&elements[4 * i], &value, 4);
    }
    src.maybe_spoil(c), dst.maybe_spoil(c);
    null = c.rarely();
    in = null ? c.maybe(&*src) : &*src;
    out = null ? c.maybe(&*dst) : &*dst;
  }

  static test::FrameShape shape_of(FrameRecord &frame) {
    return {frame->video.format, frame->video.width, frame->video.height};
  }
  static float side(Choices &c) {
    if (c.rarely()) {  // some are refused whatever they hold
      const auto number = float(any_number(c));
      return number > 1e9f ? 3e8f : std::min(number, 9.0f);
    }
    const int32_t whole = c.below(10);  // drawn first, whatever the compiler
    return float(whole) + 0.5f * float(c.byte() % 2);
  }
  bool plain() const {
    return !null && !src.spoiled && has_opencv_strides(src) &&
           src.frame->video.format == dst.frame->video.format && width >= 0 && height >= 0 &&
           width < 10 && height < 10;
  }
  cv::Size size() const { return {int(width), int(height)}; }
};

void check_filter(const char *function, Filter &f, bool plain, const std::function<int32_t()> &run,
                  const std::function<void(cv::Mat &result)> &reference,
                  std::span<const Path> paths) {
  check_opencv({.function = function, .run = run, .sources = {&f.src}}, f.dst, plain && f.plain(),
               reference, paths);
}

void blur(Choices &c, std::span<const Path> paths) {
  Filter f(c);
  check_filter(
      "TavixFrameBlurByCPU", f, true,
      [&] {
        return TavixFrameBlurByCPU(f.in, f.out, {f.width, f.height});
      },
      [&](cv::Mat &result) {
        cv::blur(matrix_of(*f.src), result, f.size(), kCentre, cv::BORDER_REFLECT_101);
      },
      paths);
}

void box_filter(Choices &c, std::span<const Path> paths) {
  Filter f(c);
  const TavixSize size = {f.width, f.height}, *given = f.null ? c.maybe(&size) : &size;
  check_filter(
      "TavixFrameBoxFilterByCPU", f, true,
      [&] { return TavixFrameBoxFilterByCPU(f.in, f.out, given); },
      [&](cv::Mat &result) {
        cv::boxFilter(matrix_of(*f.src), result, -1, f.size(), kCentre, false,
                      cv::BORDER_REPLICATE);
      },
      paths);
}

TavixKernel any_kernel(Choices &c, Filter &f, uint32_t type) {
  constexpr uint32_t kTypes[] = {0, 2, 3, 11, 99, UINT32_MAX};
  return {f.width, f.height, int32_t(c.rarely() ? c.of(kTypes) : type),
          f.null ? c.maybe(f.elements.data()) : f.elements.data()};
}

void filter_2d(Choices &c, std::span<const Path> paths) {
  Filter f(c);
  const TavixKernel kernel = any_kernel(c, f, TAVIX_DATA_TYPE_FLOAT32);
  const TavixKernel *given = f.null ? c.maybe(&kernel) : &kernel;
  check_filter(
      "TavixFrameFilter2DByCPU", f, kernel.data_type == TAVIX_DATA_TYPE_FLOAT32,
      [&] { return TavixFrameFilter2DByCPU(f.in, f.out, given); },
      [&](cv::Mat &result) {
        cv::filter2D(matrix_of(*f.src), result, -1, cv::Mat(f.size(), CV_32F, f.elements.data()),
                     kCentre, 0, cv::BORDER_REPLICATE);
      },
      paths);
}

void morphology(Choices &c, std::span<const Path> paths) {
  const bool dilation = c.byte() % 2 == 0;
  Filter f(c);
  const TavixKernel kernel = any_kernel(c, f, TAVIX_DATA_TYPE_UINT8);
  const TavixKernel *given = f.null ? c.maybe(&kernel) : &kernel;
  for (uint8_t &element : f.elements) element &= 1;
  check_filter(
      dilation ? "TavixFrameDilateBorderByCPU" : "TavixFrameErodeBorderByCPU", f,
      kernel.data_type == TAVIX_DATA_TYPE_UINT8,
      [&] {
        return (dilation ? TavixFrameDilateBorderByCPU : TavixFrameErodeBorderByCPU)(f.in, f.out,
                                                                                     given);
      },
      [&](cv::Mat &result) {
        const cv::Mat shape(f.size(), CV_8U, f.elements.data());
        (dilation ? cv::dilate : cv::erode)(matrix_of(*f.src), result, shape, kCentre, 1,
                                            cv::BORDER_CONSTANT,
                                            cv::morphologyDefaultBorderValue());
      },
      paths);
}

// Whether the rows follow each other without gaps.
bool is_gapless(const TavixFrameV2 &frame, int type) {
  return frame.linesize[0] == int64_t(frame.video.width) * CV_ELEM_SIZE(type);
}

void threshold(Choices &c, std::span<const Path> paths) {
  Filter f(c);
  const double level = any_number(c), most = any_number(c);
  const int32_t type = c.of(kIntegers);
  check_filter(
      "TavixFrameThresholdBinaryByCPU", f, true,
      [&] { return TavixFrameThresholdBinaryByCPU(f.in, f.out, level, most, type); },
      [&](cv::Mat &result) {
        const cv::Mat src = matrix_of(*f.src);
        // OpenCV takes rows without gaps for one row, and its vectors and the last elements of a
        // row disagree about NaN and the sign of zero.
        if (!is_gapless(*f.src, src.type()) || !is_gapless(*f.dst, src.type()))
          result = cv::Mat(src.rows, src.cols + 1, src.type()).colRange(0, src.cols);
        cv::threshold(src, result, level, most, type);
      },
      paths);
}

void min_max(Choices &c, std::span<const Path> paths) {
  Filter f(c);
  // Elsewhere than on x86, OpenCV's vectors and the last elements of its rows disagree about values
  // beyond 32 bits, which rounding reaches from the ends of the range: padding would decide.
#if defined(__x86_64__)
  constexpr int32_t kLeast = INT32_MIN, kLargest = INT32_MAX;
#else
  constexpr int32_t kLeast = -(1 << 30), kLargest = 1 << 30;
#endif
  const int32_t alpha = c.of({0, 255, 1, -7, kLeast, kLargest}),
                beta = c.of({255, 0, 100, 1, kLeast, kLargest});
  check_filter(
      "TavixFrameMinMaxNormByCPU", f, true,
      [&] { return TavixFrameMinMaxNormByCPU(f.in, f.out, alpha, beta); },
      [&](cv::Mat &result) {
        cv::normalize(matrix_of(*f.src), result, alpha, beta, cv::NORM_MINMAX, -1, cv::noArray());
      },
      paths);
}

}  // namespace

void filters(Choices &c, std::span<const Path> paths) {
  constexpr Family *kOperations[] = {blur, box_filter, filter_2d, morphology, threshold, min_max};
  c.of(kOperations)(c, paths);
}

}  // namespace tavix::fuzz
