// SPDX-License-Identifier: Apache-2.0
// Copying rows. Include this header last.
#pragma once

#include <cstdint>
#include <cstring>

#include "cpu/x86/lanes_avx2.h"
#include "cpu/x86/prefetch.h"

TAVIX_AVX2_BEGIN

namespace tavix::module {

namespace {

// From this length on the C library's copy goes past the caches. Where the last of them holds both
// rows that takes up to twice the time; beyond it both are alike.
constexpr int64_t kLongCopy = 1 << 22;

// Copies n bytes; dst may be src.
TAVIX_INLINE void copy_avx2(uint8_t *dst, const uint8_t *src, int64_t n) {
  constexpr int kBlock = 128;
  int64_t i = 0;
  if (n >= kLongCopy) {
    for (; i <= n - kBlock; i += kBlock) {
      prefetch<kBlock>(src + i);
      prefetch<kBlock>(dst + i);
      const __m256i v[4] = {load_256(src + i), load_256(src + i + 32), load_256(src + i + 64),
                            load_256(src + i + 96)};
      for (int j = 0; j < 4; ++j) store_256(dst + i + 32 * j, v[j]);
    }
  }
  std::memmove(dst + i, src + i, size_t(n - i));
}

}  // namespace

}  // namespace tavix::module

TAVIX_AVX2_END
