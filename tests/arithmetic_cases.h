// SPDX-License-Identifier: Apache-2.0
// What the tests of element-wise arithmetic share: rounding, parameters that try it, and records
// without pixels.
#pragma once

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>

#include "support/fill.h"
#include "support/guarded_frame.h"
#include "support/seams.h"

namespace tavix::test {

// Nearest integer, ties to even; INT_MIN for what an int cannot hold and for NaN.
inline int64_t rounded(double value) {
  const bool fits = value >= -2147483648.5 && value < 2147483647.5;
  return fits ? std::llrint(value) : INT_MIN;
}
inline int64_t clamped(int64_t value) {
  return value < 0 ? 0 : value > 255 ? 255 : value;
}

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Halves, values next to the limits of int, and what is not a number to speak of.
constexpr double kScales[] = {
    0.0,       -0.0,       1.0,     -1.0,   0.5,     1.5,   2.5,       -0.5,
    1e-310,    0x1p-52,    0x1p-53, 0.1,    1.0 / 3, 255.0, 8421504.5, 2147483647.0 / 255,
    0x1p31,    -0x1p31,    0x1p23,  0x1p24, 1e30,    1e38,  1e308,     -1e308,
    kInfinity, -kInfinity, kNaN};
constexpr double kOffsets[] = {
    0.0,   -0.0,   0.5,    -0.5,         1.5,          2.5,          -0.50000001, 254.5,
    255.0, -255.0, -254.5, 2147483392.0, 2147483393.0, 2147483647.0, 0x1p31,      -0x1p31,
    1e308, -1e308, 1e-310, 0x1p-52,      2147483391.5, kInfinity,    -kInfinity,  kNaN};

template <size_t n>
double pick(const double (&values)[n], Random &random) {
  return values[random.below(int32_t(n))];
}

inline double uniform(double low, double high, Random &random) {
  return low + (high - low) * (double(random.below(1 << 20)) / (1 << 20));
}

// --- records -------------------------------------------------------------------------------------

// Runs a call on 8-bit and float records without pixels, with and without a plane, on one and on
// eight workers. Any access to the plane crashes.
inline void for_each_record_without_pixels(const std::function<void(TavixFrameV2 *frame)> &run) {
  constexpr struct {
    int32_t width, height, channels;
  } kSizes[] = {{0, 3, 3},        {3, 0, 3},       {-1, 3, 3},       {3, -1, 3},
                {3, INT_MIN, 3},  {INT_MIN, 3, 3}, {3, 3, 0},        {3, 3, -1},
                {3, 3, INT_MIN},  {0, 3, 5},       {3, 0, INT_MAX},  {INT_MAX, 0, 4},
                {1 << 30, -1, 4}, {INT_MIN, 3, 4}, {INT_MIN, 3, -1}, {-1, 3, -4}};
  for (const int workers : {1, 8}) {
    const ScopedWorkers count(workers);
    for (const auto &[width, height, channels] : kSizes)
      for (const int32_t format : {TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_BGRF32}) {
        SCOPED_TRACE(::testing::Message()
                     << format_name(format) << ' ' << width << 'x' << height << 'x' << channels);
        GuardedFrame frame({format, 4, 0});
        frame->video.width = width, frame->video.height = height;
        frame->video.channels = channels;
        run(frame);
        frame->data[0] = nullptr;
        run(frame);
      }
  }
}

}  // namespace tavix::test
