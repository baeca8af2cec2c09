// SPDX-License-Identifier: Apache-2.0
#include "opencv_call.h"

#include <algorithm>

#include "support/compare.h"

namespace tavix::fuzz {

namespace {

int pixel_bytes(int32_t format) {
  return test::channels_of(format) * (test::is_float_format(format) ? 4 : 1);
}

int known(std::initializer_list<int> codes, int32_t code) {
  return std::ranges::find(codes, code) != codes.end() ? code : 0;
}

}  // namespace

std::optional<cv::Mat> opencv_result(const std::function<void(cv::Mat &result)> &run) {
  cv::Mat result;
  try {
    run(result);
  } catch (const cv::Exception &) {
    return std::nullopt;
  }
  return result;
}

::testing::AssertionResult same_as(const cv::Mat &expected, const TavixFrameV2 &actual) {
  const auto same_bytes = test::same_pixels_as(expected, actual);
  if (same_bytes || expected.depth() != CV_32F || expected.rows != actual.video.height ||
      expected.cols != actual.video.width || expected.channels() != actual.video.channels)
    return same_bytes;
  for (int y = 0; y < expected.rows; ++y)
    for (int i = 0; i < expected.cols * expected.channels(); ++i) {
      float value;
      std::memcpy(&value, actual.data[0] + int64_t(actual.linesize[0]) * y + 4 * int64_t(i), 4);
      if (!test::same_value(expected.ptr<float>(y)[i], value)) return same_bytes;
    }
  return ::testing::AssertionSuccess();
}

bool has_opencv_strides(const FrameRecord &frame) {
  return !test::is_float_format(frame.frame->video.format) || frame.layout.pad % 4 == 0;
}

test::FrameShape any_destination(Choices &c, const test::FrameShape &usual) {
  if (!c.rarely()) return usual;
  const test::FrameShape other = any_shape(c);
  return pixel_bytes(other.format) >= pixel_bytes(usual.format) ? other : usual;
}

void check_opencv(Call call, FrameRecord &dst, bool plain,
                  const std::function<void(cv::Mat &result)> &reference,
                  std::span<const Path> paths) {
  plain = plain && !dst.spoiled && has_opencv_strides(dst);
  const std::vector<uint8_t> before = dst.contents();
  const auto expected = plain ? opencv_result(reference) : std::nullopt;
  call.destinations = {&dst};
  call.must_succeed = plain && expected.has_value();
  call.expect_result = [&](const Path &) {
    if (!plain) return;
    ASSERT_TRUE(expected.has_value()) << "succeeded where OpenCV raises";
    const TavixVideoInfo &video = dst->video;
    if (expected->size() != cv::Size(video.width, video.height)) {
      EXPECT_TRUE(dst.contents() == before) << "a frame of another size was written";
    } else if (expected->type() == test::matrix_type(video.format)) {
      EXPECT_TRUE(same_as(*expected, *dst.frame));
    }  // else the rows of dst hold pixels of the source's format
  };
  check(call, paths);
}

int interpolation_of(int32_t code) {
  return known({1, 2, 3, 4, 5, 7, 8, 16}, code);
}

int border_of(int32_t code) {
  return known({1, 2, 3, 4, 5, 16}, code);
}

}  // namespace tavix::fuzz
