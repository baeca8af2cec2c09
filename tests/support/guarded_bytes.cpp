// SPDX-License-Identifier: Apache-2.0
#include "support/guarded_bytes.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace tavix::test {

namespace {

const size_t kPage = size_t(sysconf(_SC_PAGESIZE));

// Mappings of few pages are kept for the next bytes: the kernel takes longer for a mapping than most
// calls take. What waits holds sentinels alone, so that a late write shows.
constexpr size_t kKeptPages = 64, kKeptMappings = 32;
std::mutex kept_mutex;
std::vector<uint8_t *> kept[kKeptPages + 1];  // by the number of usable pages

bool only_sentinels(const uint8_t *bytes, size_t size) {
  return size == 0 || (bytes[0] == kSentinel && std::memcmp(bytes, bytes + 1, size - 1) == 0);
}

uint8_t *take_kept(size_t pages) {
  const std::lock_guard lock(kept_mutex);
  if (pages > kKeptPages || kept[pages].empty()) return nullptr;
  uint8_t *mapping = kept[pages].back();
  kept[pages].pop_back();
  return mapping;
}

bool keep(uint8_t *mapping, size_t pages) {
  const std::lock_guard lock(kept_mutex);
  if (pages > kKeptPages || kept[pages].size() == kKeptMappings) return false;
  kept[pages].push_back(mapping);
  return true;
}

uint8_t *map_between_guards(size_t pages) {
  void *mapping = mmap(nullptr, (pages + 2) * kPage, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapping == MAP_FAILED || (pages > 0 && mprotect(static_cast<uint8_t *>(mapping) + kPage,
                                                      pages * kPage, PROT_READ | PROT_WRITE) != 0))
    throw std::system_error(errno, std::generic_category(), "guarded bytes");
  std::memset(static_cast<uint8_t *>(mapping) + kPage, kSentinel, pages * kPage);
  return static_cast<uint8_t *>(mapping);
}

}  // namespace

GuardedBytes::GuardedBytes(size_t size)
    : pages_((size + kPage - 1) / kPage), mapping_(take_kept(pages_)), size_(size) {
  if (mapping_ == nullptr) mapping_ = map_between_guards(pages_);
  data_ = mapping_ + (1 + pages_) * kPage - size;
  if (!only_sentinels(mapping_ + kPage, pages_ * kPage))
    throw std::logic_error("guarded bytes were written after their end");
}

GuardedBytes::~GuardedBytes() {
  if (mapping_ == nullptr) return;
  std::memset(mapping_ + kPage, kSentinel, pages_ * kPage);
  if (!keep(mapping_, pages_)) munmap(mapping_, (pages_ + 2) * kPage);
}

bool GuardedBytes::intact() const {
  return only_sentinels(mapping_ + kPage, size_t(data_ - mapping_) - kPage);
}

bool GuardedBytes::intact(size_t begin, size_t end) const {
  return only_sentinels(data_ + begin, end - begin);
}

}  // namespace tavix::test
