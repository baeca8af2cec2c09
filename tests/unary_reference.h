// SPDX-License-Identifier: Apache-2.0
// One element of unary arithmetic: in double precision as the portable implementation computes it,
// in single precision as the AVX one does.
#pragma once

#include <cfloat>
#include <cmath>

#include "arithmetic_cases.h"
#include "support/compare.h"
#include "tavix/video_common_cpu/arithmetic.h"

namespace tavix::test {

// Where an element stands: in a whole block of its row, or after the last one.
enum class Place { block, single };

inline Place place_of(int32_t i, int32_t n, int32_t channels) {
  const int32_t block = channels == 3 ? 24 : channels == 1 || channels == 4 ? 8 : 0;
  return block != 0 && i < n / block * block ? Place::block : Place::single;
}

// What happens to a scaled sample, in the order of TavixUnaryArithmeticOp.
constexpr double kLeastLogarithmArgument = 2.220446049250313e-16;
constexpr double (*kDoubleFunctions[])(double) = {
    [](double v) { return v; },
    [](double v) { return v < 0 ? 0 : std::sqrt(v); },
    [](double v) { return std::exp(v); },
    [](double v) { return std::log(v > kLeastLogarithmArgument ? v : kLeastLogarithmArgument); },
};

inline float single_function(int32_t op, float v, Place place) {
  constexpr float kEpsilon = 1.1920928955078125e-07f;
  switch (op) {
    case TAVIX_UNARY_OP_SQRT:
      if (place == Place::block) return std::sqrt(v > 0 ? v : 0);
      return v < 0 ? 0 : std::sqrt(v);
    case TAVIX_UNARY_OP_EXP:
      return expf(v);
    case TAVIX_UNARY_OP_LOG:
      return logf(std::isnan(v) || kEpsilon < v ? v : kEpsilon);
    default:
      return v;
  }
}

// floor, and up from the half on, at the half to even: how single elements are rounded.
inline int64_t stepwise_rounded(float value) {
  const double d = value, f = std::floor(d), e = d - f;
  const double r = e < 0.5 ? f : e > 0.5 ? f + 1 : std::fmod(f, 2) == 0 ? f : f + 1;
  return r >= -2147483648.0 && r < 2147483648.0 ? int64_t(r) : INT_MIN;
}

inline uint8_t unary_double(int32_t op, uint8_t x, double scale, double offset, Place) {
  return uint8_t(clamped(rounded(kDoubleFunctions[op](x * scale) + offset)));
}
inline float unary_double(int32_t op, float x, double scale, double offset, Place) {
  return float(kDoubleFunctions[op](x * scale) + offset);
}
inline uint8_t unary_single(int32_t op, uint8_t x, double scale, double offset, Place place) {
  const float sum = single_function(op, float(x) * float(scale), place) + float(offset);
  return uint8_t(clamped(place == Place::block ? rounded(sum) : stepwise_rounded(sum)));
}
inline float unary_single(int32_t op, float x, double scale, double offset, Place place) {
  return single_function(op, x * float(scale), place) + float(offset);
}

// The exponential of whole float blocks may be the neighbour of expf's.
inline bool is_near_expf(float x, double scale, double offset, float actual) {
  const float e = expf(x * float(scale));
  for (const float candidate : {std::nextafter(e, 0.0f), e, std::nextafter(e, INFINITY)})
    if (same_value(candidate + float(offset), actual)) return true;
  return false;
}

}  // namespace tavix::test
