// SPDX-License-Identifier: Apache-2.0
#include "aligned_block.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

#include <sys/mman.h>

namespace tavix::core {

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kWatched = true;
#elif defined(__has_feature)
constexpr bool kWatched = __has_feature(address_sanitizer);
#else
constexpr bool kWatched = false;
#endif

// What a block holds while it is kept.
struct KeptBlock {
  size_t size;
};

// Slots change hands by exchange: no thread waits for another, and a child process for none.
std::atomic<KeptBlock *> slots[kKeptBlocks];
std::atomic<unsigned> next_slot;

// Not under the address sanitizer: the use of freed memory would go unseen.
bool may_be_kept(size_t size) {
  return !kWatched && size >= kLeastKept && size <= kMostKept;
}

void keep(void *block, size_t size) {
  auto *kept = new (block) KeptBlock{size};
  for (std::atomic<KeptBlock *> &slot : slots) {
    KeptBlock *empty = nullptr;
    if (slot.compare_exchange_strong(empty, kept)) return;
  }
  std::free(slots[next_slot++ % kKeptBlocks].exchange(kept));
}

// A kept block of at least that size, and of a quarter more at the most, or null.
KeptBlock *take(size_t size) {
  for (std::atomic<KeptBlock *> &slot : slots) {
    KeptBlock *kept = slot.exchange(nullptr);
    if (kept == nullptr) continue;
    if (kept->size >= size && kept->size <= size + size / 4) return kept;
    keep(kept, kept->size);
  }
  return nullptr;
}

void ask_for_large_pages([[maybe_unused]] uint8_t *data, [[maybe_unused]] size_t bytes) {
#ifdef MADV_HUGEPAGE
  constexpr uintptr_t kPage = 4096;
  uint8_t *page = data + (kPage - reinterpret_cast<uintptr_t>(data) % kPage) % kPage;
  madvise(page, bytes - kPage, MADV_HUGEPAGE);  // a wish
#endif
}

}  // namespace

AlignedBlock::AlignedBlock(size_t bytes) noexcept : size_(bytes + kAlignment) {
  if (KeptBlock *kept = may_be_kept(size_) ? take(size_) : nullptr) {
    size_ = kept->size;
    block_ = std::memset(kept, 0, size_);
    return;
  }
  block_ = std::calloc(1, size_);
  if (block_ == nullptr && free_kept_blocks()) block_ = std::calloc(1, size_);
  if (block_ != nullptr && bytes >= kLeastKept) ask_for_large_pages(data(), bytes);
}

AlignedBlock::~AlignedBlock() {
  if (block_ != nullptr && may_be_kept(size_)) {
    keep(block_, size_);
  } else {
    std::free(block_);
  }
}

bool free_kept_blocks() {
  bool any = false;
  for (std::atomic<KeptBlock *> &slot : slots) {
    KeptBlock *kept = slot.exchange(nullptr);
    any = any || kept != nullptr;
    std::free(kept);
  }
  return any;
}

}  // namespace tavix::core
