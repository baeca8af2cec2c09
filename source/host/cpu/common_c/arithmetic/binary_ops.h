// SPDX-License-Identifier: Apache-2.0
// The ten operations on two scaled operands: on bytes, with the result clamped to 0..255 and in no
// more bits than that takes, and on 32-bit floats, before the offset.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

#include "common/numbers.h"
#include "tavix/video_common_cpu/arithmetic.h"

namespace tavix::module {

constexpr uint32_t bits_of(float v) {
  return std::bit_cast<uint32_t>(v);
}
constexpr float from_bits(uint32_t bits) {
  return std::bit_cast<float>(bits);
}

template <int op>
struct BinaryOp;

#define TAVIX_OPERATION(code, bytes, floats)                                      \
  template <>                                                                     \
  struct BinaryOp<TAVIX_BINARY_OP_##code> {                                       \
    static constexpr uint8_t run(uint8_t a, uint8_t b) { return uint8_t(bytes); } \
    static float run(float a, float b) { return floats; }                         \
  };
// clang-format off
TAVIX_OPERATION(ADD,     a + std::min(b, uint8_t(255 - a)),            a + b)
TAVIX_OPERATION(SUB,     std::max(a, b) - b,                           a - b)
TAVIX_OPERATION(MUL,     std::min(uint16_t(a * b), uint16_t(255)),     a * b)
TAVIX_OPERATION(MIN,     b < a ? b : a,                                b < a ? b : a)
TAVIX_OPERATION(MAX,     b > a ? b : a,                                b > a ? b : a)
TAVIX_OPERATION(ABSDIFF, (b > a ? b : a) - (b < a ? b : a),            std::fabs(a - b))
TAVIX_OPERATION(OR,      a | b,                                        from_bits(bits_of(a) | bits_of(b)))
TAVIX_OPERATION(AND,     a & b,                                        from_bits(bits_of(a) & bits_of(b)))
TAVIX_OPERATION(XOR,     a ^ b,                                        from_bits(bits_of(a) ^ bits_of(b)))
// clang-format on
#undef TAVIX_OPERATION

// The 8-bit quotient may be taken in single precision: a quotient of bytes that is not a tie lies
// at least 1/510 away from one. A zero divisor gives infinity or NaN, whose patterns end in a zero
// byte like the quotient that is wanted; float quotients by zero are the caller's business.
template <>
struct BinaryOp<TAVIX_BINARY_OP_DIV> {
  static uint8_t run(uint8_t a, uint8_t b) { return round_in_pattern(float(a) / float(b)); }
};

}  // namespace tavix::module
