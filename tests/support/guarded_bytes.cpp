// SPDX-License-Identifier: Apache-2.0
#include "support/guarded_bytes.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <system_error>

namespace tavix::test {

namespace {

const size_t kPage = size_t(sysconf(_SC_PAGESIZE));

}  // namespace

GuardedBytes::GuardedBytes(size_t size)
    : mapped_((size + kPage - 1) / kPage * kPage + 2 * kPage), size_(size) {
  void *mapping = mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  const size_t usable = mapped_ - 2 * kPage;
  if (mapping == MAP_FAILED || (usable > 0 && mprotect(static_cast<uint8_t *>(mapping) + kPage,
                                                       usable, PROT_READ | PROT_WRITE) != 0))
    throw std::system_error(errno, std::generic_category(), "guarded bytes");
  mapping_ = static_cast<uint8_t *>(mapping);
  data_ = mapping_ + mapped_ - kPage - size;
  std::memset(mapping_ + kPage, kSentinel, usable);
}

GuardedBytes::~GuardedBytes() {
  if (mapping_ != nullptr) munmap(mapping_, mapped_);
}

bool GuardedBytes::intact() const {
  return std::all_of(mapping_ + kPage, data_, [](uint8_t byte) { return byte == kSentinel; });
}

}  // namespace tavix::test
