// SPDX-License-Identifier: Apache-2.0
// Asking for memory that is read or written a little later.
#pragma once

#include <cstdint>

#include "cpu/x86/avx2.h"
#include "cpu_dispatch/cpu_features.h"

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
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a pointer would have to stay within the memory
    _mm_prefetch(reinterpret_cast<const char *>(first + uintptr_t(i)), _MM_HINT_T0);
}

// Which rows ask for memory ahead: those of more bytes than `above`. Rows of more than `near` only
// stream, and ask only where the processor gains by it.
struct Ahead {
  int64_t above, near;

  bool holds(int64_t bytes) const {
    return bytes > above && (bytes <= near || streams_ask_ahead());
  }
};
constexpr Ahead kNever = {INT64_MAX, INT64_MAX};
constexpr Ahead kAlways = {0, INT64_MAX};
constexpr Ahead kBeyondPages = {1 << 12, INT64_MAX};
constexpr Ahead kFloatStream = {1 << 12, 1 << 23};
constexpr Ahead kByteStream = {1 << 18, 1 << 22};
constexpr Ahead kConversion = {0, 1 << 23};  // strips of planes are short

// Asks for memory ahead, or does not.
class Prefetching {
 public:
  Prefetching(const Ahead &rows, int64_t bytes) : on_(rows.holds(bytes)) {}

  template <int bytes>
  TAVIX_INLINE void ask(const void *p) const {
    if (on_) prefetch<bytes>(p);
  }

 private:
  const bool on_;
};

}  // namespace tavix::module
