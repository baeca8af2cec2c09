// SPDX-License-Identifier: Apache-2.0
// How loops read and write rows.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

// Stands before a loop whose iterations may go in any order, because none reads what another one
// writes: the compiler makes vectors of it without asking at run time whether rows overlap.
#if defined(__clang__)
#define TAVIX_INDEPENDENT_ITERATIONS _Pragma("clang loop vectorize(assume_safety)")
#else
#define TAVIX_INDEPENDENT_ITERATIONS _Pragma("GCC ivdep")
#endif

namespace tavix::module {

// Element i of a row of T that may start at any address.
template <class T>
inline T load(const uint8_t *bytes, int64_t i) {
  T value;
  std::memcpy(&value, bytes + i * int64_t(sizeof(T)), sizeof(T));
  return value;
}
template <class T>
inline void store(uint8_t *bytes, int64_t i, T value) {
  std::memcpy(bytes + i * int64_t(sizeof(T)), &value, sizeof(T));
}

// Copies n bytes; dst may be src. Long copies go in pieces: from some megabytes on the C library's
// copy goes past the caches, which takes longer wherever they hold a part of either side.
inline void copy_bytes(const uint8_t *src, uint8_t *dst, int64_t n) {
  constexpr int64_t kPiece = 1 << 18;
  for (int64_t i = 0; i < n; i += kPiece)
    std::memmove(dst + i, src + i, size_t(std::min(kPiece, n - i)));
}

}  // namespace tavix::module
