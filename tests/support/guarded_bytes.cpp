// SPDX-License-Identifier: Apache-2.0
#include "support/guarded_bytes.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace tavix::test {

namespace {

const size_t kPage = size_t(sysconf(_SC_PAGESIZE));

// Mappings of few pages are kept for the next bytes: the kernel takes longer for a mapping than
// most calls take. What waits holds sentinels alone, so that a late write shows.
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

[[noreturn]] void fail() {
  throw std::system_error(errno, std::generic_category(), "guarded bytes");
}

// Pages that nobody may touch.
uint8_t *map_closed(size_t bytes) {
  void *mapping =
      mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (mapping == MAP_FAILED) fail();
  return static_cast<uint8_t *>(mapping);
}

// Makes sentinels of some of them.
void open_pages(uint8_t *first, size_t bytes) {
  if (bytes > 0 && mprotect(first, bytes, PROT_READ | PROT_WRITE) != 0) fail();
  std::memset(first, kSentinel, bytes);
}

uint8_t *map_between_guards(size_t pages) {
  uint8_t *mapping = map_closed((pages + 2) * kPage);
  open_pages(mapping + kPage, pages * kPage);
  return mapping;
}

size_t whole_pages(size_t bytes) {
  return (bytes + kPage - 1) / kPage * kPage;
}

}  // namespace

GuardedBytes::GuardedBytes(size_t size)
    : pages_(whole_pages(size) / kPage), mapping_(take_kept(pages_)), size_(size) {
  if (mapping_ == nullptr) mapping_ = map_between_guards(pages_);
  data_ = mapping_ + kPage + (touching == Touching::closing_page ? pages_ * kPage - size : 0);
  if (!only_sentinels(mapping_ + kPage, pages_ * kPage))
    throw std::logic_error("guarded bytes were written after their end");
}

GuardedBytes::~GuardedBytes() {
  if (mapping_ == nullptr) return;
  std::memset(mapping_ + kPage, kSentinel, pages_ * kPage);
  if (!keep(mapping_, pages_)) munmap(mapping_, (pages_ + 2) * kPage);
}

bool GuardedBytes::intact() const {
  const uint8_t *first = mapping_ + kPage, *end = data_ + size_;
  return only_sentinels(first, size_t(data_ - first)) &&
         only_sentinels(end, size_t(first + pages_ * kPage - end));
}

bool GuardedBytes::intact(size_t begin, size_t end) const {
  return only_sentinels(data_ + begin, end - begin);
}

GuardedRows::GuardedRows(size_t rows, size_t row_bytes, size_t distance)
    : rows_(rows), row_bytes_(row_bytes), distance_(distance) {
  const size_t bytes = whole_pages(row_bytes);
  if (distance % kPage != 0 || bytes >= distance)
    throw std::logic_error("rows too close to be guarded");
  mapping_ = map_closed(mapped_bytes());
  for (size_t y = 1; y <= rows; ++y) open_pages(mapping_ + y * distance - bytes, bytes);
}

GuardedRows::~GuardedRows() {
  if (mapping_ != nullptr) munmap(mapping_, mapped_bytes());
}

GuardedRows::GuardedRows(GuardedRows &&other) noexcept
    : rows_(other.rows_),
      row_bytes_(other.row_bytes_),
      distance_(other.distance_),
      mapping_(std::exchange(other.mapping_, nullptr)) {}

size_t GuardedRows::mapped_bytes() const {
  return std::max(rows_, size_t(1)) * distance_ + kPage;
}

uint8_t *GuardedRows::row(size_t y) const {
  return mapping_ + (y + 1) * distance_ - row_bytes_;
}

bool GuardedRows::intact() const {
  const size_t before = whole_pages(row_bytes_) - row_bytes_;
  for (size_t y = 0; y < rows_; ++y)
    if (!only_sentinels(row(y) - before, before)) return false;
  return true;
}

}  // namespace tavix::test
