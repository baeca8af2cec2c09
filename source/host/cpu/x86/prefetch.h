// SPDX-License-Identifier: Apache-2.0
// Asking for memory that is read or written a little later.
#pragma once

#include <cstdint>

#include "cpu/x86/avx2.h"

namespace tavix::module {

// How many bytes ahead. The processor's own prefetching stops at the end of a page, for what is
// written as for what is read.
inline constexpr int64_t kAhead = 2048;

// Asks for the cache lines of so many bytes, from offset behind p on. An address outside the
// caller's memory does no harm.
template <int bytes>
TAVIX_INLINE void prefetch(const void *p, int64_t offset = kAhead) {
  const uintptr_t first = reinterpret_cast<uintptr_t>(p) + uintptr_t(offset);
  for (int i = 0; i < bytes; i += 64)
    _mm_prefetch(reinterpret_cast<const char *>(first + uintptr_t(i)), _MM_HINT_T0);
}

}  // namespace tavix::module
