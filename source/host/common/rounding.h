// SPDX-License-Identifier: Apache-2.0
// From floating point to integers, with an answer for every value: the least integer stands for NaN
// and for everything out of range. A saturated 8-bit value is therefore 0 from 2^31 on, on purpose.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

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

}  // namespace tavix::module
