// SPDX-License-Identifier: Apache-2.0
// Zero-filled memory that starts at a cache line.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>

#include <sys/mman.h>

namespace tavix::core {

inline constexpr size_t kAlignment = 64;

struct Free {
  void operator()(void *block) const { std::free(block); }
};

// Owns a block of calloc, whose pages the system zeroes lazily, with room to align its start.
class AlignedBlock {
 public:
  explicit AlignedBlock(size_t bytes) : block_(std::calloc(1, bytes + kAlignment)) {
    if (block_ && bytes >= kLarge) ask_for_large_pages(data(), bytes);
  }

  // First aligned byte, or null when there was no memory.
  uint8_t *data() const {
    if (!block_) return nullptr;
    const auto address = reinterpret_cast<uintptr_t>(block_.get());
    return static_cast<uint8_t *>(block_.get()) + (kAlignment - address % kAlignment) % kAlignment;
  }

 private:
  // From here on pages are new from the system, and writing to them costs a fault for each.
  static constexpr size_t kLarge = size_t(4) << 20;

  static void ask_for_large_pages([[maybe_unused]] uint8_t *data, [[maybe_unused]] size_t bytes) {
#ifdef MADV_HUGEPAGE
    constexpr uintptr_t kPage = 4096;
    const auto address = (reinterpret_cast<uintptr_t>(data) + kPage - 1) / kPage * kPage;
    madvise(reinterpret_cast<void *>(address), bytes - kPage, MADV_HUGEPAGE);  // a wish
#endif
  }

  std::unique_ptr<void, Free> block_;
};

}  // namespace tavix::core
