// SPDX-License-Identifier: Apache-2.0
// Bytes between two pages that nobody may touch. Reading or writing past either end crashes the
// test on the spot; what lies between the bytes and the page that they do not touch holds a
// sentinel.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

namespace tavix::test {

inline constexpr uint8_t kSentinel = 0xA5;

// Whether the last byte touches the closing page, or the first one the opening page.
enum class Touching { closing_page, opening_page };
inline Touching touching = Touching::closing_page;  // of bytes from now on

class GuardedBytes {
 public:
  // All bytes start as the sentinel.
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

  // Whether all between the two pages but the bytes still holds the sentinel.
  [[nodiscard]] bool intact() const;
  // Whether bytes [begin, end) do.
  [[nodiscard]] bool intact(size_t begin, size_t end) const;

 private:
  size_t pages_;  // between the two
  uint8_t *mapping_;
  uint8_t *data_;
  size_t size_;
};

// Rows as far apart as one likes, each on pages of its own: its last byte touches a page that
// nobody may touch, as does the page that it starts on.
class GuardedRows {
 public:
  // distance: whole pages, more than a row takes.
  GuardedRows(size_t rows, size_t row_bytes, size_t distance);
  ~GuardedRows();
  GuardedRows(GuardedRows &&other) noexcept;
  GuardedRows &operator=(GuardedRows &&) = delete;

  uint8_t *row(size_t y) const;

  // Whether the bytes before the rows still hold the sentinel.
  [[nodiscard]] bool intact() const;

 private:
  size_t mapped_bytes() const;

  size_t rows_, row_bytes_, distance_;
  uint8_t *mapping_;  // row 0 ends at distance_
};

}  // namespace tavix::test
