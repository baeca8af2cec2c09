// SPDX-License-Identifier: Apache-2.0
// An input of a fuzzer, read as a row of choices. Beyond its end every choice is the first.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tavix::fuzz {

class Choices {
 public:
  Choices(const uint8_t *data, size_t size) : next_(data), end_(data + size) {}

  uint8_t byte() { return next_ == end_ ? 0 : *next_++; }
  bool more() const { return next_ != end_; }

  int32_t below(int32_t limit) { return byte() % limit; }

  template <class T, size_t n>
  T of(const T (&options)[n]) {
    return options[byte() % n];
  }

  bool rarely() { return byte() % 16 == 15; }

  template <class T>
  T *maybe(T *pointer) {
    return rarely() ? nullptr : pointer;
  }

 private:
  const uint8_t *next_, *end_;
};

}  // namespace tavix::fuzz
