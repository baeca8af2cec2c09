// SPDX-License-Identifier: Apache-2.0
// 4:2:0 to 8-bit RGB in blocks of 64 columns, with the arithmetic of the AVX2 rows; what is left of
// a row pair is left to them.
#include "cpu/x86/cvt_color/yuv_to_rgb_lanes.h"

#include "cpu/x86/lanes_avx512.h"

namespace tavix::module {

namespace {

// Where a column lies in the bytes of a channel: each quarter has its even columns before its odd
// ones.
constexpr int place_of(int column) {
  return column / 16 * 16 + column % 2 * 8 + column % 16 / 2;
}

// For each vector of pixels, where its bytes come from in the first two channels, and which of them
// belong to the third channel, whose bytes the same indices name. A fourth channel is 255.
template <int channels>
struct Interleave {
  alignas(64) uint8_t index[channels][64] = {};
  uint64_t third[channels] = {}, colour[channels] = {};

  constexpr Interleave() {
    for (int j = 0; j < channels; ++j)
      for (int i = 0; i < 64; ++i) {
        const int x = (64 * j + i) / channels, c = (64 * j + i) % channels;
        index[j][i] = c == 3 ? 255 : uint8_t(place_of(x) + (c == 1 ? 64 : 0));
        third[j] |= uint64_t(c == 2) << i;
        colour[j] |= uint64_t(c != 3) << i;
      }
  }
};
template <int channels>
constexpr Interleave<channels> kInterleave;

// Pairs of bytes of two vectors.
struct PairOrder {
  alignas(64) uint8_t index[64] = {};

  constexpr PairOrder() {
    for (int i = 0; i < 64; ++i) index[i] = uint8_t(i / 2 + i % 2 * 64);
  }
};
constexpr PairOrder kPairOrder;

}  // namespace

}  // namespace tavix::module

TAVIX_AVX512VBMI_BEGIN
namespace tavix::module {

namespace {

TAVIX_INLINE __m512i lanes16(uint16_t value) {
  return _mm512_set1_epi16(int16_t(value));
}

// The 32 pairs of the columns from x on.
template <ChromaLayout layout>
TAVIX_INLINE __m512i load_chroma(const uint8_t *const (&rows)[2], int32_t x) {
  if constexpr (layout == ChromaLayout::kInterleaved) return load_512(rows[0] + x);
  return _mm512_permutex2var_epi8(_mm512_castsi256_si512(load_256(rows[0] + x / 2)),
                                  load_512(kPairOrder.index),
                                  _mm512_castsi256_si512(load_256(rows[1] + x / 2)));
}

// One channel: bytes, in each quarter the even columns before the odd ones.
TAVIX_INLINE __m512i to_bytes(__m512i even, __m512i odd) {
  return _mm512_packus_epi16(_mm512_srai_epi16(even, 6), _mm512_srai_epi16(odd, 6));
}

template <int channels>
TAVIX_INLINE void store_pixels(uint8_t *at, const __m512i (&c)[3]) {
  constexpr const Interleave<channels> &order = kInterleave<channels>;
  for (int j = 0; j < channels; ++j) {
    const __m512i index = load_512(order.index[j]);
    const __m512i two = channels == 3
                            ? _mm512_permutex2var_epi8(c[0], index, c[1])
                            : _mm512_mask2_permutex2var_epi8(c[0], index, order.colour[j], c[1]);
    store_512(at + 64 * j, _mm512_mask_permutexvar_epi8(two, order.third[j], index, c[2]));
  }
}

struct YuvToRgbRowAvx512 {
  template <int channels, ChromaLayout layout>
  static void row(const YuvToRgbRowPair &rows, int32_t width, const YuvToRgbWeights &w) {
    const YuvToRgbLanes lanes(w);
    const __m512i even_factor = lanes16(lanes.even), odd_factor = lanes16(lanes.odd),
                  y_bias = _mm512_set1_epi16(lanes.y_bias);
    const __m512i factor[3] = {lanes16(lanes.chroma[0]), lanes16(lanes.chroma[1]),
                               lanes16(lanes.chroma[2])};
    int32_t x = 0;
    for (; x <= width - 64; x += 64) {
      const __m512i pairs =
          _mm512_xor_si512(load_chroma<layout>(rows.chroma, x), _mm512_set1_epi8(-128));
      __m512i term[3];
      for (int k = 0; k < 3; ++k) term[k] = _mm512_maddubs_epi16(factor[k], pairs);
      for (int i = 0; i < 2; ++i) {
        const __m512i y = load_512(rows.y[i] + x);
        const __m512i even = _mm512_add_epi16(_mm512_maddubs_epi16(y, even_factor), y_bias);
        const __m512i odd = _mm512_add_epi16(_mm512_maddubs_epi16(y, odd_factor), y_bias);
        const __m512i c[3] = {
            to_bytes(_mm512_adds_epi16(even, term[0]), _mm512_adds_epi16(odd, term[0])),
            to_bytes(_mm512_sub_epi16(even, term[1]), _mm512_sub_epi16(odd, term[1])),
            to_bytes(_mm512_adds_epi16(even, term[2]), _mm512_adds_epi16(odd, term[2]))};
        store_pixels<channels>(rows.packed[i] + int64_t(x) * channels, c);
      }
    }
    if (x < width)
      kYuvToRgbRowsAvx2(channels, layout)(rows.from<layout>(x, channels), width - x, w);
  }
};

}  // namespace

}  // namespace tavix::module
TAVIX_AVX512_END

namespace tavix::module {

constinit const YuvToRgbRows kYuvToRgbRowsAvx512Vbmi = YuvToRgbRows::of<YuvToRgbRowAvx512>();

}  // namespace tavix::module
