// SPDX-License-Identifier: Apache-2.0
// 8-bit RGB to 4:2:0 in blocks of 32 columns, computed pixel by pixel. Include this header last.
#pragma once

#include "cpu/x86/cvt_color/rgb_to_yuv_lanes.h"

#include "cpu/x86/cvt_color/vectors_avx2.h"

namespace tavix::module::avx2 {

namespace {

// Byte order of four pixels of 3 channels, each in a lane of its own whose fourth byte is 0. The
// high half starts at first_of_high.
struct PixelOrder {
  alignas(32) uint8_t order[32];

  constexpr explicit PixelOrder(int first_of_high) : order() {
    for (int i = 0; i < 32; ++i) {
      const int pixel = i % 16 / 4, channel = i % 4;
      order[i] = channel < 3 ? uint8_t((i < 16 ? 0 : first_of_high) + 3 * pixel + channel) : 0x80;
    }
  }
};
constexpr PixelOrder kPixelOrder(0);

// The last twelve bytes of a block of 3 channels are read as the end of sixteen.
constexpr PixelOrder kLastPixelOrder(4);

// The order that chroma is computed in, and byte orders that lead out of it: within halves for
// pairs, of which the halves then give two in turn, and across all 16 samples for rows.
constexpr int kBlocks[16] = {0, 4, 1, 5, 8, 12, 9, 13, 2, 6, 3, 7, 10, 14, 11, 15};

struct ChromaOrders {
  alignas(32) uint8_t pairs[32];
  alignas(32) uint8_t rows[32];

  constexpr ChromaOrders() : pairs(), rows() {
    for (int from = 0; from < 16; ++from) {
      const int block = kBlocks[from];
      const int to = from / 8 * 16 + block / 4 * 4 + block % 2 * 2;
      for (int i = 0; i < 2; ++i) {
        pairs[to + i] = uint8_t(from % 8 * 2 + i);
        rows[16 * i + block] = uint8_t(from);
      }
    }
  }
};
constexpr ChromaOrders kChromaOrders;

}  // namespace

}  // namespace tavix::module::avx2

TAVIX_AVX2_BEGIN
namespace tavix::module::avx2 {

namespace {

TAVIX_INLINE __m256i lanes32(uint32_t value) {
  return _mm256_set1_epi32(int32_t(value));
}

// Eight pixels, each in a lane of its own; the fourth byte of three channels is 0. The last pixels
// of a block are read without a byte beyond them.
template <int channels, bool last>
TAVIX_INLINE __m256i load_pixels(const uint8_t *p) {
  if constexpr (channels == 4) return load_256(p);
  return _mm256_shuffle_epi8(load_halves(p, p + (last ? 8 : 12)),
                             load_256(last ? kLastPixelOrder.order : kPixelOrder.order));
}

// Even and odd columns of 16 pixels, both in the order 0 4 1 5 2 6 3 7 of their blocks.
struct Columns {
  __m256i even, odd;
};

// low and high are the pixels at p; four channels are read once more, which is cheaper than moving
// them between lanes.
template <int channels>
TAVIX_INLINE Columns split_columns(const uint8_t *p, __m256i low, __m256i high) {
  if constexpr (channels == 4) {
    return {_mm256_blend_epi32(load_256(p), load_256(p + 28), 0xaa),
            _mm256_blend_epi32(load_256(p + 4), load_256(p + 32), 0xaa)};
  } else {
    return {_mm256_blend_epi32(low, _mm256_slli_epi64(high, 32), 0xaa),
            _mm256_blend_epi32(_mm256_srli_epi64(low, 32), high, 0xaa)};
  }
}

// (a + b + c + d) / 4, truncated, of every block. Averages round up: that of a and b is
// (a + b + carry) / 2, the carry the lowest bit of a ^ b. With a carry on either side, or averages
// of an odd sum, the average of the averages is one too many.
TAVIX_INLINE __m256i truncated_means(const Columns &top, const Columns &bottom) {
  const __m256i even = _mm256_avg_epu8(top.even, bottom.even);
  const __m256i odd = _mm256_avg_epu8(top.odd, bottom.odd);
  const __m256i carries = _mm256_or_si256(_mm256_xor_si256(top.even, bottom.even),
                                          _mm256_xor_si256(top.odd, bottom.odd));
  const __m256i excess =
      _mm256_and_si256(_mm256_or_si256(carries, _mm256_xor_si256(even, odd)), _mm256_set1_epi8(1));
  return _mm256_sub_epi8(_mm256_avg_epu8(even, odd), excess);
}

// 16 luma samples, rounded, less 128 and the offset.
TAVIX_INLINE __m256i luma_16(__m256i weights, __m256i low, __m256i high) {
  const __m256i sign = _mm256_set1_epi8(-128);
  const __m256i sums =
      _mm256_hadd_epi16(_mm256_maddubs_epi16(weights, _mm256_xor_si256(low, sign)),
                        _mm256_maddubs_epi16(weights, _mm256_xor_si256(high, sign)));
  return _mm256_mulhrs_epi16(sums, _mm256_set1_epi16(128));  // times 2^-8
}

// 16 samples as words, 256 times their distance from 128 and a fraction, in the order of kBlocks.
TAVIX_INLINE __m256i chroma_16(const __m256i (&means)[2], const ChromaLanes &lanes) {
  const __m256i weights = lanes32(lanes.weights), flip = lanes32(lanes.flip);
  return _mm256_hadds_epi16(_mm256_maddubs_epi16(weights, _mm256_xor_si256(means[0], flip)),
                            _mm256_maddubs_epi16(weights, _mm256_xor_si256(means[1], flip)));
}

// Stores the 16 pairs from column x on.
template <ChromaLayout layout>
TAVIX_INLINE void store_chroma(uint8_t *const (&rows)[2], int32_t x, __m256i first,
                               __m256i second) {
  const __m256i half = _mm256_set1_epi8(-128);
  if constexpr (layout == ChromaLayout::kInterleaved) {
    const __m256i pairs = _mm256_or_si256(
        _mm256_srli_epi16(first, 8), _mm256_and_si256(second, _mm256_set1_epi16(int16_t(0xff00))));
    store_256(rows[0] + x,
              _mm256_xor_si256(
                  zip_halves(_mm256_shuffle_epi8(pairs, load_256(kChromaOrders.pairs))), half));
  } else {
    const __m256i samples =
        _mm256_packs_epi16(_mm256_srai_epi16(first, 8), _mm256_srai_epi16(second, 8));
    const __m256i in_rows = _mm256_permute4x64_epi64(samples, _MM_SHUFFLE(3, 1, 2, 0));
    store_halves(
        rows[0] + x / 2, rows[1] + x / 2,
        _mm256_xor_si256(_mm256_shuffle_epi8(in_rows, load_256(kChromaOrders.rows)), half));
  }
}

// One row pair's 16 columns: words of luma, and the means of 8 blocks.
template <int channels, bool last>
TAVIX_INLINE __m256i convert_16(const uint8_t *top, const uint8_t *bottom, __m256i weights,
                                __m256i (&luma)[2]) {
  constexpr int k8 = 8 * channels;
  const __m256i t[2] = {load_pixels<channels, false>(top), load_pixels<channels, last>(top + k8)};
  const __m256i b[2] = {load_pixels<channels, false>(bottom),
                        load_pixels<channels, last>(bottom + k8)};
  luma[0] = luma_16(weights, t[0], t[1]);
  luma[1] = luma_16(weights, b[0], b[1]);
  const __m256i means = truncated_means(split_columns<channels>(top, t[0], t[1]),
                                        split_columns<channels>(bottom, b[0], b[1]));
  if constexpr (channels == 3) return means;
  return _mm256_and_si256(means, _mm256_set1_epi32(0xffffff));
}

TAVIX_INLINE void store_luma(uint8_t *at, __m256i low, __m256i high, __m256i offset) {
  store_256(at, _mm256_add_epi8(zip_halves(_mm256_packs_epi16(low, high)), offset));
}

template <int channels, ChromaLayout layout>
struct RgbToYuvBlock {
  static constexpr int kColumns = 32;

  const RgbToYuvLanes &lanes;
  __m256i weights, offset;

  explicit TAVIX_INLINE RgbToYuvBlock(const RgbToYuvLanes &lanes_)
      : lanes(lanes_), weights(lanes32(lanes.luma.weights)), offset(all_bytes(lanes.luma.offset)) {}

  TAVIX_INLINE void run(const RgbToYuvRowPair &rows, int32_t x) const {
    const uint8_t *top = rows.packed[0] + int64_t(x) * channels;
    const uint8_t *bottom = rows.packed[1] + int64_t(x) * channels;
    prefetch<32 * channels>(top, kPairAhead);
    prefetch<32 * channels>(bottom, kPairAhead);
    __m256i left[2], right[2];
    const __m256i means[2] = {
        convert_16<channels, false>(top, bottom, weights, left),
        convert_16<channels, true>(top + 16 * channels, bottom + 16 * channels, weights, right)};
    for (int i = 0; i < 2; ++i) store_luma(rows.y[i] + x, left[i], right[i], offset);
    store_chroma<layout>(rows.chroma, x, chroma_16(means, lanes.chroma[0]),
                         chroma_16(means, lanes.chroma[1]));
  }
};

}  // namespace

}  // namespace tavix::module::avx2

TAVIX_AVX2_END
