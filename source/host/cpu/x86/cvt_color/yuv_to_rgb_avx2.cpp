// SPDX-License-Identifier: Apache-2.0
// Vector rows of 4:2:0 to 8-bit RGB. Blocks of 32 columns; what is left of a row pair is left to the
// portable rows.
//
// Even and odd columns are computed apart, so that a chroma term serves both as it is.
#include "cpu/x86/cvt_color/yuv_to_rgb_lanes.h"
#include "cpu/x86/prefetch.h"

#include "cpu/x86/lanes_avx2.h"

namespace tavix::module {

namespace {

// Of three channels, each of 16 pixels with even columns before odd ones: where byte 3 x + k of the
// pixels comes from. Modulo 16, 3 x + k takes every value once, so that one shuffle brings each
// channel into place for all three vectors of pixels; vector j takes the bytes of channel k from
// the positions congruent to k - j.
struct Interleave3 {
  alignas(32) uint8_t order[3][32];
  alignas(32) uint8_t congruent[3][32];  // 0xff where a position is 0, 1, 2 modulo 3

  constexpr Interleave3() : order(), congruent() {
    for (int half = 0; half < 32; half += 16)
      for (int k = 0; k < 3; ++k)
        for (int x = 0; x < 16; ++x) {
          order[k][half + (3 * x + k) % 16] = uint8_t(x % 2 * 8 + x / 2);
          congruent[k][half + x] = x % 3 == k ? 0xff : 0;
        }
  }
};
constexpr Interleave3 kInterleave3;

}  // namespace

}  // namespace tavix::module

TAVIX_AVX2_BEGIN
namespace tavix::module {

namespace {

TAVIX_INLINE __m256i lanes16(uint16_t value) {
  return _mm256_set1_epi16(int16_t(value));
}

// The 16 pairs of the columns from x on.
template <ChromaLayout layout>
TAVIX_INLINE __m256i load_chroma(const uint8_t *const (&rows)[2], int32_t x) {
  if constexpr (layout == ChromaLayout::kInterleaved) return load_256(rows[0] + x);
  const __m256i first = _mm256_cvtepu8_epi16(load_128(rows[0] + x / 2));
  const __m256i second = _mm256_cvtepu8_epi16(load_128(rows[1] + x / 2));
  return _mm256_or_si256(first, _mm256_slli_epi16(second, 8));
}

// One channel of the even or odd columns of 32 pixels, as words before they are clamped.
struct Columns {
  __m256i even, odd;
};

TAVIX_INLINE Columns scale_down(__m256i even, __m256i odd) {
  return {_mm256_srai_epi16(even, 6), _mm256_srai_epi16(odd, 6)};
}

// Bytes; in each half, the even columns before the odd ones.
TAVIX_INLINE __m256i to_bytes(const Columns &c) {
  return _mm256_packus_epi16(c.even, c.odd);
}

// 0 to 255 in the low byte of each word, 255 in the high one.
TAVIX_INLINE __m256i with_alpha(__m256i words) {
  const __m256i clamped =
      _mm256_min_epi16(_mm256_max_epi16(words, _mm256_setzero_si256()), _mm256_set1_epi16(255));
  return _mm256_or_si256(clamped, _mm256_set1_epi16(int16_t(0xff00)));
}

template <int channels>
TAVIX_INLINE void store_pixels(uint8_t *at, const Columns (&c)[3]) {
  const __m256i c0 = to_bytes(c[0]), c1 = to_bytes(c[1]);
  if constexpr (channels == 3) {
    const __m256i placed[3] = {
        _mm256_shuffle_epi8(c0, load_256(kInterleave3.order[0])),
        _mm256_shuffle_epi8(c1, load_256(kInterleave3.order[1])),
        _mm256_shuffle_epi8(to_bytes(c[2]), load_256(kInterleave3.order[2]))};
    for (int j = 0; j < 3; ++j) {
      const __m256i two =
          _mm256_blendv_epi8(placed[0], placed[1], load_256(kInterleave3.congruent[(4 - j) % 3]));
      const __m256i three =
          _mm256_blendv_epi8(two, placed[2], load_256(kInterleave3.congruent[(5 - j) % 3]));
      store_halves(at + 16 * j, at + 48 + 16 * j, three);
    }
  } else {
    const __m256i even01 = _mm256_unpacklo_epi8(c0, c1), odd01 = _mm256_unpackhi_epi8(c0, c1);
    const __m256i even23 = with_alpha(c[2].even), odd23 = with_alpha(c[2].odd);
    const __m256i even[2] = {_mm256_unpacklo_epi16(even01, even23),
                             _mm256_unpackhi_epi16(even01, even23)};
    const __m256i odd[2] = {_mm256_unpacklo_epi16(odd01, odd23),
                            _mm256_unpackhi_epi16(odd01, odd23)};
    for (int j = 0; j < 2; ++j) {
      store_halves(at + 32 * j, at + 64 + 32 * j, _mm256_unpacklo_epi32(even[j], odd[j]));
      store_halves(at + 32 * j + 16, at + 80 + 32 * j, _mm256_unpackhi_epi32(even[j], odd[j]));
    }
  }
}

// Bytes. Pixels of four channels are computed faster than their lines come in to be written.
constexpr int64_t kStoresAhead = 512;

struct YuvToRgbRowAvx2 {
  template <int channels, ChromaLayout layout>
  static void row(const YuvToRgbRowPair &rows, int32_t width, const YuvToRgbWeights &w) {
    const YuvToRgbLanes lanes(w);
    const __m256i even_factor = lanes16(lanes.even), odd_factor = lanes16(lanes.odd),
                  y_bias = _mm256_set1_epi16(lanes.y_bias);
    const __m256i factor[3] = {lanes16(lanes.chroma[0]), lanes16(lanes.chroma[1]),
                               lanes16(lanes.chroma[2])};
    int32_t x = 0;
    for (; x <= width - 32; x += 32) {
      const __m256i pairs =
          _mm256_xor_si256(load_chroma<layout>(rows.chroma, x), _mm256_set1_epi8(-128));
      __m256i term[3];
      for (int k = 0; k < 3; ++k) term[k] = _mm256_maddubs_epi16(factor[k], pairs);
      for (int i = 0; i < 2; ++i) {
        uint8_t *const packed = rows.packed[i] + int64_t(x) * channels;
        if constexpr (channels == 4) prefetch<32 * channels>(packed, kStoresAhead);
        const __m256i y = load_256(rows.y[i] + x);
        const __m256i even = _mm256_add_epi16(_mm256_maddubs_epi16(y, even_factor), y_bias);
        const __m256i odd = _mm256_add_epi16(_mm256_maddubs_epi16(y, odd_factor), y_bias);
        const Columns c[3] = {
            scale_down(_mm256_adds_epi16(even, term[0]), _mm256_adds_epi16(odd, term[0])),
            scale_down(_mm256_sub_epi16(even, term[1]), _mm256_sub_epi16(odd, term[1])),
            scale_down(_mm256_adds_epi16(even, term[2]), _mm256_adds_epi16(odd, term[2]))};
        store_pixels<channels>(packed, c);
      }
    }
    kYuvToRgbRowsC(channels, layout)(rows.from<layout>(x, channels), width - x, w);
  }
};

}  // namespace

}  // namespace tavix::module
TAVIX_AVX2_END

namespace tavix::module {

constinit const YuvToRgbRows kYuvToRgbRowsAvx2 = YuvToRgbRows::of<YuvToRgbRowAvx2>();

}  // namespace tavix::module
