// SPDX-License-Identifier: Apache-2.0
// 8-bit RGB to 4:2:0 in blocks of 64 columns, computed channel by channel, with the bounds of the
// AVX2 rows. Include this header last.
#pragma once

#include "cpu/x86/cvt_color/rgb_to_yuv_lanes.h"

#include "cpu/x86/cvt_color/vectors_avx512vbmi.h"

TAVIX_AVX512VBMI_BEGIN

namespace tavix::module::avx512vbmi {

namespace {

// Weights of bytes 0 and 1, or 2 and 3, of a lane.
TAVIX_INLINE __m512i pair_of(uint32_t lane, int pair) {
  return _mm512_set1_epi16(int16_t(lane >> (16 * pair)));
}

struct LumaFactors {
  __m512i first_two, third, offset;

  explicit TAVIX_INLINE LumaFactors(const LumaLanes &lanes)
      : first_two(pair_of(lanes.weights, 0)),
        third(pair_of(lanes.weights, 1)),
        offset(_mm512_set1_epi8(int8_t(lanes.offset))) {}
};

// Luma of 64 pixels, whose samples are taken less 128.
TAVIX_INLINE __m512i luma_64(const __m512i (&c)[3], const LumaFactors &w) {
  const __m512i sign = _mm512_set1_epi8(-128);
  const __m512i s0 = _mm512_xor_si512(c[0], sign), s1 = _mm512_xor_si512(c[1], sign),
                s2 = _mm512_xor_si512(c[2], sign);
  const __m512i low =
      _mm512_add_epi16(_mm512_maddubs_epi16(w.first_two, _mm512_unpacklo_epi8(s0, s1)),
                       _mm512_maddubs_epi16(w.third, _mm512_unpacklo_epi8(s2, s2)));
  const __m512i high =
      _mm512_add_epi16(_mm512_maddubs_epi16(w.first_two, _mm512_unpackhi_epi8(s0, s1)),
                       _mm512_maddubs_epi16(w.third, _mm512_unpackhi_epi8(s2, s2)));
  const __m512i scale = _mm512_set1_epi16(128);  // a rounded shift by 8
  return _mm512_add_epi8(
      _mm512_packs_epi16(_mm512_mulhrs_epi16(low, scale), _mm512_mulhrs_epi16(high, scale)),
      w.offset);
}

// Truncated means of 32 blocks, as words.
TAVIX_INLINE __m512i means_32(__m512i top, __m512i bottom) {
  const __m512i one = _mm512_set1_epi8(1);
  return _mm512_srli_epi16(
      _mm512_add_epi16(_mm512_maddubs_epi16(top, one), _mm512_maddubs_epi16(bottom, one)), 2);
}

struct ChromaFactors {
  __m512i first_two, last_two, flip_first, flip_last;

  explicit TAVIX_INLINE ChromaFactors(const ChromaLanes &lanes)
      : first_two(pair_of(lanes.weights, 0)),
        last_two(pair_of(lanes.weights, 1)),
        flip_first(pair_of(lanes.flip, 0)),
        flip_last(pair_of(lanes.flip, 1)) {}

  // 32 samples as words, 256 times their distance from 128 and a fraction.
  TAVIX_INLINE __m512i of(__m512i first, __m512i last) const {
    return _mm512_adds_epi16(_mm512_maddubs_epi16(first_two, _mm512_xor_si512(first, flip_first)),
                             _mm512_maddubs_epi16(last_two, _mm512_xor_si512(last, flip_last)));
  }
};

// Stores the 32 pairs from column x on.
template <ChromaLayout layout>
TAVIX_INLINE void store_chroma(uint8_t *const (&rows)[2], int32_t x, __m512i first,
                               __m512i second) {
  const __m512i half = _mm512_set1_epi8(-128);
  if constexpr (layout == ChromaLayout::kInterleaved) {
    const __m512i pairs =
        _mm512_mask_blend_epi8(0xaaaaaaaaaaaaaaaa, _mm512_srli_epi16(first, 8), second);
    store_512(rows[0] + x, _mm512_xor_si512(pairs, half));
  } else {
    const __m512i samples =
        _mm512_packs_epi16(_mm512_srai_epi16(first, 8), _mm512_srai_epi16(second, 8));
    store_halves_512(rows[0] + x / 2, rows[1] + x / 2,
                     _mm512_xor_si512(even_then_odd(samples), half));
  }
}

template <int channels, ChromaLayout layout>
struct RgbToYuvBlock {
  static constexpr int kColumns = 64;

  LumaFactors luma;
  ChromaFactors first, second;

  explicit TAVIX_INLINE RgbToYuvBlock(const RgbToYuvLanes &lanes)
      : luma(lanes.luma), first(lanes.chroma[0]), second(lanes.chroma[1]) {}

  TAVIX_INLINE void run(const RgbToYuvRowPair &rows, int32_t x) const {
    __m512i c[2][3], mean[3];
    for (int i = 0; i < 2; ++i) {
      const uint8_t *const at = rows.packed[i] + int64_t(x) * channels;
      prefetch<64 * channels>(at, kPairAhead);
      load_planes<channels>(at, c[i]);
      store_512(rows.y[i] + x, luma_64(c[i], luma));
    }
    for (int k = 0; k < 3; ++k) mean[k] = means_32(c[0][k], c[1][k]);
    const __m512i first_two = mean[0] | _mm512_slli_epi16(mean[1], 8);
    store_chroma<layout>(rows.chroma, x, first.of(first_two, mean[2]),
                         second.of(first_two, mean[2]));
  }
};

}  // namespace

}  // namespace tavix::module::avx512vbmi

TAVIX_AVX512_END
