// SPDX-License-Identifier: Apache-2.0
// Storing results past the caches, which spares reading the lines that are overwritten.
#pragma once

#include <cstdint>

#include "cpu_dispatch/cpu_features.h"

namespace tavix::module {

inline constexpr int kCacheLine = 64;

// Whether a row stores its results past the caches: it reads and writes so many bytes in all that
// its own part of the last cache cannot hold four fifths of them, and it starts with a whole line.
// On Zen 5 such rows of float arithmetic and of tensors take 0.7 to 0.8 of the time. Where the
// caches hold more of a row, they would lose by it.
inline bool goes_past_caches(int64_t bytes_moved, const uint8_t *place) {
  const int64_t cache = last_cache_size();
  return cache > 0 && bytes_moved > cache + cache / 4 &&
         reinterpret_cast<uintptr_t>(place) % kCacheLine == 0;
}

}  // namespace tavix::module
