// SPDX-License-Identifier: Apache-2.0
// 4:2:0 to 8-bit RGB: the vector kernel, and the drivers. Blocks of 32 columns; what is left of a
// row pair is the portable kernel's.
//
// Even and odd columns are computed apart, so that a chroma term serves both as it is.
#include "cpu/tavix_cvt_color/run_rows.h"
#include "cpu/tavix_cvt_color/yuv_drivers.h"
#include "cpu/tavix_cvt_color/yuv_to_rgb.h"
#include "cpu/x86/prefetch.h"

#include "cpu/x86/lanes_avx2.h"

namespace tavix::module {

namespace {

// Chroma samples are taken around 128, which is what the biases stand for, and multiplied by
// magnitudes: the terms of red and blue are added, that of green is taken away. Bounds, for
// factors up to 150 and luma scales up to 127:
//   terms of red and blue [-19200, 19050]; with luma, at least -18690: only the upper end of the
//   sum saturates, where 32767 >> 6 is clamped to 255 like everything above;
//   term of green, magnitudes that sum to at most 80: [-10240, 10160]; luma less it fits.
struct YuvToRgbLanes {
  uint16_t even, odd;  // luma factors of a pair of columns
  uint16_t chroma[3];
  int16_t y_bias;

  explicit YuvToRgbLanes(const YuvToRgbWeights &w)
      : even(pair(w.y_scale, 0)), odd(pair(0, w.y_scale)), y_bias(int16_t(w.y_bias)) {
    for (int k = 0; k < 3; ++k) chroma[k] = pair(w.chroma[k][0], w.chroma[k][1]);
  }

 private:
  static constexpr uint8_t magnitude(int32_t w) { return uint8_t(w < 0 ? -w : w); }
  static constexpr uint16_t pair(int32_t low, int32_t high) {
    return uint16_t(magnitude(low) | magnitude(high) << 8);
  }
};

constexpr bool fits_lanes(const TavixYuvToRgbMatrix &matrix) {
  const auto &m = matrix.fixed;
  const int32_t black = m.offset * m.y_scale;
  return m.y_scale >= 0 && m.y_scale <= 127 && black >= 0 && black <= 1200 && m.v_to_r >= 0 &&
         m.v_to_r <= 136 && m.u_to_b >= 0 && m.u_to_b <= 137 && m.u_to_g <= 0 && m.v_to_g <= 0 &&
         m.u_to_g + m.v_to_g >= -80 && 255 * m.y_scale + 32 - black + 80 * 128 <= 32767 &&
         m.r_bias == chroma_bias(m.v_to_r) && m.b_bias == chroma_bias(m.u_to_b) &&
         m.g_bias == chroma_bias(m.u_to_g + m.v_to_g);
}
static_assert(std::ranges::all_of(kYuvToRgb, fits_lanes));

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

// Columns 0 to width - 1, width a multiple of 32.
template <int channels, ChromaLayout layout>
void yuv_to_rgb_row_pair_avx2(YuvToRgbRows rows, int32_t width, YuvToRgbLanes lanes) {
  const __m256i even_factor = lanes16(lanes.even), odd_factor = lanes16(lanes.odd),
                y_bias = _mm256_set1_epi16(lanes.y_bias);
  const __m256i factor[3] = {lanes16(lanes.chroma[0]), lanes16(lanes.chroma[1]),
                             lanes16(lanes.chroma[2])};
  for (int32_t x = 0; x < width; x += 32) {
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
}

}  // namespace

}  // namespace tavix::module
TAVIX_AVX2_END

namespace tavix::module {

namespace {

template <ChromaLayout layout>
struct YuvToRgbC {
  YuvToRgbJob job;

  template <int channels>
  void row_pair(int32_t c) const {
    yuv_to_rgb_row_pair_c<channels, layout>(job.row_pair(c), 0, whole_pairs(job.width),
                                            job.weights);
  }
};

template <ChromaLayout layout>
struct YuvToRgbAvx2 {
  YuvToRgbJob job;
  YuvToRgbLanes lanes{job.weights};

  template <int channels>
  void row_pair(int32_t c) const {
    const YuvToRgbRows rows = job.row_pair(c);
    const int32_t blocks = job.width & ~31;
    yuv_to_rgb_row_pair_avx2<channels, layout>(rows, blocks, lanes);
    yuv_to_rgb_row_pair_c<channels, layout>(rows, blocks, whole_pairs(job.width), job.weights);
  }
};

// The pixel step is the job's, so that three and four channels share their bodies.
using ParallelConvertNV122BGR = PackedYuvBody<YuvToRgbAvx2<ChromaLayout::kInterleaved>>;
using ParallelConvertYV122BGR = PackedYuvBody<YuvToRgbAvx2<ChromaLayout::kPlanar>>;
using ParallelConvertYV122BGRA = ParallelConvertYV122BGR;
using ParallelConvertNV122BGRCommonC = PackedYuvBody<YuvToRgbC<ChromaLayout::kInterleaved>>;
using ParallelConvertYV122BGRCommonC = PackedYuvBody<YuvToRgbC<ChromaLayout::kPlanar>>;

}  // namespace

void NV122BGR(const YuvToRgbJob &job) {
  run_rows<ParallelConvertNV122BGR, ParallelConvertNV122BGRCommonC>(job.row_pairs(), job);
}

void YV122BGR(const YuvToRgbJob &job) {
  run_rows<ParallelConvertYV122BGR, ParallelConvertYV122BGRCommonC>(job.row_pairs(), job);
}

void YV122BGRA(const YuvToRgbJob &job) {
  run_rows<ParallelConvertYV122BGRA, ParallelConvertYV122BGRCommonC>(job.row_pairs(), job);
}

}  // namespace tavix::module
