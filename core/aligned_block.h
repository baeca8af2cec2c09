// SPDX-License-Identifier: Apache-2.0
// Zero-filled memory that starts at a cache line.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace tavix::core {

inline constexpr size_t kAlignment = 64;

struct Free {
  void operator()(void *block) const { std::free(block); }
};

// Owns a block of calloc, whose pages the system zeroes lazily, with room to align its start.
class AlignedBlock {
 public:
  explicit AlignedBlock(size_t bytes) : block_(std::calloc(1, bytes + kAlignment)) {}

  // First aligned byte, or null when there was no memory.
  uint8_t *data() const {
    if (!block_) return nullptr;
    const auto address = reinterpret_cast<uintptr_t>(block_.get());
    return static_cast<uint8_t *>(block_.get()) + (kAlignment - address % kAlignment) % kAlignment;
  }

 private:
  std::unique_ptr<void, Free> block_;
};

}  // namespace tavix::core
