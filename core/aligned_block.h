// SPDX-License-Identifier: Apache-2.0
// Zero-filled memory that starts at a cache line.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tavix::core {

inline constexpr size_t kAlignment = 64;

// Malloc takes blocks of these sizes in new pages from the system each time, and a fault for each
// page costs more than zeroing it. So a few freed blocks are kept for the next ones of about
// their size.
inline constexpr size_t kLeastKept = size_t(4) << 20, kMostKept = size_t(32) << 20;
inline constexpr int kKeptBlocks = 4;

// Owns a block, with room to align its start.
class AlignedBlock {
 public:
  explicit AlignedBlock(size_t bytes) noexcept;
  AlignedBlock(const AlignedBlock &) = delete;
  AlignedBlock &operator=(const AlignedBlock &) = delete;
  ~AlignedBlock();

  // First aligned byte, or null when there was no memory.
  uint8_t *data() const {
    if (block_ == nullptr) return nullptr;
    const auto address = reinterpret_cast<uintptr_t>(block_);
    return static_cast<uint8_t *>(block_) + (kAlignment - address % kAlignment) % kAlignment;
  }

 private:
  void *block_;
  size_t size_;  // of the whole block
};

// Frees the blocks that are kept; whether there were any.
bool free_kept_blocks();

}  // namespace tavix::core
