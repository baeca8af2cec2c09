// SPDX-License-Identifier: Apache-2.0
// The ten operations on two scaled operands, one line each: on bytes, with the result clamped to
// 0..255 and in no more bits than that takes, and on 32-bit floats, before the offset.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>

#include "common/rounding.h"
#include "tavix/video_common_cpu/arithmetic.h"

namespace tavix::module {

template <int op>
struct BinaryOp;

template <>
struct BinaryOp<TAVIX_BINARY_OP_ADD> {
  static constexpr uint8_t run(uint8_t a, uint8_t b) {
    return uint8_t(a + std::min(b, uint8_t(255 - a)));
  }
  static constexpr float run(float a, float b) { return a + b; }
};
template <>
struct BinaryOp<TAVIX_BINARY_OP_SUB> {
  static constexpr uint8_t run(uint8_t a, uint8_t b) { return uint8_t(std::max(a, b) - b); }
  static constexpr float run(float a, float b) { return a - b; }
};
template <>
struct BinaryOp<TAVIX_BINARY_OP_MUL> {
  static constexpr uint8_t run(uint8_t a, uint8_t b) {
    return uint8_t(std::min(uint16_t(a * b), uint16_t(255)));
  }
  static constexpr float run(float a, float b) { return a * b; }
};
// The 8-bit quotient may be taken in single precision: a quotient of bytes that is not a tie lies
// at least 1/510 away from one. A zero divisor gives infinity or NaN, whose patterns end in a zero
// byte like the quotient that is wanted; float quotients by zero are the caller's business.
template <>
struct BinaryOp<TAVIX_BINARY_OP_DIV> {
  static uint8_t run(uint8_t a, uint8_t b) { return round_in_pattern(float(a) / float(b)); }
};
template <>
struct BinaryOp<TAVIX_BINARY_OP_MIN> {
  template <class T>
  static constexpr T run(T a, T b) {
    return b < a ? b : a;
  }
};
template <>
struct BinaryOp<TAVIX_BINARY_OP_MAX> {
  template <class T>
  static constexpr T run(T a, T b) {
    return b > a ? b : a;
  }
};
template <>
struct BinaryOp<TAVIX_BINARY_OP_ABSDIFF> {
  static constexpr uint8_t run(uint8_t a, uint8_t b) {
    return uint8_t(BinaryOp<TAVIX_BINARY_OP_MAX>::run(a, b) -
                   BinaryOp<TAVIX_BINARY_OP_MIN>::run(a, b));
  }
  static float run(float a, float b) { return std::fabs(a - b); }
};

// Bitwise operations act on the patterns of floats.
template <class Bits>
struct BitwiseOp {
  static constexpr uint8_t run(uint8_t a, uint8_t b) { return uint8_t(Bits{}(a, b)); }
  static constexpr float run(float a, float b) {
    return std::bit_cast<float>(Bits{}(std::bit_cast<int32_t>(a), std::bit_cast<int32_t>(b)));
  }
};
template <>
struct BinaryOp<TAVIX_BINARY_OP_OR> : BitwiseOp<std::bit_or<int32_t>> {};
template <>
struct BinaryOp<TAVIX_BINARY_OP_AND> : BitwiseOp<std::bit_and<int32_t>> {};
template <>
struct BinaryOp<TAVIX_BINARY_OP_XOR> : BitwiseOp<std::bit_xor<int32_t>> {};

}  // namespace tavix::module
