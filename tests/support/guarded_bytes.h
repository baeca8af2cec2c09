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
      : pages_(other.pages_),
        mapping_(std::exchange(other.mapping_, nullptr)),
        data_(other.data_),
        size_(other.size_) {}
  GuardedBytes &operator=(GuardedBytes &&) = delete;

  uint8_t *data() const { return data_; }
  size_t size() const { return size_; }

  // Whether the bytes before data() still hold the sentinel.
  [[nodiscard]] bool intact() const;
  // Whether bytes [begin, end) do.
  [[nodiscard]] bool intact(size_t begin, size_t end) const;

 private:
  size_t pages_;  // between the two
  uint8_t *mapping_;
  uint8_t *data_;
  size_t size_;
};

}  // namespace tavix::test
