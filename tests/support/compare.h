// SPDX-License-Identifier: Apache-2.0
// Comparison bit for bit: floats are equal when their bits are, or when both are NaN. A failure
// prints where the first difference is and both values.
//
//   EXPECT_TRUE(same_pixels(*expected, *actual));
//   EXPECT_TRUE(same_values<float>(expected_vector, blob.elements<float>()));
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <iomanip>
#include <span>
#include <type_traits>

#include "tavix/core/records.h"

namespace tavix::test {

template <class T>
bool same_value(T expected, T actual, double tolerance = 0) {
  if constexpr (std::is_floating_point_v<T>) {
    if (std::isnan(expected) || std::isnan(actual))
      return std::isnan(expected) && std::isnan(actual);
    if (tolerance == 0) return std::memcmp(&expected, &actual, sizeof(T)) == 0;
  }
  return expected == actual || std::fabs(double(expected) - double(actual)) <= tolerance;
}

// A value as a reader wants it: floats with their bits.
template <class T>
void print_value(::testing::AssertionResult &out, T value) {
  if constexpr (std::is_same_v<T, float>) {
    std::ostringstream text;
    text << std::setprecision(9) << value << " (0x" << std::hex << std::bit_cast<uint32_t>(value)
         << ')';
    out << text.str();
  } else {
    out << +value;
  }
}

// Every payload element of every plane. The tolerance is for operations that state one: the largest
// difference of two values.
[[nodiscard]] ::testing::AssertionResult same_pixels(const TavixFrameV2 &expected,
                                                     const TavixFrameV2 &actual,
                                                     double tolerance = 0);

template <class T>
[[nodiscard]] ::testing::AssertionResult same_values(std::span<const T> expected,
                                                     std::span<const T> actual,
                                                     double tolerance = 0) {
  if (expected.size() != actual.size())
    return ::testing::AssertionFailure()
           << actual.size() << " values instead of " << expected.size();
  for (size_t i = 0; i < expected.size(); ++i) {
    if (same_value(expected[i], actual[i], tolerance)) continue;
    auto failure = ::testing::AssertionFailure() << "value " << i << ": expected ";
    print_value(failure, expected[i]);
    print_value(failure << ", actual ", actual[i]);
    return failure;
  }
  return ::testing::AssertionSuccess();
}

}  // namespace tavix::test
