// SPDX-License-Identifier: Apache-2.0
#include "tavix_frame_convert_cpu/opencv_bridge.h"

#include <algorithm>

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
  CV_Assert(frame.video.width >= 0 && frame.video.height >= 0);
  return cv::Mat(frame.video.height, frame.video.width, type, frame.data[0],
                 size_t(frame.linesize[0]));
}

cv::Size kernel_size(float width, float height) {
  constexpr int kMostSide = (1 << 15) - 1;
  const cv::Size size(truncate_to_int32(width), truncate_to_int32(height));
  CV_Assert(size.width <= kMostSide && size.height <= kMostSide);
  return size;
}

cv::Mat kernel_view(const TavixKernel &kernel, int type) {
  const cv::Size size = kernel_size(kernel.width, kernel.height);
  CV_Assert(size.width >= 0 && size.height >= 0);
  return cv::Mat(size, type, kernel.data);
}

cv::Rect whole_rect(const TavixRect &rect) {
  const auto whole = [](float v) {
    return std::clamp(truncate_to_int32(v), -(1 << 30), (1 << 30) - 1);
  };
  return {whole(rect.x), whole(rect.y), whole(rect.width), whole(rect.height)};
}

}  // namespace tavix::module
