// SPDX-License-Identifier: Apache-2.0
#include "support/compare.h"

#include "support/guarded_frame.h"

namespace tavix::test {

namespace {

template <class T>
::testing::AssertionResult same_plane(const TavixFrameV2 &expected, const TavixFrameV2 &actual,
                                      int plane, const PlaneShape &shape, double tolerance) {
  const int32_t n = shape.row_bytes / int32_t(sizeof(T));
  for (int32_t y = 0; y < shape.rows; ++y) {
    const uint8_t *expected_row = expected.data[plane] + int64_t(expected.linesize[plane]) * y;
    const uint8_t *actual_row = actual.data[plane] + int64_t(actual.linesize[plane]) * y;
    for (int32_t i = 0; i < n; ++i) {
      T e, a;
      std::memcpy(&e, expected_row + size_t(i) * sizeof(T), sizeof(T));
      std::memcpy(&a, actual_row + size_t(i) * sizeof(T), sizeof(T));
      if (same_value(e, a, tolerance)) continue;
      const TavixVideoInfo &video = actual.video;
      const int32_t channels = n > video.width ? n / video.width : 1;
      auto failure = ::testing::AssertionFailure()
                     << format_name(video.format) << ", " << video.width << 'x' << video.height
                     << ", stride " << actual.linesize[plane] << ", plane " << plane << ", column "
                     << i / channels << ", row " << y << ", channel " << i % channels
                     << ": expected ";
      print_value(failure, e);
      print_value(failure << ", actual ", a);
      return failure;
    }
  }
  return ::testing::AssertionSuccess();
}

}  // namespace

::testing::AssertionResult same_pixels(const TavixFrameV2 &expected, const TavixFrameV2 &actual,
                                       double tolerance) {
  const TavixVideoInfo &e = expected.video, &a = actual.video;
  if (e.format != a.format || e.width != a.width || e.height != a.height ||
      e.channels != a.channels)
    return ::testing::AssertionFailure()
           << "expected " << format_name(e.format) << ", " << e.width << 'x' << e.height << 'x'
           << e.channels << ", actual " << format_name(a.format) << ", " << a.width << 'x'
           << a.height << 'x' << a.channels;
  const auto shapes = plane_shapes(e);
  for (size_t p = 0; p < shapes.size(); ++p) {
    const auto same = is_float_format(e.format) ? same_plane<float> : same_plane<uint8_t>;
    const auto result = same(expected, actual, int(p), shapes[p], tolerance);
    if (!result) return result;
  }
  return ::testing::AssertionSuccess();
}

}  // namespace tavix::test
