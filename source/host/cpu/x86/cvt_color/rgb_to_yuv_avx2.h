// SPDX-License-Identifier: Apache-2.0
// 8-bit RGB of four channels to 4:2:0 with AVX2, pixel by pixel: taking the channels apart costs
// more than the sums. Include this header last.
#pragma once

#include "cpu/x86/cvt_color/rgb_to_yuv_lanes.h"

#include "cpu/x86/cvt_color/gathers_avx2.h"

TAVIX_VECTORS_BEGIN

// Even and odd columns of 16 pixels, both in the order 0 4 1 5 2 6 3 7 of their blocks. Pixels are
// read once more, which is cheaper than moving them between lanes.
struct Columns {
  Ints even, odd;

  explicit TAVIX_INLINE Columns(const uint8_t *p)
      : even(_mm256_blend_epi32(load_256(p), load_256(p + 28), 0xaa)),
        odd(_mm256_blend_epi32(load_256(p + 4), load_256(p + 32), 0xaa)) {}
};

// (a + b + c + d) / 4, truncated, of every block. Averages round up: that of a and b is
// (a + b + carry) / 2, the carry the lowest bit of a ^ b. With a carry on either side, or averages
// of an odd sum, the average of the averages is one too many.
TAVIX_INLINE Ints truncated_means(const Columns &top, const Columns &bottom) {
  const Ints even = _mm256_avg_epu8(top.even, bottom.even);
  const Ints odd = _mm256_avg_epu8(top.odd, bottom.odd);
  const Ints carries = (top.even ^ bottom.even) | (top.odd ^ bottom.odd);
  const Ints excess = (carries | (even ^ odd)) & all_bytes(1);
  return _mm256_sub_epi8(_mm256_avg_epu8(even, odd), excess);
}

struct LaneChroma {
  const ChromaLanes &lanes;
  Ints weights = all_of(lanes.weights), flip = all_of(lanes.flip);

  // 16 samples as words, 256 times their distance from 128 and a fraction.
  TAVIX_INLINE Ints of(const Ints (&means)[2]) const {
    const Ints words = _mm256_hadds_epi16(_mm256_maddubs_epi16(weights, means[0] ^ flip),
                                          _mm256_maddubs_epi16(weights, means[1] ^ flip));
    const Ints neighbours = _mm256_broadcastsi128_si256(
        _mm_setr_epi8(0, 1, 4, 5, 2, 3, 6, 7, 8, 9, 12, 13, 10, 11, 14, 15));
    return zip_halves(_mm256_shuffle_epi8(words, neighbours));
  }
};

template <int channels, ChromaLayout layout>
struct RgbToYuvBlock;

template <ChromaLayout layout>
struct RgbToYuvBlock<4, layout> {
  static constexpr int kColumns = 32;

  const RgbToYuvLanes &lanes;
  Ints weights = all_of(lanes.luma.weights), offset = all_bytes(char(lanes.luma.offset));
  LaneChroma first{lanes.chroma[0]}, second{lanes.chroma[1]};

  TAVIX_INLINE void run(const RgbToYuvRowPair &rows, int32_t x) const {
    const uint8_t *const at[2] = {rows.packed[0] + 4 * int64_t(x), rows.packed[1] + 4 * int64_t(x)};
    for (int i = 0; i < 2; ++i) {
      prefetch<128>(at[i], kPairAhead);
      const Ints luma =
          pack_words(weighted_words<4>(at[i], weights), weighted_words<4>(at[i] + 64, weights));
      store_ints(rows.y[i] + x, _mm256_add_epi8(luma, offset));
    }
    const Ints colours = all_of(0xffffff);
    const Ints means[2] = {truncated_means(Columns(at[0]), Columns(at[1])) & colours,
                           truncated_means(Columns(at[0] + 64), Columns(at[1] + 64)) & colours};
    store_chroma<layout>(rows.chroma, x, first.of(means), second.of(means));
  }
};

TAVIX_VECTORS_END
