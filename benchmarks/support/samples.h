// SPDX-License-Identifier: Apache-2.0
// What an operation reads or writes: samples of one type in a row.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace tavix::benchmarks {

class Samples {
 public:
  template <class T>
  Samples(T *samples, int64_t count)
      : data_(reinterpret_cast<uint8_t *>(samples)),
        count_(count),
        bytes_(count * int64_t(sizeof(T))),
        is_float_(std::is_floating_point_v<T>),
        at_([](const uint8_t *data, int64_t i) {
          return double(reinterpret_cast<const T *>(data)[i]);
        }) {}

  uint8_t *data() const { return data_; }
  int64_t count() const { return count_; }
  int64_t bytes() const { return bytes_; }
  bool is_float() const { return is_float_; }

  // Sample i of other samples of the same type.
  double at(const uint8_t *data, int64_t i) const { return at_(data, i); }

 private:
  uint8_t *data_;
  int64_t count_;
  int64_t bytes_;
  bool is_float_;
  double (*at_)(const uint8_t *data, int64_t i);
};

}  // namespace tavix::benchmarks
