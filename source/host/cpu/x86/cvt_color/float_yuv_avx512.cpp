// SPDX-License-Identifier: Apache-2.0
// Between float RGB and 4:2:0 in groups of sixteen columns, with the arithmetic of the AVX2 rows;
// what is left of a row pair is left to them.
#include "cpu/tavix_cvt_color/float_yuv.h"
#include "cpu/tavix_cvt_color/sample_values.h"
#include "cpu/x86/prefetch.h"

#include "cpu/x86/cvt_color/float_pixels_avx512.h"

TAVIX_AVX512_BEGIN
namespace tavix::module {

namespace {

// ((w0 p0 + w1 p1) + w2 p2) + offset, the weights given as vectors.
struct Weights16 {
  __m512 w[3], offset;

  TAVIX_INLINE Weights16(const float (&row)[3], float offset_)
      : w{_mm512_set1_ps(row[0]), _mm512_set1_ps(row[1]), _mm512_set1_ps(row[2])},
        offset(_mm512_set1_ps(offset_)) {}

  // Those of the first sample of a pair in the even lanes, of the second in the odd ones.
  TAVIX_INLINE Weights16(const Weights16 &first, const Weights16 &second) : offset(first.offset) {
    for (int k = 0; k < 3; ++k) w[k] = _mm512_mask_blend_ps(0xaaaa, first.w[k], second.w[k]);
  }

  // Sixteen bytes; c in memory order.
  template <bool r_first>
  TAVIX_INLINE __m128i samples(const __m512 (&c)[3]) const {
    constexpr int r = r_first ? 0 : 2, b = 2 - r;
    const __m512 two = _mm512_add_ps(_mm512_mul_ps(w[0], c[r]), _mm512_mul_ps(w[1], c[1]));
    return pack_clamped_16(
        round_16_for_packs(_mm512_add_ps(_mm512_add_ps(two, _mm512_mul_ps(w[2], c[b])), offset)));
  }
};

// Sixteen columns of both rows.
template <int channels, ChromaLayout layout, bool r_first>
TAVIX_INLINE void rgbf32_to_yuv_block(const RgbF32ToYuvRowPair &rows, int32_t x,
                                      const Weights16 &luma, const Weights16 &chroma) {
  __m512 c[2][3], means[3];
  for (int i = 0; i < 2; ++i) {
    const uint8_t *at = rows.packed[i] + int64_t(x) * channels * 4;
    prefetch<16 * channels * 4>(at);
    load_pixels_16<channels>(at, c[i]);
    for (int k = 0; k < 3; ++k) c[i][k] = _mm512_mul_ps(c[i][k], _mm512_set1_ps(255.0f));
    store_128(rows.y[i] + x, luma.samples<r_first>(c[i]));
  }
  // The mean of a block in both lanes of its columns.
  for (int k = 0; k < 3; ++k) {
    const __m512 sums = _mm512_add_ps(c[0][k], c[1][k]);
    means[k] = _mm512_mul_ps(_mm512_add_ps(sums, _mm512_permute_ps(sums, _MM_SHUFFLE(2, 3, 0, 1))),
                             _mm512_set1_ps(0.25f));
  }
  const __m128i pairs = chroma.samples<r_first>(means);
  if constexpr (layout == ChromaLayout::kInterleaved) {
    store_128(rows.chroma[0] + x, pairs);
  } else {
    const __m128i in_rows = _mm_shuffle_epi8(
        pairs, _mm_setr_epi8(0, 2, 4, 6, 8, 10, 12, 14, 1, 3, 5, 7, 9, 11, 13, 15));
    store_64(rows.chroma[0] + x / 2, in_rows);
    store_64(rows.chroma[1] + x / 2, _mm_unpackhi_epi64(in_rows, in_rows));
  }
}

template <int channels, ChromaLayout layout, bool r_first>
void rgbf32_to_yuv_blocks(const RgbF32ToYuvRowPair &rows, int32_t width,
                          const RgbF32ToYuvWeights &w) {
  const Weights16 luma(w.y, w.offset);
  const Weights16 chroma(Weights16(w.chroma[0], 128.0f), Weights16(w.chroma[1], 128.0f));
  for (int32_t x = 0; x < width; x += 16)
    rgbf32_to_yuv_block<channels, layout, r_first>(rows, x, luma, chroma);
}

// Sixteen bytes as floats around 0.
TAVIX_INLINE __m512 around_zero(__m128i bytes) {
  return _mm512_sub_ps(_mm512_cvtepi32_ps(_mm512_cvtepu8_epi32(bytes)), _mm512_set1_ps(128.0f));
}

// 0 to 1; not a number gives 0.
TAVIX_INLINE __m512 to_unit(__m512 v) {
  const __m512 clamped =
      _mm512_min_ps(_mm512_max_ps(v, _mm512_setzero_ps()), _mm512_set1_ps(255.0f));
  return _mm512_mul_ps(clamped, _mm512_set1_ps(kByteToUnit));
}

// Both samples of the pairs of sixteen columns, each sample once for each of its two columns.
template <ChromaLayout layout>
TAVIX_INLINE void load_chroma(const uint8_t *const (&rows)[2], int32_t x, __m128i (&samples)[2]) {
  if constexpr (layout == ChromaLayout::kInterleaved) {
    const __m128i pairs = load_128(rows[0] + x);
    samples[0] = _mm_shuffle_epi8(
        pairs, _mm_setr_epi8(0, 0, 2, 2, 4, 4, 6, 6, 8, 8, 10, 10, 12, 12, 14, 14));
    samples[1] = _mm_shuffle_epi8(
        pairs, _mm_setr_epi8(1, 1, 3, 3, 5, 5, 7, 7, 9, 9, 11, 11, 13, 13, 15, 15));
  } else {
    for (int i = 0; i < 2; ++i) {
      const __m128i row = load_64(rows[i] + x / 2);
      samples[i] = _mm_unpacklo_epi8(row, row);
    }
  }
}

template <int channels, ChromaLayout layout, bool r_first>
void yuv_to_rgbf32_blocks(const YuvToRgbF32RowPair &rows, int32_t width,
                          const YuvToRgbF32Weights &w) {
  constexpr int r = r_first ? 0 : 2, b = 2 - r;
  const __m512 y_scale = _mm512_set1_ps(w.y_scale), offset = _mm512_set1_ps(w.offset);
  for (int32_t x = 0; x < width; x += 16) {
    __m128i samples[2];
    load_chroma<layout>(rows.chroma, x, samples);
    const __m512 u = around_zero(samples[w.v_first ? 1 : 0]);
    const __m512 v = around_zero(samples[w.v_first ? 0 : 1]);
    const __m512 v_to_r = _mm512_mul_ps(_mm512_set1_ps(w.v_to_r), v);
    const __m512 u_to_g = _mm512_mul_ps(_mm512_set1_ps(w.u_to_g), u);
    const __m512 v_to_g = _mm512_mul_ps(_mm512_set1_ps(w.v_to_g), v);
    const __m512 u_to_b = _mm512_mul_ps(_mm512_set1_ps(w.u_to_b), u);
    for (int i = 0; i < 2; ++i) {
      uint8_t *const packed = rows.packed[i] + int64_t(x) * channels * 4;
      prefetch<16 * channels * 4>(packed);
      const __m512 y = _mm512_cvtepi32_ps(_mm512_cvtepu8_epi32(load_128(rows.y[i] + x)));
      const __m512 luma = _mm512_mul_ps(y_scale, _mm512_sub_ps(y, offset));
      __m512 c[3];
      c[r] = to_unit(_mm512_add_ps(luma, v_to_r));
      c[1] = to_unit(_mm512_sub_ps(_mm512_sub_ps(luma, u_to_g), v_to_g));
      c[b] = to_unit(_mm512_add_ps(luma, u_to_b));
      store_pixels_16<channels>(packed, c);
    }
  }
}

// The AVX2 rows take the last whole eight columns, so that as many round half to even.
struct RgbF32ToYuvRowAvx512 {
  template <int channels, ChromaLayout layout>
  static void row(const RgbF32ToYuvRowPair &rows, int32_t width, const RgbF32ToYuvWeights &w) {
    const int32_t blocks = width & ~15;
    w.r_first ? rgbf32_to_yuv_blocks<channels, layout, true>(rows, blocks, w)
              : rgbf32_to_yuv_blocks<channels, layout, false>(rows, blocks, w);
    if (blocks < width)
      kFloatYuvRowsAvx2.rgb_to_yuv(channels, layout)(rows.from<layout>(blocks, 4 * channels),
                                                     width - blocks, w);
  }
};

struct YuvToRgbF32RowAvx512 {
  template <int channels, ChromaLayout layout>
  static void row(const YuvToRgbF32RowPair &rows, int32_t width, const YuvToRgbF32Weights &w) {
    const int32_t blocks = width & ~15;
    w.r_first ? yuv_to_rgbf32_blocks<channels, layout, true>(rows, blocks, w)
              : yuv_to_rgbf32_blocks<channels, layout, false>(rows, blocks, w);
    if (blocks < width)
      kFloatYuvRowsAvx2.yuv_to_rgb(channels, layout)(rows.from<layout>(blocks, 4 * channels),
                                                     width - blocks, w);
  }
};

}  // namespace

}  // namespace tavix::module
TAVIX_AVX512_END

namespace tavix::module {

constinit const FloatYuvRows kFloatYuvRowsAvx512 = {
    .rgb_to_yuv = PackedYuvRows<RgbF32ToYuvRow>::of<RgbF32ToYuvRowAvx512>(),
    .yuv_to_rgb = PackedYuvRows<YuvToRgbF32Row>::of<YuvToRgbF32RowAvx512>(),
};

}  // namespace tavix::module
