// SPDX-License-Identifier: Apache-2.0
// How numbers change their type. Every float has an integer: the least one stands for NaN and for
// everything out of range. A saturated 8-bit value is therefore 0 from 2^31 on, on purpose.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <type_traits>

namespace tavix::module {

// Towards zero.
template <class Float>
inline int32_t truncate_to_int32(Float value) {
  return std::fabs(value) < Float(0x1p31) ? int32_t(value) : INT32_MIN;
}
template <class Float>
inline int64_t truncate_to_int64(Float value) {
  return std::fabs(value) < Float(0x1p63) ? int64_t(value) : INT64_MIN;
}

// Half to even, in a form that loops are vectorised with: the low bits of the sum are the integer.
inline int32_t round_to_int32(double value) {
  return std::fabs(value) < 0x7fffffff.8p0 ? int32_t(std::bit_cast<uint64_t>(value + 0x1.8p52))
                                           : INT32_MIN;
}
// For 0 <= value <= 255.
constexpr uint8_t round_in_pattern(float value) {
  return uint8_t(std::bit_cast<uint32_t>(value + 0x1.8p23f));
}

constexpr uint8_t saturate_u8(int32_t value) {
  return uint8_t(std::clamp(value, 0, 255));
}
inline uint8_t round_to_u8(double value) {
  return saturate_u8(round_to_int32(value));
}

// 1 / 255 in single precision. The vector rows of colour multiply where the portable ones divide:
// the results differ in the last bit, but 255 gives exactly 1.
inline constexpr float kByteToUnit = 0.003921569f;
static_assert(255.0f * kByteToUnit == 1.0f);

// 0 to 255; not a number gives 0.
constexpr float clamp_to_byte(float v) {
  const float positive = v > 0.0f ? v : 0.0f;
  return positive < 255.0f ? positive : 255.0f;
}

// Halves go up, unlike in the vector rows.
constexpr uint8_t round_half_up_u8(float v) {
  return uint8_t(int32_t(clamp_to_byte(v) + 0.5f));
}

// A plain cast. Floats are truncated towards zero and wrap into narrower integers; nothing
// saturates, on purpose. They reach 32-bit unsigned integers by way of 64 bits: those up to 2^63
// keep their low half.
template <class To, class From>
inline To convert_element(From value) {
  if constexpr (std::is_same_v<From, float> && std::is_integral_v<To>) {
    constexpr bool kLong = std::is_same_v<To, uint32_t> || sizeof(To) == sizeof(int64_t);
    if constexpr (kLong) {
      return To(truncate_to_int64(value));
    } else {
      return To(truncate_to_int32(value));
    }
  } else {
    return To(value);
  }
}

// Whether a conversion changes no bit.
template <class From, class To>
inline constexpr bool kSameBits = std::is_same_v<From, To> ||
                                  (sizeof(From) == 1 && sizeof(To) == 1);

}  // namespace tavix::module
