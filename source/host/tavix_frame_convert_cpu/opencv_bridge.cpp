// SPDX-License-Identifier: Apache-2.0
#include "tavix_frame_convert_cpu/opencv_bridge.h"

#include <algorithm>
#include <limits>

#include "common/pixel_format.h"

namespace tavix::module {

int opencv_type(int32_t format) {
  if (!is_rgb_family(format)) return -1;
  return CV_MAKETYPE(is_float(format) ? CV_32F : CV_8U, traits(format).channels);
}

int opencv_interpolation(int32_t code) {
  // 6 is nearest on purpose, and so are combinations such as 17.
  constexpr int32_t kPassed[] = {1, 2, 3, 4, 5, 7, 8, 16};
  return std::ranges::find(kPassed, code) != std::end(kPassed) ? code : 0;
}

int opencv_border(int32_t code) {
  constexpr int32_t kPassed[] = {1, 2, 3, 4, 5, 16};
  return std::ranges::find(kPassed, code) != std::end(kPassed) ? code : 0;
}

cv::Mat plane_view(const TavixFrameV2 &frame, int type) {
  return cv::Mat(frame.video.height, frame.video.width, type, frame.data[0],
                 size_t(frame.linesize[0]));
}

cv::Mat source_view(const TavixFrameV2 &frame, int type) {
  const TavixVideoInfo &video = frame.video;
  if (video.width < 0 || video.height < 0) cv::Mat(video.height, video.width, type);  // raises
  return plane_view(frame, type);
}

bool countable(int64_t cols, int64_t rows, int type) {
  // What the allocator adds must not wrap either.
  constexpr size_t kMostBytes = std::numeric_limits<size_t>::max() - 1024;
  const bool is_size = cols <= INT32_MAX && rows <= INT32_MAX;
  return is_size && (cols <= 0 || rows <= 0 ||
                     size_t(cols) * size_t(rows) <= kMostBytes / size_t(CV_ELEM_SIZE(type)));
}

cv::Size kernel_size(float width, float height) {
  return {truncate_to_int32(width), truncate_to_int32(height)};
}

bool countable(const TavixVideoInfo &picture, int type, const cv::Size &kernel) {
  // Beyond this side OpenCV ends neither soon nor with the memory that machines have. It counts the
  // bytes of a row with its border in 32 bits, and aligns the row first.
  constexpr int kMostSide = 1 << 28, kAlignment = 64;
  const int64_t row_pixels = int64_t(picture.width) + kernel.width + kAlignment;
  return kernel.width <= kMostSide && kernel.height <= kMostSide &&
         row_pixels * int64_t(CV_ELEM_SIZE(type)) <= INT32_MAX &&
         int64_t(picture.height) + kernel.height + kAlignment <= INT32_MAX;
}

cv::Mat kernel_view(const TavixKernel &kernel, int type) {
  return cv::Mat(kernel_size(kernel.width, kernel.height), type, kernel.data);
}

cv::Rect whole_rect(const TavixRect &rect) {
  const auto whole = [](float v) {
    return std::clamp(truncate_to_int32(v), -(1 << 30), (1 << 30) - 1);
  };
  return {whole(rect.x), whole(rect.y), whole(rect.width), whole(rect.height)};
}

}  // namespace tavix::module
