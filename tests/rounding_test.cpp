// SPDX-License-Identifier: Apache-2.0
// From floating point to integers: the values around every limit and tie, and random patterns.
#include "common/numbers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace tavix::module {
namespace {

// Zeros, halves, the limits of the integers with their neighbours, infinities, NaN, and noise.
template <class Float>
std::vector<Float> adversarial_values() {
  using Limits = std::numeric_limits<Float>;
  std::vector<Float> values = {0, Limits::denorm_min(), Limits::max(), Limits::infinity(),
                               Limits::quiet_NaN()};
  for (const double limit :
       {0.5,    1.0,    1.5,    2.5,        126.5,        127.5,  254.5,        255.0,
        255.5,  256.0,  0x1p23, 0x1p31 - 1, 0x1p31 - 0.5, 0x1p31, 0x1p31 + 0.5, 0x1p31 + 1,
        0x1p32, 0x1p51, 0x1p52, 0x1p53,     0x1p62,       0x1p63, 0x1p64}) {
    const auto value = Float(limit);
    values.insert(values.end(), {value, std::nextafter(value, Float(0)),
                                 std::nextafter(value, Limits::infinity())});
  }
  std::mt19937_64 random(1);
  std::uniform_real_distribution<Float> exponent(-4, 66);
  for (int i = 0; i < 100000; ++i) values.push_back(std::exp2(exponent(random)));
  for (size_t i = 0, n = values.size(); i < n; ++i) values.push_back(-values[i]);
  return values;
}

template <class Integer>
Integer integer_or_least(double whole) {
  const double limit = -double(std::numeric_limits<Integer>::min());
  if (!(whole >= -limit && whole < limit)) return std::numeric_limits<Integer>::min();
  return Integer(whole);
}

TEST(Rounding, TruncatesTowardsZeroOrGivesTheLeastInteger) {
  for (const float value : adversarial_values<float>()) {
    EXPECT_EQ(truncate_to_int32(value), integer_or_least<int32_t>(std::trunc(value))) << value;
    EXPECT_EQ(truncate_to_int64(value), integer_or_least<int64_t>(std::trunc(value))) << value;
  }
  for (const double value : adversarial_values<double>())
    EXPECT_EQ(truncate_to_int32(value), integer_or_least<int32_t>(std::trunc(value))) << value;
}

TEST(Rounding, RoundsHalfToEvenOrGivesTheLeastInteger) {
  for (const double value : adversarial_values<double>()) {
    const auto expected = integer_or_least<int32_t>(std::nearbyint(value));
    EXPECT_EQ(round_to_int32(value), expected) << value;
    EXPECT_EQ(round_to_u8(value), expected < 0 ? 0 : expected > 255 ? 255 : expected) << value;
  }
  for (const float value : adversarial_values<float>()) {
    if (value >= 0 && value <= 255) {
      EXPECT_EQ(round_in_pattern(value), uint8_t(std::nearbyint(value))) << value;
    }
  }
}

}  // namespace
}  // namespace tavix::module
