// SPDX-License-Identifier: Apache-2.0
// Between samples of 0..255 and floats of 0..1.
#pragma once

#include <cstdint>

namespace tavix::module {

// 1 / 255 in single precision. The vector rows multiply where the portable ones divide: the results
// differ in the last bit, but 255 gives exactly 1.
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

}  // namespace tavix::module
