// SPDX-License-Identifier: Apache-2.0
// Rows that move chroma samples in blocks of 64 pairs; what is left of a row is left to the AVX2
// rows.
#include "cpu/tavix_cvt_color/yuv_repack.h"

#include "cpu/x86/lanes_avx512.h"

namespace tavix::module {

namespace {

constexpr auto kInterleaved = ChromaLayout::kInterleaved;
constexpr auto kPlanar = ChromaLayout::kPlanar;

// Of two vectors: every first and every second byte, and the pairs of their low and high halves.
struct PairOrders {
  alignas(64) uint8_t split[2][64] = {}, join[2][64] = {};

  constexpr PairOrders() {
    for (int which = 0; which < 2; ++which)
      for (int i = 0; i < 64; ++i) {
        split[which][i] = uint8_t(2 * i + which);
        join[which][i] = uint8_t(32 * which + i / 2 + i % 2 * 64);
      }
  }
};
constexpr PairOrders kPairOrders;

}  // namespace

}  // namespace tavix::module

TAVIX_AVX512VBMI_BEGIN
namespace tavix::module {

namespace {

template <ChromaLayout from, ChromaLayout to>
TAVIX_INLINE void move_64_pairs(const uint8_t *const (&src)[2], uint8_t *const (&dst)[2],
                                int64_t i) {
  if constexpr (from == kInterleaved && to == kInterleaved) {
    const __m512i swapped =
        _mm512_broadcast_i32x4(_mm_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14));
    const __m512i a = load_512(src[0] + 2 * i), b = load_512(src[0] + 2 * i + 64);
    store_512(dst[0] + 2 * i, _mm512_shuffle_epi8(a, swapped));
    store_512(dst[0] + 2 * i + 64, _mm512_shuffle_epi8(b, swapped));
  } else if constexpr (from == kInterleaved) {
    const __m512i a = load_512(src[0] + 2 * i), b = load_512(src[0] + 2 * i + 64);
    for (int k = 0; k < 2; ++k)
      store_512(dst[k] + i, _mm512_permutex2var_epi8(a, load_512(kPairOrders.split[k]), b));
  } else {
    const __m512i a = load_512(src[0] + i), b = load_512(src[1] + i);
    for (int k = 0; k < 2; ++k)
      store_512(dst[0] + 2 * i + 64 * k,
                _mm512_permutex2var_epi8(a, load_512(kPairOrders.join[k]), b));
  }
}

template <ChromaLayout from, ChromaLayout to>
void move_chroma_row_avx512(const uint8_t *const (&src)[2], uint8_t *const (&dst)[2],
                            int32_t pairs) {
  int32_t i = 0;
  for (; i <= pairs - 64; i += 64) move_64_pairs<from, to>(src, dst, i);
  if (i == pairs) return;
  const int64_t s = from == kInterleaved ? 2 * int64_t(i) : i;
  const int64_t d = to == kInterleaved ? 2 * int64_t(i) : i;
  kRepackRowsAvx2.move_chroma[int(from)][int(to)]({src[0] + s, src[1] + s},
                                                  {dst[0] + d, dst[1] + d}, pairs - i);
}

}  // namespace

}  // namespace tavix::module
TAVIX_AVX512_END

namespace tavix::module {

constinit const RepackRows kRepackRowsAvx512Vbmi = {
    .move_chroma = {{move_chroma_row_avx512<kInterleaved, kInterleaved>,
                     move_chroma_row_avx512<kInterleaved, kPlanar>},
                    {move_chroma_row_avx512<kPlanar, kInterleaved>, copy_chroma_row}},
    .on_all_workers = true,
};

}  // namespace tavix::module
