// SPDX-License-Identifier: Apache-2.0
// One element of binary arithmetic: in double precision as the portable implementation computes it,
// in single precision as the AVX one does.
#pragma once

#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdlib>

#include "arithmetic_cases.h"
#include "tavix/video_common_cpu/arithmetic.h"

namespace tavix::test {

// What bytes, in integers, and floats have in common.
template <class Value>
Value combined(uint32_t op, Value a, Value b) {
  switch (op) {
    case TAVIX_BINARY_OP_ADD:
      return a + b;
    case TAVIX_BINARY_OP_SUB:
      return a - b;
    case TAVIX_BINARY_OP_MUL:
      return a * b;
    case TAVIX_BINARY_OP_MIN:
      return b < a ? b : a;
    case TAVIX_BINARY_OP_MAX:
      return b > a ? b : a;
    case TAVIX_BINARY_OP_ABSDIFF:
      return std::abs(a - b);
    default:
      ADD_FAILURE() << "no operation " << op;
      return a;
  }
}

inline uint32_t combined_patterns(uint32_t op, uint32_t a, uint32_t b) {
  return op == TAVIX_BINARY_OP_OR ? a | b : op == TAVIX_BINARY_OP_AND ? a & b : a ^ b;
}

inline uint8_t binary_double(uint32_t op, uint8_t src1, uint8_t src2, double alpha, double beta,
                             double gamma) {
  const int64_t a = clamped(rounded(double(float(src1 * alpha))));
  const int64_t b = clamped(rounded(double(float(src2 * beta))));
  if (op == TAVIX_BINARY_OP_DIV && b == 0) return 0;
  const int64_t r = op == TAVIX_BINARY_OP_DIV  ? rounded(double(a) / double(b))
                    : op >= TAVIX_BINARY_OP_OR ? combined_patterns(op, uint32_t(a), uint32_t(b))
                                               : combined(op, a, b);
  return uint8_t(clamped(rounded(std::nearbyint(gamma) + double(clamped(r)))));
}

inline float binary_double(uint32_t op, float src1, float src2, double alpha, double beta,
                           double gamma) {
  const float a = float(double(src1) * alpha);
  const float b = float(double(src2) * beta);
  if (op == TAVIX_BINARY_OP_DIV) {
    if (std::fabs(double(b)) < DBL_EPSILON) return std::bit_cast<float>(0x25800000u);
    return float(double(a) / double(b) + gamma);
  }
  const float r = op >= TAVIX_BINARY_OP_OR
                      ? std::bit_cast<float>(combined_patterns(op, std::bit_cast<uint32_t>(a),
                                                               std::bit_cast<uint32_t>(b)))
                      : combined(op, a, b);
  return float(double(r) + gamma);
}

inline uint8_t binary_single(uint32_t op, uint8_t src1, uint8_t src2, double alpha, double beta,
                             double gamma) {
  const float offset = float(gamma);
  const int64_t a = clamped(rounded(float(src1) * float(alpha)));
  const int64_t b = clamped(rounded(float(src2) * float(beta)));
  int64_t r;
  if (op == TAVIX_BINARY_OP_DIV && b == 0)
    r = rounded(FLT_EPSILON - offset);
  else if (op == TAVIX_BINARY_OP_DIV)
    r = rounded(float(a) / float(b));
  else if (op >= TAVIX_BINARY_OP_OR)
    r = combined_patterns(op, uint32_t(a), uint32_t(b));
  else
    r = combined(op, a, b);
  return uint8_t(clamped(clamped(rounded(offset)) + clamped(r)));
}

inline float binary_single(uint32_t op, float src1, float src2, double alpha, double beta,
                           double gamma) {
  const float offset = float(gamma);
  const float a = src1 * float(alpha);
  const float b = src2 * float(beta);
  float r;
  if (op == TAVIX_BINARY_OP_DIV && std::fabs(b) < FLT_EPSILON)
    r = FLT_EPSILON - offset;
  else if (op == TAVIX_BINARY_OP_DIV)
    r = a / b;
  else if (op >= TAVIX_BINARY_OP_OR)
    r = std::bit_cast<float>(
        combined_patterns(op, std::bit_cast<uint32_t>(a), std::bit_cast<uint32_t>(b)));
  else
    r = combined(op, a, b);
  return r + offset;
}

}  // namespace tavix::test
