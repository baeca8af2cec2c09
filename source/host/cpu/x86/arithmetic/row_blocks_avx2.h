// SPDX-License-Identifier: Apache-2.0
// Rows in blocks of 24 elements, a whole number of pixels of 1, 2, 3 or 4 channels, or of 96 bytes,
// four times as many; and the loads, stores and conversions of their vectors.
#pragma once

#include <cstdint>
#include <cstring>

#include "cpu/x86/prefetch.h"

TAVIX_AVX2_BEGIN

namespace tavix::module {

inline constexpr int32_t kBlockFloats = 24;               // three vectors
inline constexpr int32_t kBlockBytes = 4 * kBlockFloats;  // of bytes or of floats

TAVIX_INLINE __m256i load32_avx2(const uint8_t *p) {  // 32 bytes
  return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
}
TAVIX_INLINE void store32_avx2(uint8_t *p, __m256i v) {  // 32 bytes
  _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), v);
}
TAVIX_INLINE __m256 load8f_avx2(const uint8_t *p) {  // eight floats, 32 bytes
  return _mm256_castsi256_ps(load32_avx2(p));
}
TAVIX_INLINE void store8f_avx2(uint8_t *p, __m256 v) {
  store32_avx2(p, _mm256_castps_si256(v));
}
// A block of floats. Its stores straddle cache lines: out of order they cost a third of the speed
// where frames exceed the caches, so that the compiler may not reorder them.
TAVIX_INLINE void store_in_order_avx2(uint8_t *p, const __m256 (&v)[3]) {
  for (int j = 0; j < 3; ++j) {
    store8f_avx2(p + 32 * j, v[j]);
    asm volatile("" ::: "memory");
  }
}

// Eight bytes as floats.
TAVIX_INLINE __m256 load8b_avx2(const uint8_t *p) {
  return _mm256_cvtepi32_ps(
      _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(p))));
}

// Four vectors of floats as 32 bytes: rounded half to even, clamped to 0..255; 2^31 and more and
// NaN give 0.
TAVIX_INLINE __m256i round_to_bytes_avx2(__m256 v0, __m256 v1, __m256 v2, __m256 v3) {
  const __m256i low = _mm256_packs_epi32(_mm256_cvtps_epi32(v0), _mm256_cvtps_epi32(v1));
  const __m256i high = _mm256_packs_epi32(_mm256_cvtps_epi32(v2), _mm256_cvtps_epi32(v3));
  return _mm256_permutevar8x32_epi32(_mm256_packus_epi16(low, high),
                                     _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
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

// The processor's own prefetching stops at the end of a page, so that rows of more than a page ask
// for memory ahead. What hardly computes loses by it where the caches hold the row.
inline constexpr int64_t kAhead = 2048, kPage = 1 << 12, kBeyondCaches = 1 << 18;

// step.block(dst, src...) for blocks of so many bytes; what is left at the end passes through
// padded copies. dst may be a source. Rows of more than far bytes ask ahead.
template <int32_t block, int64_t far = kPage, class Step, class... Source>
TAVIX_INLINE void run_blocks_avx2(const Step &step, int64_t bytes, uint8_t *dst,
                                  const Source *...src) {
  int64_t i = 0;
  if (bytes > far) {
    for (; i <= bytes - block; i += block) {
      (prefetch<block>(src + i, kAhead), ...);
      prefetch<block>(dst + i, kAhead);
      step.block(dst + i, (src + i)...);
    }
  }
  for (; i <= bytes - block; i += block) step.block(dst + i, (src + i)...);
  if (i == bytes) return;
  PaddedBlock<block> result;
  step.block(result.bytes, pad_block_avx2<block>(src + i, bytes - i).bytes...);
  std::memcpy(dst + i, result.bytes, size_t(bytes - i));
}

}  // namespace tavix::module

TAVIX_AVX2_END
