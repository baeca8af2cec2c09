// SPDX-License-Identifier: Apache-2.0
// 8-bit RGB to 4:2:0 in blocks of 64 columns, with the arithmetic of the AVX2 rows; what is left of
// a row pair is left to them.
#include "cpu/x86/cvt_color/rgb_to_yuv_lanes.h"
#include "cpu/x86/prefetch.h"

#include "cpu/x86/lanes_avx512.h"

namespace tavix::module {

namespace {

// Where the bytes of each channel of 64 pixels lie: of three channels in the first two vectors, and
// the rest of them, where the same indices modulo 64 name bytes of the third; of four channels in
// each pair of vectors alike.
template <int channels>
struct PlaneOrder {
  alignas(64) uint8_t index[3][64] = {};
  uint64_t in_third[3] = {};

  constexpr PlaneOrder() {
    for (int k = 0; k < 3; ++k)
      for (int x = 0; x < 64; ++x) {
        const int at = x * channels + k;
        index[k][x] = uint8_t(at % 128);
        in_third[k] |= uint64_t(at >= 128) << x;
      }
  }
};
template <int channels>
constexpr PlaneOrder<channels> kPlaneOrder;

}  // namespace

}  // namespace tavix::module

TAVIX_AVX512VBMI_BEGIN
namespace tavix::module {

namespace {

// The channels of 64 pixels.
template <int channels>
TAVIX_INLINE void load_planes(const uint8_t *p, __m512i (&c)[3]) {
  constexpr const PlaneOrder<channels> &order = kPlaneOrder<channels>;
  const __m512i v0 = load_512(p), v1 = load_512(p + 64), v2 = load_512(p + 128);
  for (int k = 0; k < 3; ++k) {
    const __m512i index = load_512(order.index[k]);
    const __m512i first = _mm512_permutex2var_epi8(v0, index, v1);
    if constexpr (channels == 3) {
      c[k] = _mm512_mask_permutexvar_epi8(first, order.in_third[k], index, v2);
    } else {
      const __m512i second = _mm512_permutex2var_epi8(v2, index, load_512(p + 192));
      c[k] = _mm512_mask_blend_epi64(0xf0, first, second);
    }
  }
}

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

constexpr int64_t kPairAhead = 1024;  // bytes, which is soon enough for two rows at a time

struct RgbToYuvRowAvx512 {
  template <int channels, ChromaLayout layout>
  static void row(const RgbToYuvRowPair &rows, int32_t width, const RgbToYuvWeights &w) {
    const RgbToYuvLanes &lanes = kRgbToYuvLanes.of(w);
    const LumaFactors luma(lanes.luma);
    const ChromaFactors chroma[2] = {ChromaFactors(lanes.chroma[0]),
                                     ChromaFactors(lanes.chroma[1])};
    int32_t x = 0;
    for (; x <= width - 64; x += 64) {
      const uint8_t *const at[2] = {rows.packed[0] + int64_t(x) * channels,
                                    rows.packed[1] + int64_t(x) * channels};
      prefetch<64 * channels>(at[0], kPairAhead);
      prefetch<64 * channels>(at[1], kPairAhead);
      __m512i top[3], bottom[3], mean[3];
      load_planes<channels>(at[0], top);
      load_planes<channels>(at[1], bottom);
      store_512(rows.y[0] + x, luma_64(top, luma));
      store_512(rows.y[1] + x, luma_64(bottom, luma));
      for (int k = 0; k < 3; ++k) mean[k] = means_32(top[k], bottom[k]);
      const __m512i first = _mm512_or_si512(mean[0], _mm512_slli_epi16(mean[1], 8));
      store_chroma<layout>(rows.chroma, x, chroma[0].of(first, mean[2]),
                           chroma[1].of(first, mean[2]));
    }
    if (x < width)
      kRgbToYuvRowsAvx2(channels, layout)(rows.from<layout>(x, channels), width - x, w);
  }
};

}  // namespace

}  // namespace tavix::module
TAVIX_AVX512_END

namespace tavix::module {

constinit const RgbToYuvRows kRgbToYuvRowsAvx512Vbmi = RgbToYuvRows::of<RgbToYuvRowAvx512>();

}  // namespace tavix::module
