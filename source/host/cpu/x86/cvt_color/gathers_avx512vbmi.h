// SPDX-License-Identifier: Apache-2.0
// How the packed rows bring elements into place: VBMI permutes bytes across two whole registers.
// Include this header last.
#pragma once

#include "cpu/tavix_cvt_color/rgb_rows.h"
#include "cpu/x86/cvt_color/gather_plan.h"

#include "cpu/x86/cvt_color/samples_avx512vbmi.h"

TAVIX_VECTORS_BEGIN

// The plan of a block of bytes with what a permutation of two vectors takes: one index for both
// windows, and which bytes it gives. The others are opaque.
template <int src_step, int dst_step, bool swap>
struct BytePermutations {
  static constexpr GatherPlan<src_step, dst_step, swap, 64, 64, 64> kPlan{};

  alignas(64) uint8_t index[dst_step][64] = {};
  uint64_t given[dst_step] = {};

  constexpr BytePermutations() {
    for (int v = 0; v < dst_step; ++v)
      for (int i = 0; i < 64; ++i) {
        const int first = kPlan.index[0][v][i], second = kPlan.index[1][v][i];
        if (kPlan.opaque[v][i]) continue;
        index[v][i] = uint8_t(first >= 0 ? first : 64 + second);
        given[v] |= uint64_t(1) << i;
      }
  }
};

// Bytes as 32-bit integers: the low byte of each element is one of the source, the others are 0.
template <int src_step, int dst_step, bool swap>
struct WideningPermutations {
  static constexpr int kWindow = src_step == 3 ? 32 : 16 * src_step;
  static constexpr GatherPlan<src_step, dst_step, swap, 16, 16, kWindow> kPlan{};
  static constexpr int kVectors = kPlan.kLanes;
  static_assert(kPlan.windows == 1);

  alignas(64) uint8_t index[kVectors][64] = {};
  alignas(64) int32_t opaque[kVectors][16] = {};
  uint64_t given[kVectors] = {};

  constexpr WideningPermutations() {
    for (int v = 0; v < kVectors; ++v)
      for (int i = 0; i < 16; ++i) {
        opaque[v][i] = kPlan.opaque[v][i] ? 255 : 0;
        if (kPlan.opaque[v][i]) continue;
        index[v][4 * i] = uint8_t(kPlan.index[0][v][i]);
        given[v] |= uint64_t(1) << (4 * i);
      }
  }
};

// Bytes of 16 pixels as the saturating packs leave them, each quarter with four elements of every
// vector, to pixels in order.
template <int src_step, int dst_step, bool swap>
struct PackedPermutation {
  alignas(64) uint8_t index[64] = {};
  uint64_t given = 0;

  constexpr PackedPermutation() {
    for (int i = 0; i < 16 * dst_step; ++i) {
      const int e = source_element(src_step, dst_step, swap, i);
      if (e == kOpaqueElement) continue;
      index[i] = uint8_t(e % 16 / 4 * 16 + e / 16 * 4 + e % 4);
      given |= uint64_t(1) << i;
    }
  }
};

// Of 32 pixels in two windows, the first two channels as pairs, and the third channel as the low
// bytes of pairs.
template <int src_step>
struct PairPermutations {
  static constexpr int kSecond = 32 * src_step - 64;  // where the second window starts

  alignas(64) uint8_t first_two[64] = {}, third[64] = {};

  constexpr PairPermutations() {
    for (int i = 0; i < 64; ++i) {
      first_two[i] = place(i / 2 * src_step + i % 2);
      third[i] = place(i / 2 * src_step + 2);
    }
  }

 private:
  static constexpr uint8_t place(int at) { return uint8_t(at < 64 ? at : 64 + at - kSecond); }
};

// Vectors of 64 pixels.
template <int src_step, int dst_step, bool swap>
struct BytesOf {
  using Plan = BytePermutations<src_step, dst_step, swap>;
  static constexpr Plan kPermutations{};

  static TAVIX_INLINE __m512i gather(const uint8_t *src, int v) {
    const auto &offset = Plan::kPlan.offset;
    const __m512i index = load_512(kPermutations.index[v]);
    const __m512i first = load_512(src + offset[0][v]);
    if constexpr (Plan::kPlan.windows == 2)
      return _mm512_permutex2var_epi8(first, index, load_512(src + offset[1][v]));
    if constexpr (Plan::kPlan.adds_alpha)
      return _mm512_mask_permutexvar_epi8(all_bytes(-1), kPermutations.given[v], index, first);
    return _mm512_permutexvar_epi8(index, first);
  }
};

// Vectors of 16 pixels as 32-bit integers.
template <int src_step, int dst_step, bool swap>
struct WidenedBytesOf {
  using Plan = WideningPermutations<src_step, dst_step, swap>;
  static constexpr Plan kPermutations{};

  static TAVIX_INLINE __m512i window(const uint8_t *p) {
    if constexpr (Plan::kWindow == 16) return _mm512_castsi128_si512(load_128(p));
    if constexpr (Plan::kWindow == 32) return _mm512_castsi256_si512(load_256(p));
    return load_512(p);
  }

  static TAVIX_INLINE __m512i gather(const uint8_t *src, int v) {
    return _mm512_mask_permutexvar_epi8(load_512(kPermutations.opaque[v]), kPermutations.given[v],
                                        load_512(kPermutations.index[v]),
                                        window(src + Plan::kPlan.offset[0][v]));
  }
};

// Stores 16 pixels, packed from vectors of 32-bit integers quarter by quarter.
template <int src_step, int dst_step, bool swap>
TAVIX_INLINE void store_packed(uint8_t *dst, __m512i packed) {
  static constexpr PackedPermutation<src_step, dst_step, swap> kPermutation{};
  const __m512i out = _mm512_mask_permutexvar_epi8(all_bytes(-1), kPermutation.given,
                                                   load_512(kPermutation.index), packed);
  dst_step == 4 ? store_512(dst, out) : store_384(dst, out);
}

// Sums of three products, as words of 32 pixels, with the bounds of the AVX2 rows.
template <int src_step, bool r_first>
struct GrayWords {
  static constexpr PairPermutations<src_step> kPairs{};

  // (sum + 128) >> 8 less 128.
  static TAVIX_INLINE __m512i of(const uint8_t *src) {
    constexpr int kFirst = r_first ? kBt601Gray.fixed_red : kBt601Gray.fixed_blue,
                  kThird = r_first ? kBt601Gray.fixed_blue : kBt601Gray.fixed_red;
    const __m512i sign = all_bytes(-128);
    const __m512i a = load_512(src) ^ sign, b = load_512(src + kPairs.kSecond) ^ sign;
    const __m512i first_two = _mm512_permutex2var_epi8(a, load_512(kPairs.first_two), b);
    const __m512i third = _mm512_permutex2var_epi8(a, load_512(kPairs.third), b);
    const __m512i sum = _mm512_add_epi16(
        _mm512_maddubs_epi16(all_words(kFirst | kBt601Gray.fixed_green << 8), first_two),
        _mm512_maddubs_epi16(all_words(kThird), third));
    return _mm512_mulhrs_epi16(sum, all_words(128));
  }
};
TAVIX_INLINE __m512i pack_words(__m512i low, __m512i high) {
  return even_then_odd(_mm512_packs_epi16(low, high));
}

// Left to the narrower rows: memory bounds these, and wider loads are split by more lines of it.
struct ShuffleFloatsNarrowerRow {
  template <int src_step, int dst_step, bool swap>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width) {
    kRgbRowsAvx2.shuffle_floats.find(src_step, dst_step, swap)(src, dst, width);
  }
};
constexpr PackedRows kShuffleFloats = PackedRows::of<ShuffleFloatsNarrowerRow, 3, 4>();

TAVIX_VECTORS_END
