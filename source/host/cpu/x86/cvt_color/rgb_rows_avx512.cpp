// SPDX-License-Identifier: Apache-2.0
// Rows of the packed conversions whose bytes and floats are permuted across a whole register, with
// the arithmetic of the AVX2 rows; what fills no block is left to them.
#include "cpu/tavix_cvt_color/rgb_rows.h"
#include "cpu/tavix_cvt_color/sample_values.h"
#include "cpu/x86/cvt_color/gather_plan.h"
#include "cpu/x86/prefetch.h"

#include "cpu/x86/cvt_color/float_pixels_avx512.h"

namespace tavix::module {

namespace {

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
  static constexpr int kPixels = 16, kWindow = src_step == 3 ? 32 : 16 * src_step;
  static constexpr GatherPlan<src_step, dst_step, swap, kPixels, 16, kWindow> kPlan{};
  static constexpr int kVectors = kPlan.kLanes;
  static_assert(kPlan.windows == 1);

  alignas(64) uint8_t index[kVectors][64] = {};
  uint64_t given[kVectors] = {};
  uint16_t opaque[kVectors] = {};

  constexpr WideningPermutations() {
    for (int v = 0; v < kVectors; ++v)
      for (int i = 0; i < 16; ++i) {
        opaque[v] = uint16_t(opaque[v] | int(kPlan.opaque[v][i]) << i);
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

}  // namespace

}  // namespace tavix::module

TAVIX_AVX512VBMI_BEGIN

namespace tavix::module {

namespace {

// 64 pixels; all are read before the first is written.
struct ShuffleBytesRowAvx512 {
  static constexpr bool kFromGray = true;

  template <int src_step, int dst_step, bool swap>
  struct Block {
    using Plan = BytePermutations<src_step, dst_step, swap>;
    static constexpr Plan kPermutations{};

    static TAVIX_INLINE __m512i gather(const uint8_t *src, int v) {
      const auto &offset = Plan::kPlan.offset;
      const __m512i index = load_512(kPermutations.index[v]);
      const __m512i first = load_512(src + offset[0][v]);
      if constexpr (Plan::kPlan.windows == 2)
        return _mm512_permutex2var_epi8(first, index, load_512(src + offset[1][v]));
      if constexpr (Plan::kPlan.adds_alpha)
        return _mm512_mask_permutexvar_epi8(_mm512_set1_epi8(-1), kPermutations.given[v], index,
                                            first);
      return _mm512_permutexvar_epi8(index, first);
    }

    static TAVIX_INLINE void run(const uint8_t *src, uint8_t *dst) {
      __m512i out[dst_step];
#pragma GCC unroll 4
      for (int v = 0; v < dst_step; ++v) out[v] = gather(src, v);
#pragma GCC unroll 4
      for (int v = 0; v < dst_step; ++v) store_512(dst + 64 * v, out[v]);
    }
  };

  template <int src_step, int dst_step, bool swap>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width) {
    int32_t x = 0;
    for (; x <= width - 64; x += 64)
      Block<src_step, dst_step, swap>::run(src + int64_t(x) * src_step,
                                           dst + int64_t(x) * dst_step);
    if (x < width)
      kRgbRowsAvx2.shuffle_bytes(src_step, dst_step, swap)(src + int64_t(x) * src_step,
                                                           dst + int64_t(x) * dst_step, width - x);
  }
};

// Memory bounds these, and wider loads are split by more lines of it.
struct ShuffleFloatsRowAvx512 {
  static constexpr bool kFromGray = false;

  template <int src_step, int dst_step, bool swap>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width) {
    kRgbRowsAvx2.shuffle_floats(src_step, dst_step, swap)(src, dst, width);
  }
};

// 16 pixels. 255 gives exactly 1, so nothing needs a clamp.
struct BytesToFloatsRowAvx512 {
  static constexpr bool kFromGray = true;

  template <int src_step, int dst_step, bool swap>
  struct Block {
    using Plan = WideningPermutations<src_step, dst_step, swap>;
    static constexpr Plan kPermutations{};

    static TAVIX_INLINE __m512i window(const uint8_t *p) {
      if constexpr (Plan::kWindow == 16) return _mm512_castsi128_si512(load_128(p));
      if constexpr (Plan::kWindow == 32) return _mm512_castsi256_si512(load_256(p));
      return load_512(p);
    }

    static TAVIX_INLINE void run(const uint8_t *src, uint8_t *dst) {
#pragma GCC unroll 4
      for (int v = 0; v < Plan::kVectors; ++v) {
        const __m512i wide =
            _mm512_maskz_permutexvar_epi8(kPermutations.given[v], load_512(kPermutations.index[v]),
                                          window(src + Plan::kPlan.offset[0][v]));
        __m512 out = _mm512_cvtepi32_ps(wide);
        if constexpr (Plan::kPlan.adds_alpha) {
          out = _mm512_mask_mul_ps(_mm512_set1_ps(1.0f), __mmask16(~kPermutations.opaque[v]), out,
                                   _mm512_set1_ps(kByteToUnit));
        } else {
          out = _mm512_mul_ps(out, _mm512_set1_ps(kByteToUnit));
        }
        store_16_floats(dst + 64 * v, out);
      }
    }
  };

  template <int src_step, int dst_step, bool swap>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width) {
    constexpr int64_t kDstPixel = 4 * dst_step;
    int32_t x = 0;
    for (; x <= width - 16; x += 16) {
      Block<src_step, dst_step, swap>::run(src + int64_t(x) * src_step, dst + x * kDstPixel);
    }
    if (x < width)
      kRgbRowsAvx2.bytes_to_floats(src_step, dst_step, swap)(src + int64_t(x) * src_step,
                                                             dst + x * kDstPixel, width - x);
  }
};

// 16 pixels. The AVX2 rows take the last whole eight, so that as many round half to even.
struct FloatsToBytesRowAvx512 {
  static constexpr bool kFromGray = false;

  template <int src_step, int dst_step, bool swap>
  struct Block {
    static constexpr PackedPermutation<src_step, dst_step, swap> kPermutation{};

    static TAVIX_INLINE __m512i scaled(const uint8_t *src, int v) {
      return round_16_for_packs(
          _mm512_mul_ps(load_16_floats(src + 64 * v), _mm512_set1_ps(255.0f)));
    }

    static TAVIX_INLINE void run(const uint8_t *src, uint8_t *dst) {
      const __m512i low = _mm512_packs_epi32(scaled(src, 0), scaled(src, 1));
      const __m512i third = scaled(src, 2);
      const __m512i high = _mm512_packs_epi32(third, src_step == 4 ? scaled(src, 3) : third);
      const __m512i out = _mm512_mask_permutexvar_epi8(_mm512_set1_epi8(-1), kPermutation.given,
                                                       load_512(kPermutation.index),
                                                       _mm512_packus_epi16(low, high));
      dst_step == 4 ? store_512(dst, out) : store_384(dst, out);
    }
  };

  template <int src_step, int dst_step, bool swap>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width) {
    constexpr int64_t kSrcPixel = 4 * src_step;
    int32_t x = 0;
    for (; x <= width - 16; x += 16) {
      prefetch<16 * kSrcPixel>(src + x * kSrcPixel);
      Block<src_step, dst_step, swap>::run(src + x * kSrcPixel, dst + int64_t(x) * dst_step);
    }
    if (x < width)
      kRgbRowsAvx2.floats_to_bytes(src_step, dst_step, swap)(
          src + x * kSrcPixel, dst + int64_t(x) * dst_step, width - x);
  }
};

// 64 pixels. Samples are taken less 128, as the AVX2 rows take them.
struct BytesToGrayRowAvx512 {
  struct Weights {
    __m512i first_two, third;
  };

  // (sum + 128) >> 8 of 32 pixels, less 128, as words.
  template <int src_step>
  static TAVIX_INLINE __m512i gray_32(const uint8_t *src, const Weights &w) {
    static constexpr PairPermutations<src_step> kPairs{};
    const __m512i sign = _mm512_set1_epi8(-128);
    const __m512i a = _mm512_xor_si512(load_512(src), sign);
    const __m512i b = _mm512_xor_si512(load_512(src + kPairs.kSecond), sign);
    const __m512i first_two = _mm512_permutex2var_epi8(a, load_512(kPairs.first_two), b);
    const __m512i third = _mm512_permutex2var_epi8(a, load_512(kPairs.third), b);
    const __m512i sum = _mm512_add_epi16(_mm512_maddubs_epi16(w.first_two, first_two),
                                         _mm512_maddubs_epi16(w.third, third));
    return _mm512_mulhrs_epi16(sum, _mm512_set1_epi16(128));
  }

  template <int src_step, bool r_first>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width) {
    constexpr int kFirst = r_first ? kBt601Gray.fixed_red : kBt601Gray.fixed_blue,
                  kThird = r_first ? kBt601Gray.fixed_blue : kBt601Gray.fixed_red;
    const Weights w = {_mm512_set1_epi16(int16_t(kFirst | kBt601Gray.fixed_green << 8)),
                       _mm512_set1_epi16(kThird)};
    int32_t x = 0;
    for (; x <= width - 64; x += 64) {
      const uint8_t *block = src + int64_t(x) * src_step;
      prefetch<64 * src_step>(block);
      const __m512i gray = _mm512_packs_epi16(gray_32<src_step>(block, w),
                                              gray_32<src_step>(block + 32 * src_step, w));
      store_512(dst + x, _mm512_xor_si512(even_then_odd(gray), _mm512_set1_epi8(-128)));
    }
    if (x < width)
      kRgbRowsAvx2.bytes_to_gray(src_step, r_first)(src + int64_t(x) * src_step, dst + x,
                                                    width - x);
  }
};

// 64 pixels. The AVX2 rows take the last whole eight, so that as many round half to even.
struct FloatsToGrayRowAvx512 {
  struct Weights {
    __m512 red, green, blue;
  };

  template <int src_step, bool r_first>
  static TAVIX_INLINE __m512i gray_16(const uint8_t *src, const Weights &weights) {
    __m512 c[3];
    load_pixels_16<src_step>(src, c);
    const __m512 r = _mm512_mul_ps(c[r_first ? 0 : 2], weights.red);
    const __m512 g = _mm512_mul_ps(c[1], weights.green);
    const __m512 b = _mm512_mul_ps(c[r_first ? 2 : 0], weights.blue);
    const __m512 sum = _mm512_add_ps(_mm512_add_ps(r, g), b);
    return round_16_for_packs(_mm512_mul_ps(sum, _mm512_set1_ps(255.0f)));
  }

  template <int src_step, bool r_first>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width, const GrayWeights &weights) {
    const Weights w = {_mm512_set1_ps(weights.red), _mm512_set1_ps(weights.green),
                       _mm512_set1_ps(weights.blue)};
    constexpr int64_t kSrcPixel = 4 * src_step, k16 = 16 * kSrcPixel;
    int32_t x = 0;
    for (; x <= width - 64; x += 64) {
      const uint8_t *block = src + x * kSrcPixel;
      prefetch<4 * k16>(block);
      store_512(dst + x, pack_clamped_64(gray_16<src_step, r_first>(block, w),
                                         gray_16<src_step, r_first>(block + k16, w),
                                         gray_16<src_step, r_first>(block + 2 * k16, w),
                                         gray_16<src_step, r_first>(block + 3 * k16, w)));
    }
    if (x < width)
      kRgbRowsAvx2.floats_to_gray(src_step, r_first)(src + x * kSrcPixel, dst + x, width - x,
                                                     weights);
  }
};

}  // namespace

}  // namespace tavix::module

TAVIX_AVX512_END

namespace tavix::module {

constinit const RgbRows kRgbRowsAvx512Vbmi = {
    .shuffle_bytes = PackedRows::of<ShuffleBytesRowAvx512>(),
    .shuffle_floats = PackedRows::of<ShuffleFloatsRowAvx512>(),
    .bytes_to_floats = PackedRows::of<BytesToFloatsRowAvx512>(),
    .floats_to_bytes = PackedRows::of<FloatsToBytesRowAvx512>(),
    .bytes_to_gray = GrayRows<PackedRow>::of<BytesToGrayRowAvx512>(),
    .floats_to_gray = GrayRows<WeightedRow>::of<FloatsToGrayRowAvx512>(),
    .bytes_on_all_workers = true,
};

}  // namespace tavix::module
