// SPDX-License-Identifier: Apache-2.0
// Statistics of a channel: of integers exactly, of floats in long double, and how far from it a
// result may be: n doubles added in any order differ by n * 2^-52 * sum of |v| at most.
#pragma once

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>

#include "support/guarded_frame.h"
#include "tavix/video_common_cpu/statistics.h"

namespace tavix::test {

inline constexpr int32_t kOps = 5;

inline bool same_double(double a, double b) {
  return a == b || (std::isnan(a) && std::isnan(b));
}

// What the samples of a channel come to. Sum is exact for integers, else wider than double.
template <class Sum>
struct Channel {
  Sum sum = 0, sumsq = 0;
  long double magnitudes = 0;  // sum of |v|
  double max = -DBL_MAX, min = DBL_MAX;
};

using ByteChannel = Channel<int64_t>;
using FloatChannel = Channel<long double>;

template <class T, class Sum>
Channel<Sum> statistics_reference(const GuardedFrame &frame, int32_t c) {
  Channel<Sum> channel;
  for (int32_t y = 0; y < frame->video.height; ++y)
    for (int32_t x = 0; x < frame->video.width; ++x) {
      const T v = frame.get<T>(int64_t(x) * frame->video.channels + c, y);
      channel.sum += Sum(v);
      channel.sumsq += Sum(v) * Sum(v);
      channel.magnitudes += std::fabs(static_cast<long double>(v));
      if (double(v) > channel.max) channel.max = double(v);
      if (double(v) < channel.min) channel.min = double(v);
    }
  return channel;
}

inline void expect_statistic(const ByteChannel &channel, double pixels, int32_t op, double actual) {
  const double mean = double(channel.sum) / pixels;
  const double variance = double(channel.sumsq) / pixels - mean * mean;
  const double expected[kOps] = {mean, variance > 0 ? std::sqrt(variance) : 0.0,
                                 double(channel.sum), channel.max, channel.min};
  EXPECT_TRUE(same_double(actual, expected[op])) << actual << " instead of " << expected[op];
}

inline void expect_near(long double actual, long double expected, long double bound) {
  if (std::isfinite(expected)) {
    EXPECT_LE(std::fabs(actual - expected), bound) << actual << " instead of " << expected;
  } else {
    EXPECT_TRUE(actual == expected || (std::isnan(actual) && std::isnan(expected)))
        << actual << " instead of " << expected;
  }
}

inline void expect_statistic(const FloatChannel &channel, double pixels, int32_t op,
                             double actual) {
  const long double sum_bound = pixels * 0x1p-52L * channel.magnitudes;
  const long double mean = channel.sum / pixels, mean_square = channel.sumsq / pixels;
  const long double variance = mean_square - mean * mean;
  switch (op) {
    case TAVIX_STAT_OP_MEAN:  // one more rounding, of the quotient
      return expect_near(actual, mean, 2 * sum_bound / pixels);
    case TAVIX_STAT_OP_STDDEV:
      // Both sums, the one of samples squared, and three roundings; mean^2 <= the mean square. The
      // larger of NaN and 0 is 0.
      return expect_near(static_cast<long double>(actual) * actual, variance > 0 ? variance : 0,
                         std::isnan(variance) ? 0 : 3 * (pixels + 3) * 0x1p-52L * mean_square);
    case TAVIX_STAT_OP_SUM:
      return expect_near(actual, channel.sum, sum_bound);
    case TAVIX_STAT_OP_MAX:
      EXPECT_EQ(actual, channel.max);
      return;  // any zero equals any zero
    case TAVIX_STAT_OP_MIN:
      EXPECT_EQ(actual, channel.min);
      return;
  }
}

}  // namespace tavix::test
