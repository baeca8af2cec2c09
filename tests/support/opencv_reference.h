// SPDX-License-Identifier: Apache-2.0
// Frames as OpenCV sees them, without the library's own bridge: matrices that own a copy of the
// payload, and comparison with them.
//
//   cv::Mat expected;
//   cv::blur(matrix_of(*src), expected, {3, 3});
//   EXPECT_TRUE(same_pixels_as(expected, *dst));
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <opencv2/core.hpp>

#include "support/guarded_frame.h"

namespace tavix::test {

inline int matrix_type(int32_t format) {
  return CV_MAKETYPE(is_float_format(format) ? CV_32F : CV_8U, channels_of(format));
}

inline cv::Mat matrix_of(const TavixFrameV2 &frame) {
  cv::Mat matrix(frame.video.height, frame.video.width, matrix_type(frame.video.format));
  for (int y = 0; y < matrix.rows; ++y)
    std::memcpy(matrix.ptr(y), frame.data[0] + int64_t(frame.linesize[0]) * y,
                size_t(matrix.cols) * matrix.elemSize());
  return matrix;
}

// Bit for bit; row_pitch overrides the frame's stride.
[[nodiscard]] inline ::testing::AssertionResult same_pixels_as(const cv::Mat &expected,
                                                               const TavixFrameV2 &actual,
                                                               int64_t row_pitch = 0) {
  if (expected.cols != actual.video.width || expected.rows != actual.video.height ||
      expected.type() != matrix_type(actual.video.format))
    return ::testing::AssertionFailure()
           << "expected " << expected.cols << 'x' << expected.rows << " of type " << expected.type()
           << ", actual " << actual.video.width << 'x' << actual.video.height << " of format "
           << format_name(actual.video.format);
  const int64_t pitch = row_pitch != 0 ? row_pitch : actual.linesize[0];
  for (int y = 0; y < expected.rows; ++y) {
    const size_t bytes = size_t(expected.cols) * expected.elemSize();
    const uint8_t *row = actual.data[0] + pitch * y;
    for (size_t i = 0; i < bytes; ++i) {
      if (expected.ptr(y)[i] == row[i]) continue;
      return ::testing::AssertionFailure() << "row " << y << ", byte " << i << ": expected "
                                           << +expected.ptr(y)[i] << ", actual " << +row[i];
    }
  }
  return ::testing::AssertionSuccess();
}

}  // namespace tavix::test
