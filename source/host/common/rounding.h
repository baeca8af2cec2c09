// SPDX-License-Identifier: Apache-2.0
// Rounding to integers as the processor does it: half to even, and INT32_MIN for NaN and for
// everything outside int32. A saturated 8-bit value is therefore 0 from 2^31 on, on purpose.
#pragma once

#include <emmintrin.h>

#include <algorithm>
#include <bit>
#include <cstdint>

namespace tavix::module {

inline int32_t round_to_int32(double value) {
  return _mm_cvtsd_si32(_mm_set_sd(value));
}
inline int32_t truncate_to_int32(double value) {
  return _mm_cvttsd_si32(_mm_set_sd(value));
}

constexpr uint8_t saturate_u8(int32_t value) {
  return uint8_t(std::clamp(value, 0, 255));
}

// Half to even, in a form that loops are vectorised with: the sum's last byte is the integer. For
// 0 <= value <= 255.
constexpr uint8_t round_in_pattern(float value) {
  return uint8_t(std::bit_cast<uint32_t>(value + 0x1.8p23f));
}

inline uint8_t round_to_u8(double value) {
  return saturate_u8(round_to_int32(value));
}

}  // namespace tavix::module
