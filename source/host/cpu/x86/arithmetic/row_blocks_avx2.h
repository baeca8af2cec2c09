// SPDX-License-Identifier: Apache-2.0
// Rows in blocks of 24 elements, a whole number of pixels of 1, 2, 3 or 4 channels, or of 96 bytes,
// four times as many; and the conversions of their vectors.
#pragma once

#include <cstdint>
#include <cstring>

#include "cpu/x86/lanes_avx2.h"
#include "cpu/x86/prefetch.h"

TAVIX_AVX2_BEGIN

namespace tavix::module {

namespace {

constexpr int32_t kBlockFloats = 24;               // three vectors
constexpr int32_t kBlockBytes = 4 * kBlockFloats;  // of bytes or of floats

// A block of floats. Its stores straddle cache lines: out of order they cost a third of the speed
// where frames exceed the caches, so that the compiler may not reorder them.
TAVIX_INLINE void store_in_order_avx2(uint8_t *p, const __m256 (&v)[3]) {
  for (int j = 0; j < 3; ++j) {
    store_8_floats(p + 32 * j, v[j]);
    asm volatile("" ::: "memory");
  }
}

// Four vectors of floats as 32 bytes: rounded half to even, clamped to 0..255; 2^31 and more and
// NaN give 0.
TAVIX_INLINE __m256i round_to_bytes_avx2(__m256 v0, __m256 v1, __m256 v2, __m256 v3) {
  return pack_clamped(_mm256_cvtps_epi32(v0), _mm256_cvtps_epi32(v1), _mm256_cvtps_epi32(v2),
                      _mm256_cvtps_epi32(v3));
}

// A parameter of each element of a block of 24.
struct BlockPattern {
  __m256 lanes[3];
};
TAVIX_INLINE BlockPattern load_pattern_avx2(const float (&p)[kBlockFloats]) {
  return {{_mm256_loadu_ps(p), _mm256_loadu_ps(p + 8), _mm256_loadu_ps(p + 16)}};
}

// The last elements of a row, fewer than a block, with zeros after them.
template <int32_t block>
struct PaddedBlock {
  uint8_t bytes[block];
};
template <int32_t block>
TAVIX_INLINE PaddedBlock<block> pad_block_avx2(const uint8_t *src, int64_t bytes) {
  PaddedBlock<block> padded = {};
  std::memcpy(padded.bytes, src, size_t(bytes));
  return padded;
}

// Rows of more than a page ask for memory ahead. What hardly computes loses by it where the caches
// hold the row.
constexpr int64_t kPage = 1 << 12, kBeyondCaches = 1 << 18;

// step.block(dst, src...) for blocks of so many bytes; what is left at the end passes through
// padded copies. dst may be a source. Rows of more than far bytes ask ahead.
template <int32_t block, int64_t far = kPage, class Step, class... Source>
TAVIX_INLINE void run_blocks_avx2(const Step &step, int64_t bytes, uint8_t *dst,
                                  const Source *...src) {
  int64_t i = 0;
  if (bytes > far) {
    for (; i <= bytes - block; i += block) {
      (prefetch<block>(src + i), ...);
      prefetch<block>(dst + i);
      step.block(dst + i, (src + i)...);
    }
  }
  for (; i <= bytes - block; i += block) step.block(dst + i, (src + i)...);
  if (i == bytes) return;
  PaddedBlock<block> result;
  step.block(result.bytes, pad_block_avx2<block>(src + i, bytes - i).bytes...);
  std::memcpy(dst + i, result.bytes, size_t(bytes - i));
}

}  // namespace

}  // namespace tavix::module

TAVIX_AVX2_END
