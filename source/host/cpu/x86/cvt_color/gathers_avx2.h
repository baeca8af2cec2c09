// SPDX-License-Identifier: Apache-2.0
// How the packed rows bring elements into place: byte shuffles reach 16 bytes. Include this header
// last.
#pragma once

#include "cpu/tavix_cvt_color/rgb_rows.h"
#include "cpu/x86/cvt_color/gather_plan.h"

#include "cpu/x86/cvt_color/samples_avx2.h"

TAVIX_VECTORS_BEGIN

// Byte shuffles take 0x80 where they shall give 0.
constexpr uint8_t shuffle_byte(int index) {
  return index < 0 ? 0x80 : uint8_t(index);
}

// Bytes to vectors whose elements of so many bytes are bytes of the source: either half of a vector
// of bytes has windows of its own, vectors of 32-bit elements have one.
template <int src_step, int dst_step, bool swap, int pixels, int element>
struct ShufflePlan {
  static constexpr int kLanes = element == 1 ? 2 : 1, kLaneBytes = 32 / kLanes;  // of a vector
  static constexpr int kVectors = pixels * dst_step * element / 32;
  static constexpr GatherPlan<src_step, dst_step, swap, pixels, kLaneBytes / element, 16> kPlan{};

  alignas(32) uint8_t mask[2][kVectors][32] = {};
  alignas(32) uint8_t opaque[kVectors][32] = {};

  constexpr ShufflePlan() {
    for (int v = 0; v < kVectors; ++v)
      for (int i = 0; i < 32; ++i) {
        const int lane = kLanes * v + i / kLaneBytes, at = i % kLaneBytes / element;
        const bool low = i % element == 0;
        for (int w = 0; w < 2; ++w)
          mask[w][v][i] = shuffle_byte(low ? kPlan.index[w][lane][at] : -1);
        opaque[v][i] = low && kPlan.opaque[lane][at] ? 255 : 0;
      }
  }
};

// Bytes of 4 pixels in each 16-byte lane to 4 pixels at the start of each lane.
template <int src_step, int dst_step, bool swap>
struct LanePlan {
  alignas(32) uint8_t mask[32] = {};
  alignas(32) uint8_t opaque[32] = {};

  constexpr LanePlan() {
    for (int i = 0; i < 32; ++i) {
      const bool used = i % 16 < 4 * dst_step;
      const int from = source_element(src_step, dst_step, swap, i % 16);
      mask[i] = shuffle_byte(used ? from : -1);
      opaque[i] = used && from == kOpaqueElement ? 255 : 0;
    }
  }
};

// 32-bit elements in this order; -1 stands for any.
template <int a, int b, int c, int d, int e, int f, int g, int h>
TAVIX_INLINE __m256i reorder(__m256i v) {
  return _mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(a, b, c, d, e, f, g, h));
}

template <int src_step, int dst_step, bool swap, int pixels, int element>
struct ShuffledBytes {
  using Plan = ShufflePlan<src_step, dst_step, swap, pixels, element>;
  static constexpr Plan kMasks{};

  static TAVIX_INLINE __m256i window(const uint8_t *src, int w, int v) {
    const uint8_t *const low = src + Plan::kPlan.offset[w][Plan::kLanes * v];
    const uint8_t *const high = src + Plan::kPlan.offset[w][Plan::kLanes * (v + 1) - 1];
    const __m256i bytes =
        Plan::kLanes == 2 ? load_halves(low, high) : _mm256_broadcastsi128_si256(load_128(low));
    return _mm256_shuffle_epi8(bytes, load_256(kMasks.mask[w][v]));
  }

  static TAVIX_INLINE __m256i gather(const uint8_t *src, int v) {
    const __m256i first = window(src, 0, v);
    if constexpr (Plan::kPlan.windows == 2) return first | window(src, 1, v);
    if constexpr (Plan::kPlan.adds_alpha) return first | load_256(kMasks.opaque[v]);
    return first;
  }
};

// Vectors of 32 pixels, and of 16 pixels as 32-bit integers.
template <int src_step, int dst_step, bool swap>
using BytesOf = ShuffledBytes<src_step, dst_step, swap, 32, 1>;
template <int src_step, int dst_step, bool swap>
using WidenedBytesOf = ShuffledBytes<src_step, dst_step, swap, 16, 4>;

// Stores 8 pixels, packed from vectors of 32-bit integers half by half.
template <int src_step, int dst_step, bool swap>
TAVIX_INLINE void store_packed(uint8_t *dst, __m256i packed) {
  static constexpr LanePlan<src_step, dst_step, swap> kMasks{};
  __m256i out = zip_halves(packed);
  if constexpr (src_step != dst_step || swap) {
    // Pixels 0 to 3 into the low lane, pixels 4 to 7 into the high one.
    if constexpr (src_step == 3) out = reorder<0, 4, 1, -1, 5, 2, 6, -1>(packed);
    out = _mm256_shuffle_epi8(out, load_256(kMasks.mask));
    if constexpr (src_step == 3 && dst_step == 4) out = out | load_256(kMasks.opaque);
    if constexpr (dst_step == 3) out = reorder<0, 1, 2, 4, 5, 6, -1, -1>(out);
  }
  if constexpr (dst_step == 4) {
    store_256(dst, out);
  } else {
    store_128(dst, _mm256_castsi256_si128(out));
    store_64(dst + 16, _mm256_extracti128_si256(out, 1));
  }
}

// (sum of three products + 128) >> 8 of 16 pixels, less 128, as words. Samples are taken less 128
// and multiplied by bytes that sum to at most 256: pairs lie in [-29056, 28829] or less, sums of
// all three in [-32768, 32512], results in [-128, 127].
template <int step>
TAVIX_INLINE __m256i weighted_words(const uint8_t *src, __m256i weights) {
  __m256i sums[2];
  for (int i = 0; i < 2; ++i) {
    const uint8_t *p = src + i * 8 * step;
    __m256i pixels;
    if constexpr (step == 4) {
      pixels = load_256(p);
    } else {
      const __m256i low_first =
          _mm256_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1, 4, 5, 6, -1, 7, 8,
                           9, -1, 10, 11, 12, -1, 13, 14, 15, -1);
      pixels = _mm256_shuffle_epi8(load_halves(p, p + 8), low_first);
    }
    sums[i] = _mm256_maddubs_epi16(weights, pixels ^ all_bytes(-128));
  }
  // A rounded shift by 8 is a multiplication: (128 sum + 2^14) >> 15.
  return _mm256_mulhrs_epi16(_mm256_hadd_epi16(sums[0], sums[1]), all_words(128));
}
TAVIX_INLINE __m256i pack_words(__m256i low, __m256i high) {
  return zip_halves(_mm256_packs_epi16(low, high));
}

template <int src_step, bool r_first>
struct GrayWords {
  static TAVIX_INLINE __m256i of(const uint8_t *src) {
    constexpr int kFirst = r_first ? kBt601Gray.fixed_red : kBt601Gray.fixed_blue,
                  kThird = r_first ? kBt601Gray.fixed_blue : kBt601Gray.fixed_red;
    return weighted_words<src_step>(src,
                                    all_of(kFirst | kBt601Gray.fixed_green << 8 | kThird << 16));
  }
};

// Vectors of 8 pixels of floats. Negative indices of the first window select the second one, or
// alpha.
template <int src_step, int dst_step, bool swap>
struct FloatsOf {
  static constexpr GatherPlan<src_step, dst_step, swap, 8, 8, 8> kPlan{};

  static TAVIX_INLINE __m256 window(const uint8_t *src, int w, int v) {
    return _mm256_permutevar8x32_ps(load(src + 4 * kPlan.offset[w][v]),
                                    load_256(kPlan.index[w][v]));
  }

  static TAVIX_INLINE __m256i gather(const uint8_t *src, int v) {
    const __m256 select = _mm256_castsi256_ps(load_256(kPlan.index[0][v]));
    __m256 out = window(src, 0, v);
    if constexpr (kPlan.windows == 2) out = _mm256_blendv_ps(out, window(src, 1, v), select);
    if constexpr (kPlan.adds_alpha) out = _mm256_blendv_ps(out, all_of(1.0f), select);
    return _mm256_castps_si256(out);
  }
};

struct ShuffleFloatsVectorRow {
  template <int src_step, int dst_step, bool swap>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width) {
    using Vectors = FloatsOf<src_step, dst_step, swap>;
    convert_row(GatherBlock<Vectors, 8, 4 * src_step, 4 * dst_step, kAlways>(),
                *kRgbRowsTails.shuffle_floats.find(src_step, dst_step, swap), src, dst, 0, width);
  }
};
constexpr PackedRows kShuffleFloats = PackedRows::of<ShuffleFloatsVectorRow, 3, 4>();

TAVIX_VECTORS_END
