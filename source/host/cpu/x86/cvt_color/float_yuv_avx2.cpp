// SPDX-License-Identifier: Apache-2.0
// Vector rows between float RGB and 4:2:0. Whole groups of eight columns; what is left of a row pair
// is left to the portable rows.
#include "cpu/tavix_cvt_color/float_yuv.h"
#include "cpu/tavix_cvt_color/sample_values.h"
#include "cpu/x86/prefetch.h"

#include "cpu/x86/cvt_color/float_pixels_avx2.h"

namespace tavix::module {

namespace {

// Of four pairs of samples in the low eight bytes, the eight columns of either one as 32-bit lanes.
struct ChromaOrders {
  alignas(32) uint8_t columns[2][32];

  constexpr ChromaOrders() : columns() {
    for (int which = 0; which < 2; ++which)
      for (int i = 0; i < 32; ++i)
        columns[which][i] = uint8_t(i % 4 == 0 ? i / 8 * 2 + which : 0x80);
  }
};
constexpr ChromaOrders kChromaOrders;

}  // namespace

}  // namespace tavix::module

TAVIX_AVX2_BEGIN
namespace tavix::module {

namespace {

// 0 to 255; not a number gives 0.
TAVIX_INLINE __m256 clamp_to_byte_8(__m256 v) {
  return _mm256_min_ps(_mm256_max_ps(v, _mm256_setzero_ps()), _mm256_set1_ps(255.0f));
}

// ((w0 p0 + w1 p1) + w2 p2) + offset, the weights given as vectors.
TAVIX_INLINE __m256 dot_8(const __m256 (&w)[3], __m256 p0, __m256 p1, __m256 p2, __m256 offset) {
  const __m256 two = _mm256_add_ps(_mm256_mul_ps(w[0], p0), _mm256_mul_ps(w[1], p1));
  return _mm256_add_ps(_mm256_add_ps(two, _mm256_mul_ps(w[2], p2)), offset);
}

// The weights of one row of a matrix.
struct Row3 {
  __m256 w[3], offset;

  TAVIX_INLINE Row3(const float (&row)[3], float offset_)
      : w{_mm256_set1_ps(row[0]), _mm256_set1_ps(row[1]), _mm256_set1_ps(row[2])},
        offset(_mm256_set1_ps(offset_)) {}

  // c in memory order
  template <bool r_first>
  TAVIX_INLINE __m256i samples(const __m256 (&c)[3]) const {
    constexpr int r = r_first ? 0 : 2, b = 2 - r;
    return round_for_packs(dot_8(w, c[r], c[1], c[b], offset));
  }
};

// Luma of eight columns of both rows, and the scaled channels summed over the rows.
template <int channels, bool r_first>
TAVIX_INLINE void convert_8(const uint8_t *top, const uint8_t *bottom, const Row3 &weights,
                            __m256i (&luma)[2], __m256 (&sums)[3]) {
  const __m256 scale = _mm256_set1_ps(255.0f);
  __m256 t[3], b[3];
  load_pixels_8<channels>(top, t);
  load_pixels_8<channels>(bottom, b);
  for (int k = 0; k < 3; ++k) {
    t[k] = _mm256_mul_ps(t[k], scale);
    b[k] = _mm256_mul_ps(b[k], scale);
    sums[k] = _mm256_add_ps(t[k], b[k]);
  }
  luma[0] = weights.samples<r_first>(t);
  luma[1] = weights.samples<r_first>(b);
}

// Of a register's eight or sixteen bytes, the first half or all.
template <int bytes>
TAVIX_INLINE void store_low(uint8_t *at, __m128i v) {
  if constexpr (bytes == 4) _mm_storeu_si32(at, v);
  if constexpr (bytes == 8) store_64(at, v);
  if constexpr (bytes == 16) store_128(at, v);
}

// One block of the columns from x on, 8 or 16. Of eight, the second eight are the same again and
// are not stored.
template <int columns, int channels, ChromaLayout layout, bool r_first>
TAVIX_INLINE void rgbf32_to_yuv_block(const RgbF32ToYuvRowPair &rows, int32_t x,
                                      const Row3 &y_weights, const Row3 (&chroma_weights)[2]) {
  const uint8_t *top = rows.packed[0] + int64_t(x) * channels * 4;
  const uint8_t *bottom = rows.packed[1] + int64_t(x) * channels * 4;
  constexpr int second = (columns - 8) * channels * 4;
  prefetch<columns * channels * 4>(top);
  prefetch<columns * channels * 4>(bottom);
  __m256i low[2], high[2];
  __m256 left[3], right[3], means[3];
  convert_8<channels, r_first>(top, bottom, y_weights, low, left);
  convert_8<channels, r_first>(top + second, bottom + second, y_weights, high, right);
  for (int k = 0; k < 3; ++k)
    means[k] = _mm256_mul_ps(_mm256_hadd_ps(left[k], right[k]), _mm256_set1_ps(0.25f));

  const __m256i luma = pack_clamped(low[0], high[0], low[1], high[1]);
  store_low<columns>(rows.y[0] + x, _mm256_castsi256_si128(luma));
  store_low<columns>(rows.y[1] + x, _mm256_extracti128_si256(luma, 1));

  // Halves of four first samples, then four second ones, of blocks 0 1 4 5 and 2 3 6 7.
  const __m256i words = _mm256_packs_epi32(chroma_weights[0].samples<r_first>(means),
                                           chroma_weights[1].samples<r_first>(means));
  const __m128i bytes = _mm256_castsi256_si128(zip_halves(_mm256_packus_epi16(words, words)));
  if constexpr (layout == ChromaLayout::kInterleaved) {
    const __m128i pairs = _mm_setr_epi8(0, 8, 1, 9, 4, 12, 5, 13, 2, 10, 3, 11, 6, 14, 7, 15);
    store_low<columns>(rows.chroma[0] + x, _mm_shuffle_epi8(bytes, pairs));
  } else {
    const __m128i in_rows = _mm_setr_epi8(0, 1, 4, 5, 2, 3, 6, 7, 8, 9, 12, 13, 10, 11, 14, 15);
    const __m128i samples = _mm_shuffle_epi8(bytes, in_rows);
    store_low<columns / 2>(rows.chroma[0] + x / 2, samples);
    store_low<columns / 2>(rows.chroma[1] + x / 2, _mm_unpackhi_epi64(samples, samples));
  }
}

// Columns 0 to width - 1, width a multiple of 8.
template <int channels, ChromaLayout layout, bool r_first>
void rgbf32_to_yuv_blocks_avx2(const RgbF32ToYuvRowPair &rows, int32_t width,
                               const RgbF32ToYuvWeights &w) {
  const Row3 y_weights(w.y, w.offset);
  const Row3 chroma_weights[2] = {Row3(w.chroma[0], 128.0f), Row3(w.chroma[1], 128.0f)};
  int32_t x = 0;
  for (; x <= width - 16; x += 16)
    rgbf32_to_yuv_block<16, channels, layout, r_first>(rows, x, y_weights, chroma_weights);
  if (x < width)
    rgbf32_to_yuv_block<8, channels, layout, r_first>(rows, x, y_weights, chroma_weights);
}

// Columns 0 to width - 1, width a multiple of 8.
template <int channels, ChromaLayout layout, bool r_first>
void yuv_to_rgbf32_blocks_avx2(const YuvToRgbF32RowPair &rows, int32_t width,
                               const YuvToRgbF32Weights &w) {
  constexpr int r = r_first ? 0 : 2, b = 2 - r;
  const __m256 unit = _mm256_set1_ps(kByteToUnit), half = _mm256_set1_ps(128.0f);
  const __m256 y_scale = _mm256_set1_ps(w.y_scale), offset = _mm256_set1_ps(w.offset);
  const __m256i u_order = _mm256_load_si256(
      reinterpret_cast<const __m256i *>(kChromaOrders.columns[w.v_first ? 1 : 0]));
  const __m256i v_order = _mm256_load_si256(
      reinterpret_cast<const __m256i *>(kChromaOrders.columns[w.v_first ? 0 : 1]));

  for (int32_t x = 0; x < width; x += 8) {
    __m128i pairs;
    if constexpr (layout == ChromaLayout::kInterleaved) {
      pairs = load_64(rows.chroma[0] + x);
    } else {
      pairs = _mm_unpacklo_epi8(_mm_loadu_si32(rows.chroma[0] + x / 2),
                                _mm_loadu_si32(rows.chroma[1] + x / 2));
    }
    const __m256i both = _mm256_broadcastsi128_si256(pairs);
    const __m256 u = _mm256_sub_ps(_mm256_cvtepi32_ps(_mm256_shuffle_epi8(both, u_order)), half);
    const __m256 v = _mm256_sub_ps(_mm256_cvtepi32_ps(_mm256_shuffle_epi8(both, v_order)), half);
    const __m256 v_to_r = _mm256_mul_ps(_mm256_set1_ps(w.v_to_r), v);
    const __m256 u_to_g = _mm256_mul_ps(_mm256_set1_ps(w.u_to_g), u);
    const __m256 v_to_g = _mm256_mul_ps(_mm256_set1_ps(w.v_to_g), v);
    const __m256 u_to_b = _mm256_mul_ps(_mm256_set1_ps(w.u_to_b), u);
    // Step by step for both rows, whose operations fill each other's waits.
    __m256 luma[2], c[2][3];
    for (int i = 0; i < 2; ++i) {
      prefetch<8 * channels * 4>(rows.packed[i] + int64_t(x) * channels * 4);
      luma[i] = _mm256_mul_ps(y_scale, _mm256_sub_ps(load_8_bytes(rows.y[i] + x), offset));
    }
    for (int i = 0; i < 2; ++i) {
      c[i][r] = _mm256_add_ps(luma[i], v_to_r);
      c[i][1] = _mm256_sub_ps(_mm256_sub_ps(luma[i], u_to_g), v_to_g);
      c[i][b] = _mm256_add_ps(luma[i], u_to_b);
    }
    for (int i = 0; i < 2; ++i)
      for (int k = 0; k < 3; ++k) c[i][k] = _mm256_mul_ps(clamp_to_byte_8(c[i][k]), unit);
    for (int i = 0; i < 2; ++i)
      store_pixels_8<channels>(rows.packed[i] + int64_t(x) * channels * 4, c[i]);
  }
}

struct RgbF32ToYuvRowAvx2 {
  template <int channels, ChromaLayout layout>
  static void row(const RgbF32ToYuvRowPair &rows, int32_t width, const RgbF32ToYuvWeights &w) {
    const int32_t blocks = width & ~7;
    w.r_first ? rgbf32_to_yuv_blocks_avx2<channels, layout, true>(rows, blocks, w)
              : rgbf32_to_yuv_blocks_avx2<channels, layout, false>(rows, blocks, w);
    kFloatYuvRowsC.rgb_to_yuv(channels, layout)(rows.from<layout>(blocks, 4 * channels),
                                                width - blocks, w);
  }
};

struct YuvToRgbF32RowAvx2 {
  template <int channels, ChromaLayout layout>
  static void row(const YuvToRgbF32RowPair &rows, int32_t width, const YuvToRgbF32Weights &w) {
    const int32_t blocks = width & ~7;
    w.r_first ? yuv_to_rgbf32_blocks_avx2<channels, layout, true>(rows, blocks, w)
              : yuv_to_rgbf32_blocks_avx2<channels, layout, false>(rows, blocks, w);
    kFloatYuvRowsC.yuv_to_rgb(channels, layout)(rows.from<layout>(blocks, 4 * channels),
                                                width - blocks, w);
  }
};

}  // namespace

}  // namespace tavix::module
TAVIX_AVX2_END

namespace tavix::module {

constinit const FloatYuvRows kFloatYuvRowsAvx2 = {
    .rgb_to_yuv = PackedYuvRows<RgbF32ToYuvRow>::of<RgbF32ToYuvRowAvx2>(),
    .yuv_to_rgb = PackedYuvRows<YuvToRgbF32Row>::of<YuvToRgbF32RowAvx2>(),
};

}  // namespace tavix::module
