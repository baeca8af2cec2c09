// SPDX-License-Identifier: Apache-2.0
// Bytes between two pages that nobody may touch. Reading or writing past either end crashes the
// test on the spot; what lies between the first page and the bytes holds a sentinel.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

namespace tavix::test {

inline constexpr uint8_t kSentinel = 0xA5;

class GuardedBytes {
 public:
  // The last byte touches the closing page; all bytes start as the sentinel.
  explicit GuardedBytes(size_t size);
  ~GuardedBytes();
  GuardedBytes(GuardedBytes &&other) noexcept
      : mapping_(std::exchange(other.mapping_, nullptr)),
        mapped_(other.mapped_),
        data_(other.data_),
        size_(other.size_) {}
  GuardedBytes &operator=(GuardedBytes &&) = delete;

  uint8_t *data() const { return data_; }
  size_t size() const { return size_; }

  // Whether the bytes before data() still hold the sentinel.
  [[nodiscard]] bool intact() const;

 private:
  uint8_t *mapping_;
  size_t mapped_;
  uint8_t *data_;
  size_t size_;
};

}  // namespace tavix::test
