// SPDX-License-Identifier: Apache-2.0
#include "support/fill.h"

#include <cfloat>
#include <cmath>
#include <iterator>
#include <limits>

namespace tavix::test {

namespace {

template <class T, size_t n>
T pick(const T (&values)[n], Random &random) {
  return values[random.below(int32_t(n))];
}

float with_random_sign(float magnitude, Random &random) {
  return random.below(2) == 0 ? magnitude : -magnitude;
}

constexpr uint8_t kExtremeBytes[] = {0, 1, 2, 126, 127, 128, 129, 253, 254, 255};

constexpr float kExtremeFloats[] = {
    0.0f,    1.0f,      255.0f,  255.5f,   0x1.fdfffep7f,   256.0f,          0x1.fffffep30f,
    0x1p31f, 0x1p32f,   0x1p63f, 0x1p-52f, 0x1.000002p-52f, 0x1.fffffep-53f, FLT_MAX,
    FLT_MIN, 0x1p-149f, 1e30f,   1e-30f,   0x1p23f,         0x1p24f,         16777215.0f};

constexpr float kInfinity = std::numeric_limits<float>::infinity();
const float kSpecialFloats[] = {
    std::nanf(""), std::nanf("1"), -std::nanf("2"), kInfinity, -kInfinity, 0.0f, -0.0f};

}  // namespace

std::ostream &operator<<(std::ostream &out, Fill fill) {
  constexpr const char *kNames[] = {"noise", "zeros", "full", "extremes", "halves", "specials"};
  return out << kNames[int(fill)];
}

// splitmix64
uint64_t Random::next() {
  uint64_t z = state_ += 0x9E3779B97F4A7C15u;
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
  return z ^ (z >> 31);
}

template <>
uint8_t fill_value(Fill fill, Random &random) {
  switch (fill) {
    case Fill::noise:
      return uint8_t(random.next());
    case Fill::zeros:
      return 0;
    case Fill::full:
      return 255;
    case Fill::extremes:
      return pick(kExtremeBytes, random);
    case Fill::halves:
      return uint8_t(126 + random.below(5));
    case Fill::specials:
      return uint8_t(random.below(3) * 100);
  }
  return 0;
}

template <>
float fill_value(Fill fill, Random &random) {
  switch (fill) {
    case Fill::noise:
      return float(random.below(600 * 4096) - 300 * 4096) / 4096.0f;
    case Fill::zeros:
      return with_random_sign(0.0f, random);
    case Fill::full:
      return 255.0f;
    case Fill::extremes:
      return with_random_sign(pick(kExtremeFloats, random), random);
    case Fill::halves:
      return float(random.below(600) - 300) + 0.5f;
    case Fill::specials:
      return random.below(2) == 0 ? pick(kSpecialFloats, random)
                                  : fill_value<float>(Fill::noise, random);
  }
  return 0;
}

}  // namespace tavix::test
