// SPDX-License-Identifier: Apache-2.0
// What test data is filled with. The same fill and seed give the same values on any machine.
#pragma once

#include <cstdint>
#include <ostream>

namespace tavix::test {

enum class Fill {
  noise,     // bytes: any; floats: -300 to 300
  zeros,     // floats: of both signs
  full,      // 255
  extremes,  // bytes: next to 0, 128 and 255; floats: largest, smallest, next to 2^31, 2^-52 and
             // 255
  halves,    // floats: ties; bytes: the middle of their range
  specials,  // floats: NaN and infinities among ordinary values; bytes: runs of equal values
};
inline constexpr Fill kFills[] = {Fill::noise,    Fill::zeros,  Fill::full,
                                  Fill::extremes, Fill::halves, Fill::specials};
std::ostream &operator<<(std::ostream &out, Fill fill);

// A small generator whose sequence is part of the tests.
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}
  uint64_t next();
  int32_t below(int32_t limit) { return int32_t(next() % uint64_t(limit)); }

 private:
  uint64_t state_;
};

template <class T>
T fill_value(Fill fill, Random &random);
template <>
uint8_t fill_value(Fill fill, Random &random);
template <>
float fill_value(Fill fill, Random &random);

}  // namespace tavix::test
