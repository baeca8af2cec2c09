// SPDX-License-Identifier: Apache-2.0
// Copying rows and planes.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace tavix::module {

// Copies n bytes; dst may be src. Long copies go in pieces: from some megabytes on the C library's
// copy goes past the caches, which takes longer wherever they hold a part of either side.
inline void copy_bytes(const uint8_t *src, uint8_t *dst, int64_t n) {
  constexpr int64_t kPiece = 1 << 18;
  for (int64_t i = 0; i < n; i += kPiece)
    std::memmove(dst + i, src + i, size_t(std::min(kPiece, n - i)));
}

}  // namespace tavix::module
