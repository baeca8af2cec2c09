// SPDX-License-Identifier: Apache-2.0
// Vector rows that move samples among the 4:2:0 formats, and from grey.
#include "cpu/tavix_cvt_color/yuv_repack.h"

#include "cpu/x86/prefetch.h"

#include "cpu/x86/lanes_avx2.h"

TAVIX_AVX2_BEGIN
namespace tavix::module {

namespace {

constexpr auto kInterleaved = ChromaLayout::kInterleaved;
constexpr auto kPlanar = ChromaLayout::kPlanar;

// Pairs of one block, and its move. Blocks read and write nothing beyond their pairs.
template <ChromaLayout from, ChromaLayout to>
struct MoveChroma;

template <>
struct MoveChroma<kInterleaved, kInterleaved> {
  static constexpr int32_t kPairs = 32;
  static TAVIX_INLINE void block(const uint8_t *const (&src)[2], uint8_t *const (&dst)[2],
                                 int32_t i) {
    const __m256i swapped = _mm256_broadcastsi128_si256(
        _mm_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14));
    const __m256i a = load_256(src[0] + 2 * int64_t(i)), b = load_256(src[0] + 2 * int64_t(i) + 32);
    store_256(dst[0] + 2 * int64_t(i), _mm256_shuffle_epi8(a, swapped));
    store_256(dst[0] + 2 * int64_t(i) + 32, _mm256_shuffle_epi8(b, swapped));
  }
};

template <>
struct MoveChroma<kInterleaved, kPlanar> {
  static constexpr int32_t kPairs = 32;
  static TAVIX_INLINE void block(const uint8_t *const (&src)[2], uint8_t *const (&dst)[2],
                                 int32_t i) {
    const __m256i a = load_256(src[0] + 2 * int64_t(i)), b = load_256(src[0] + 2 * int64_t(i) + 32);
    const __m256i low = _mm256_set1_epi16(0xff);
    const __m256i first = _mm256_packus_epi16(_mm256_and_si256(a, low), _mm256_and_si256(b, low));
    const __m256i second = _mm256_packus_epi16(_mm256_srli_epi16(a, 8), _mm256_srli_epi16(b, 8));
    store_256(dst[0] + i, _mm256_permute4x64_epi64(first, _MM_SHUFFLE(3, 1, 2, 0)));
    store_256(dst[1] + i, _mm256_permute4x64_epi64(second, _MM_SHUFFLE(3, 1, 2, 0)));
  }
};

template <>
struct MoveChroma<kPlanar, kInterleaved> {
  static constexpr int32_t kPairs = 32;
  static TAVIX_INLINE void block(const uint8_t *const (&src)[2], uint8_t *const (&dst)[2],
                                 int32_t i) {
    const __m256i a = _mm256_permute4x64_epi64(load_256(src[0] + i), _MM_SHUFFLE(3, 1, 2, 0));
    const __m256i b = _mm256_permute4x64_epi64(load_256(src[1] + i), _MM_SHUFFLE(3, 1, 2, 0));
    store_256(dst[0] + 2 * int64_t(i), _mm256_unpacklo_epi8(a, b));
    store_256(dst[0] + 2 * int64_t(i) + 32, _mm256_unpackhi_epi8(a, b));
  }
};

template <ChromaLayout layout, int32_t pairs>
TAVIX_INLINE void prefetch_pairs(const uint8_t *first, const uint8_t *second, int64_t i) {
  if constexpr (layout == kInterleaved) {
    prefetch<2 * pairs>(first + 2 * i);
  } else {
    prefetch<pairs>(first + i);
    prefetch<pairs>(second + i);
  }
}

// What is left of a row is left to the portable one.
template <ChromaLayout from, ChromaLayout to>
void move_chroma_row_avx2(const uint8_t *const (&src)[2], uint8_t *const (&dst)[2], int32_t pairs) {
  constexpr int32_t step = MoveChroma<from, to>::kPairs;
  int32_t i = 0;
  for (; i <= pairs - step; i += step) {
    prefetch_pairs<from, step>(src[0], src[1], i);
    prefetch_pairs<to, step>(dst[0], dst[1], i);
    MoveChroma<from, to>::block(src, dst, i);
  }
  const int64_t s = from == kInterleaved ? 2 * int64_t(i) : i;
  const int64_t d = to == kInterleaved ? 2 * int64_t(i) : i;
  kRepackRowsC.move_chroma[int(from)][int(to)]({src[0] + s, src[1] + s}, {dst[0] + d, dst[1] + d},
                                               pairs - i);
}

}  // namespace

}  // namespace tavix::module
TAVIX_AVX2_END

namespace tavix::module {

constinit const RepackRows kRepackRowsAvx2 = {
    .move_chroma = {{move_chroma_row_avx2<kInterleaved, kInterleaved>,
                     move_chroma_row_avx2<kInterleaved, kPlanar>},
                    {move_chroma_row_avx2<kPlanar, kInterleaved>, copy_chroma_row}},
    .on_all_workers = true,
};

}  // namespace tavix::module
