// SPDX-License-Identifier: Apache-2.0
// Float RGB to and from 4:2:0: the vector kernels, and the drivers. Whole groups of eight columns;
// what is left of a row pair is finished pixel by pixel.
#include "cpu/tavix_cvt_color/float_yuv.h"
#include "cpu/tavix_cvt_color/yuv_drivers.h"
#include "cpu/x86/prefetch.h"
#include "cpu_dispatch/cpu_features.h"

#include "cpu/x86/avx2.h"

namespace tavix::module {

namespace {

// Three channels of eight pixels are 24 floats in three vectors: lane j of vector m belongs to
// channel (8 m + j) % 3, and 3 i + k modulo 8, where pixel i keeps channel k, takes every value
// once. Blending by lane and permuting one vector for each channel thus goes both ways.
constexpr int owner(int vector, int lane) {
  return (8 * vector + lane) % 3;
}

// The lanes of a vector that belong to a channel.
constexpr int lanes_of(int vector, int channel) {
  int mask = 0;
  for (int lane = 0; lane < 8; ++lane) mask |= (owner(vector, lane) == channel) << lane;
  return mask;
}

struct Permutations3 {
  alignas(32) int32_t from_lane[3][8];   // pixel i of channel k: the lane it is loaded from
  alignas(32) int32_t from_pixel[3][8];  // lane j for channel k: the pixel it stores

  constexpr Permutations3() : from_lane(), from_pixel() {
    for (int k = 0; k < 3; ++k)
      for (int i = 0; i < 8; ++i) {
        from_lane[k][i] = (3 * i + k) % 8;
        from_pixel[k][(3 * i + k) % 8] = i;
      }
  }
};
constexpr Permutations3 kPermutations3;

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

TAVIX_INLINE const float *floats(const uint8_t *p) {
  return reinterpret_cast<const float *>(p);
}
TAVIX_INLINE float *floats(uint8_t *p) {
  return reinterpret_cast<float *>(p);
}

TAVIX_INLINE __m256i lane_order(const int32_t (&order)[8]) {
  return _mm256_load_si256(reinterpret_cast<const __m256i *>(order));
}

// 0 to 255; not a number gives 0.
TAVIX_INLINE __m256 clamp_to_byte_8(__m256 v) {
  return _mm256_min_ps(_mm256_max_ps(v, _mm256_setzero_ps()), _mm256_set1_ps(255.0f));
}

// The first three channels of eight pixels. Reads exactly 8 x channels floats.
template <int channels>
TAVIX_INLINE void load_8(const uint8_t *p, __m256 (&c)[3]) {
  const float *at = floats(p);
  if constexpr (channels == 3) {
    const __m256 v0 = _mm256_loadu_ps(at), v1 = _mm256_loadu_ps(at + 8),
                 v2 = _mm256_loadu_ps(at + 16);
    const __m256 blended[3] = {
        _mm256_blend_ps(_mm256_blend_ps(v0, v1, lanes_of(1, 0)), v2, lanes_of(2, 0)),
        _mm256_blend_ps(_mm256_blend_ps(v0, v1, lanes_of(1, 1)), v2, lanes_of(2, 1)),
        _mm256_blend_ps(_mm256_blend_ps(v0, v1, lanes_of(1, 2)), v2, lanes_of(2, 2))};
    for (int k = 0; k < 3; ++k)
      c[k] = _mm256_permutevar8x32_ps(blended[k], lane_order(kPermutations3.from_lane[k]));
  } else {
    __m256 pixel[4];  // i and 4 + i
    for (int i = 0; i < 4; ++i)
      pixel[i] = _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(at + 4 * i)),
                                      _mm_loadu_ps(at + 16 + 4 * i), 1);
    const __m256 low01 = _mm256_unpacklo_ps(pixel[0], pixel[1]),
                 low23 = _mm256_unpacklo_ps(pixel[2], pixel[3]),
                 high01 = _mm256_unpackhi_ps(pixel[0], pixel[1]),
                 high23 = _mm256_unpackhi_ps(pixel[2], pixel[3]);
    c[0] = _mm256_shuffle_ps(low01, low23, _MM_SHUFFLE(1, 0, 1, 0));
    c[1] = _mm256_shuffle_ps(low01, low23, _MM_SHUFFLE(3, 2, 3, 2));
    c[2] = _mm256_shuffle_ps(high01, high23, _MM_SHUFFLE(1, 0, 1, 0));
  }
}

// Eight pixels, with a fourth channel of 1. Writes exactly 8 x channels floats.
template <int channels>
TAVIX_INLINE void store_8(uint8_t *p, const __m256 (&c)[3]) {
  float *at = floats(p);
  if constexpr (channels == 3) {
    __m256 placed[3];
    for (int k = 0; k < 3; ++k)
      placed[k] = _mm256_permutevar8x32_ps(c[k], lane_order(kPermutations3.from_pixel[k]));
    _mm256_storeu_ps(at, _mm256_blend_ps(_mm256_blend_ps(placed[0], placed[1], lanes_of(0, 1)),
                                         placed[2], lanes_of(0, 2)));
    _mm256_storeu_ps(at + 8, _mm256_blend_ps(_mm256_blend_ps(placed[0], placed[1], lanes_of(1, 1)),
                                             placed[2], lanes_of(1, 2)));
    _mm256_storeu_ps(at + 16, _mm256_blend_ps(_mm256_blend_ps(placed[0], placed[1], lanes_of(2, 1)),
                                              placed[2], lanes_of(2, 2)));
  } else {
    const __m256 alpha = _mm256_set1_ps(1.0f);
    const __m256 low01 = _mm256_unpacklo_ps(c[0], c[1]), low23 = _mm256_unpacklo_ps(c[2], alpha),
                 high01 = _mm256_unpackhi_ps(c[0], c[1]), high23 = _mm256_unpackhi_ps(c[2], alpha);
    const __m256 pixel[4] = {_mm256_shuffle_ps(low01, low23, _MM_SHUFFLE(1, 0, 1, 0)),
                             _mm256_shuffle_ps(low01, low23, _MM_SHUFFLE(3, 2, 3, 2)),
                             _mm256_shuffle_ps(high01, high23, _MM_SHUFFLE(1, 0, 1, 0)),
                             _mm256_shuffle_ps(high01, high23, _MM_SHUFFLE(3, 2, 3, 2))};
    for (int i = 0; i < 4; i += 2) {
      _mm256_storeu_ps(at + 4 * i, _mm256_permute2f128_ps(pixel[i], pixel[i + 1], 0x20));
      _mm256_storeu_ps(at + 16 + 4 * i, _mm256_permute2f128_ps(pixel[i], pixel[i + 1], 0x31));
    }
  }
}

// ((w0 p0 + w1 p1) + w2 p2) + offset, the weights given as vectors.
TAVIX_INLINE __m256 dot_8(const __m256 (&w)[3], __m256 p0, __m256 p1, __m256 p2, __m256 offset) {
  const __m256 two = _mm256_add_ps(_mm256_mul_ps(w[0], p0), _mm256_mul_ps(w[1], p1));
  return _mm256_add_ps(_mm256_add_ps(two, _mm256_mul_ps(w[2], p2)), offset);
}

// Integers of which the saturating packs to bytes make v clamped to 0..255 and rounded half to
// even, and 0 of NaN: min answers with its second operand then, and NaN and values below int32
// convert to the least integer.
TAVIX_INLINE __m256i round_for_packs(__m256 v) {
  return _mm256_cvtps_epi32(_mm256_min_ps(_mm256_set1_ps(255.0f), v));
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
  load_8<channels>(top, t);
  load_8<channels>(bottom, b);
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
  if constexpr (bytes == 8) _mm_storel_epi64(reinterpret_cast<__m128i *>(at), v);
  if constexpr (bytes == 16) _mm_storeu_si128(reinterpret_cast<__m128i *>(at), v);
}

constexpr int64_t kAhead = 2048;  // bytes, of the float rows, read or written

// One block of the columns from x on, 8 or 16. Of eight, the second eight are the same again and
// are not stored.
template <int columns, int channels, ChromaLayout layout, bool r_first>
TAVIX_INLINE void rgbf32_to_yuv_block(const RowPair<const uint8_t, uint8_t> &rows, int32_t x,
                                      const Row3 &y_weights, const Row3 (&chroma_weights)[2]) {
  const uint8_t *top = rows.packed[0] + int64_t(x) * channels * 4;
  const uint8_t *bottom = rows.packed[1] + int64_t(x) * channels * 4;
  constexpr int second = (columns - 8) * channels * 4;
  prefetch<columns * channels * 4>(top, kAhead);
  prefetch<columns * channels * 4>(bottom, kAhead);
  __m256i low[2], high[2];
  __m256 left[3], right[3], means[3];
  convert_8<channels, r_first>(top, bottom, y_weights, low, left);
  convert_8<channels, r_first>(top + second, bottom + second, y_weights, high, right);
  for (int k = 0; k < 3; ++k)
    means[k] = _mm256_mul_ps(_mm256_hadd_ps(left[k], right[k]), _mm256_set1_ps(0.25f));

  const __m256i in_turn = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
  const __m256i luma = _mm256_permutevar8x32_epi32(
      _mm256_packus_epi16(_mm256_packs_epi32(low[0], high[0]), _mm256_packs_epi32(low[1], high[1])),
      in_turn);
  store_low<columns>(rows.y[0] + x, _mm256_castsi256_si128(luma));
  store_low<columns>(rows.y[1] + x, _mm256_extracti128_si256(luma, 1));

  // Halves of four first samples, then four second ones, of blocks 0 1 4 5 and 2 3 6 7.
  const __m256i words = _mm256_packs_epi32(chroma_weights[0].samples<r_first>(means),
                                           chroma_weights[1].samples<r_first>(means));
  const __m128i bytes = _mm256_castsi256_si128(
      _mm256_permutevar8x32_epi32(_mm256_packus_epi16(words, words), in_turn));
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
void rgbf32_to_yuv_row_pair_avx2(RowPair<const uint8_t, uint8_t> rows, int32_t width,
                                 RgbF32ToYuvWeights w) {
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
void yuv_to_rgbf32_row_pair_avx2(RowPair<uint8_t, const uint8_t> rows, int32_t width,
                                 YuvToRgbF32Weights w) {
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
      pairs = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(rows.chroma[0] + x));
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
    for (int i = 0; i < 2; ++i) {
      const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(rows.y[i] + x));
      const __m256 y = _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(bytes));
      const __m256 luma = _mm256_mul_ps(y_scale, _mm256_sub_ps(y, offset));
      uint8_t *const packed = rows.packed[i] + int64_t(x) * channels * 4;
      prefetch<8 * channels * 4>(packed, kAhead);
      __m256 c[3];
      c[r] = _mm256_add_ps(luma, v_to_r);
      c[1] = _mm256_sub_ps(_mm256_sub_ps(luma, u_to_g), v_to_g);
      c[b] = _mm256_add_ps(luma, u_to_b);
      for (int k = 0; k < 3; ++k) c[k] = _mm256_mul_ps(clamp_to_byte_8(c[k]), unit);
      store_8<channels>(packed, c);
    }
  }
}

}  // namespace

}  // namespace tavix::module
TAVIX_AVX2_END

namespace tavix::module {

namespace {

// Columns that the vector loop takes: none without AVX2.
int32_t vector_columns(int32_t width) {
  return use_avx2() ? width & ~7 : 0;
}

template <ChromaLayout layout>
struct RgbF32ToYuv {
  RgbF32ToYuvJob job;

  template <int channels>
  void row_pair(int32_t c) const {
    const auto rows = job.row_pair(c);
    const int32_t blocks = vector_columns(job.width);
    if (blocks > 0)
      job.weights.r_first
          ? rgbf32_to_yuv_row_pair_avx2<channels, layout, true>(rows, blocks, job.weights)
          : rgbf32_to_yuv_row_pair_avx2<channels, layout, false>(rows, blocks, job.weights);
    rgbf32_to_yuv_row_pair_c<channels, layout>(rows, blocks, whole_pairs(job.width), job.weights);
  }
};

template <ChromaLayout layout>
struct YuvToRgbF32 {
  YuvToRgbF32Job job;

  template <int channels>
  void row_pair(int32_t c) const {
    const auto rows = job.row_pair(c);
    const int32_t blocks = vector_columns(job.width);
    if (blocks > 0)
      job.weights.r_first
          ? yuv_to_rgbf32_row_pair_avx2<channels, layout, true>(rows, blocks, job.weights)
          : yuv_to_rgbf32_row_pair_avx2<channels, layout, false>(rows, blocks, job.weights);
    yuv_to_rgbf32_row_pair_c<channels, layout>(rows, blocks, whole_pairs(job.width), job.weights);
  }
};

using ParallelConvertRGBF322NVAvx = PackedYuvBody<RgbF32ToYuv<ChromaLayout::kInterleaved>>;
using ParallelConvertRGBF322YUVAvx = PackedYuvBody<RgbF32ToYuv<ChromaLayout::kPlanar>>;
using ParallelConvertNV2BGRF32Avx = PackedYuvBody<YuvToRgbF32<ChromaLayout::kInterleaved>>;
using ParallelConvertYUV2BGRF32Avx = PackedYuvBody<YuvToRgbF32<ChromaLayout::kPlanar>>;

template <class Body, class Job>
void run_pairs(const Job &job) {
  parallel_for_({0, job.row_pairs(), 1}, Body(job), -1.0);
}

}  // namespace

void RGBF322NVAvx(const RgbF32ToYuvJob &job) {
  run_pairs<ParallelConvertRGBF322NVAvx>(job);
}
void RGBF322YUVAvx(const RgbF32ToYuvJob &job) {
  run_pairs<ParallelConvertRGBF322YUVAvx>(job);
}
void NV2BGRF32Avx(const YuvToRgbF32Job &job) {
  run_pairs<ParallelConvertNV2BGRF32Avx>(job);
}
void YUV2BGRF32Avx(const YuvToRgbF32Job &job) {
  run_pairs<ParallelConvertYUV2BGRF32Avx>(job);
}

}  // namespace tavix::module
