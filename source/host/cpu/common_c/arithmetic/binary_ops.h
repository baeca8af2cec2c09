// SPDX-License-Identifier: Apache-2.0
// The ten operations on two scaled operands, one line each: on bytes, with the result clamped to
// 0..255, and on 32-bit floats, before the offset.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <utility>

#include "tavix/video_common_cpu/arithmetic.h"

namespace tavix::module {

inline constexpr int kBinaryOps = 10;
using BinaryOps = std::make_integer_sequence<int, kBinaryOps>;

template <int op>
struct BinaryOp;

template <>
struct BinaryOp<TAVIX_BINARY_OP_ADD> {
  static constexpr int32_t run(int32_t a, int32_t b) { return std::min(a + b, 255); }
  static constexpr float run(float a, float b) { return a + b; }
};
template <>
struct BinaryOp<TAVIX_BINARY_OP_SUB> {
  static constexpr int32_t run(int32_t a, int32_t b) { return std::max(a - b, 0); }
  static constexpr float run(float a, float b) { return a - b; }
};
template <>
struct BinaryOp<TAVIX_BINARY_OP_MUL> {
  static constexpr int32_t run(int32_t a, int32_t b) { return std::min(a * b, 255); }
  static constexpr float run(float a, float b) { return a * b; }
};
// Zero divisors are the caller's business. The 8-bit quotient may be taken in single precision: a
// quotient of bytes that is not a tie lies at least 1/510 away from one. Adding and subtracting
// 1.5 * 2^23 rounds half to even.
template <>
struct BinaryOp<TAVIX_BINARY_OP_DIV> {
  static int32_t run(int32_t a, int32_t b) {
    constexpr float kRound = 12582912.0f;
    return int32_t((float(a) / float(std::max(b, 1)) + kRound) - kRound);
  }
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
  static constexpr int32_t run(int32_t a, int32_t b) { return a > b ? a - b : b - a; }
  static float run(float a, float b) { return std::fabs(a - b); }
};

// Bitwise operations act on the patterns of floats.
template <class Bits>
struct BitwiseOp {
  static constexpr int32_t run(int32_t a, int32_t b) { return Bits{}(a, b); }
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
