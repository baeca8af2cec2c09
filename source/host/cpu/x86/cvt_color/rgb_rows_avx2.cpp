// SPDX-License-Identifier: Apache-2.0
// Vector rows of the packed conversions. What they do to a value is what the portable rows do,
// except: grey is rounded in integers, bytes become floats by a multiplication, and floats become
// bytes by rounding half to even. Pixels that fill no block are done one by one.
#include "cpu/tavix_cvt_color/rgb_pixels.h"
#include "cpu/tavix_cvt_color/rgb_rows.h"
#include "cpu/x86/cvt_color/gather_plan.h"
#include "cpu/x86/prefetch.h"

#include "cpu/x86/cvt_color/float_pixels_avx2.h"

namespace tavix::module {

namespace {

struct ScaledByteToFloat : ByteToFloat {
  static constexpr To convert(From v) { return float(v) * kByteToUnit; }
};

// Byte shuffles take 0x80 where they shall give 0.
constexpr uint8_t shuffle_byte(int index) {
  return index < 0 ? 0x80 : uint8_t(index);
}

// Bytes to bytes: dst_step vectors of two 16-byte lanes each.
template <int src_step, int dst_step, bool swap>
struct BytesPlan {
  static constexpr int kPixels = 32;
  static constexpr GatherPlan<src_step, dst_step, swap, kPixels, 16, 16> kPlan{};

  alignas(32) uint8_t mask[2][dst_step][32] = {};
  alignas(32) uint8_t opaque[dst_step][32] = {};

  constexpr BytesPlan() {
    for (int v = 0; v < dst_step; ++v)
      for (int i = 0; i < 32; ++i) {
        for (int w = 0; w < 2; ++w)
          mask[w][v][i] = shuffle_byte(kPlan.index[w][2 * v + i / 16][i % 16]);
        opaque[v][i] = kPlan.opaque[2 * v + i / 16][i % 16] ? 255 : 0;
      }
  }
};

// Bytes to 32-bit integers: vectors of 8 elements, each from one 16-byte window.
template <int src_step, int dst_step, bool swap>
struct WidenPlan {
  static constexpr int kPixels = 16;
  static constexpr GatherPlan<src_step, dst_step, swap, kPixels, 8, 16> kPlan{};
  static constexpr int kVectors = kPlan.kLanes;
  static_assert(kPlan.windows == 1);

  alignas(32) uint8_t mask[kVectors][32] = {};
  alignas(32) float opaque[kVectors][8] = {};

  constexpr WidenPlan() {
    for (int v = 0; v < kVectors; ++v)
      for (int i = 0; i < 8; ++i) {
        for (int byte = 0; byte < 4; ++byte)
          mask[v][4 * i + byte] = shuffle_byte(byte == 0 ? kPlan.index[0][v][i] : -1);
        opaque[v][i] = kPlan.opaque[v][i] ? 1.0f : 0.0f;
      }
  }
};

// Bytes of 4 pixels in each 16-byte lane to 4 pixels at the start of each lane.
template <int src_step, int dst_step, bool swap>
struct LanePlan {
  static constexpr GatherPlan<src_step, dst_step, swap, 4, 4 * dst_step, 4 * src_step> kPlan{};
  static_assert(kPlan.windows == 1);

  alignas(32) uint8_t mask[32] = {};
  alignas(32) uint8_t opaque[32] = {};

  constexpr LanePlan() {
    for (int i = 0; i < 32; ++i) {
      const bool used = i % 16 < 4 * dst_step;
      mask[i] = shuffle_byte(used ? kPlan.index[0][0][i % 16] : -1);
      opaque[i] = used && kPlan.opaque[0][i % 16] ? 255 : 0;
    }
  }
};

// Floats to floats: dst_step vectors of 8 elements.
template <int src_step, int dst_step, bool swap>
using FloatsPlan = GatherPlan<src_step, dst_step, swap, 8, 8, 8>;

}  // namespace

}  // namespace tavix::module

TAVIX_AVX2_BEGIN

namespace tavix::module {

namespace {

// 32-bit elements in this order; -1 stands for any.
template <int a, int b, int c, int d, int e, int f, int g, int h>
TAVIX_INLINE __m256i reorder(__m256i v) {
  return _mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(a, b, c, d, e, f, g, h));
}

// Blocks first, then the pixels that fill no block. Rows of floats are asked for ahead; rows of bytes,
// and what is written, come in faster unasked.
template <class Block, class Value, int src_step, int dst_step, bool swap>
TAVIX_INLINE void convert_row(const uint8_t *src, uint8_t *dst, int32_t width) {
  constexpr int64_t kSrcPixel = src_step * sizeof(typename Value::From),
                    kDstPixel = dst_step * sizeof(typename Value::To);
  int32_t x = 0;
  for (; x <= width - Block::kPixels; x += Block::kPixels) {
    if constexpr (sizeof(typename Value::From) > 1)
      prefetch<Block::kPixels * kSrcPixel>(src + x * kSrcPixel);
    Block::run(src + x * kSrcPixel, dst + x * kDstPixel);
  }
  for (; x < width; ++x) convert_pixel<Value, src_step, dst_step, swap>(src, dst, x);
}

// 32 pixels; all are read before the first is written.
struct ShuffleBytesRowAvx2 {
  static constexpr bool kFromGray = true;

  template <int src_step, int dst_step, bool swap>
  struct Block {
    using Plan = BytesPlan<src_step, dst_step, swap>;
    static constexpr Plan kMasks{};
    static constexpr int kPixels = Plan::kPixels;

    static TAVIX_INLINE __m256i window(const uint8_t *src, int w, int v) {
      const auto &offset = Plan::kPlan.offset[w];
      return _mm256_shuffle_epi8(load_halves(src + offset[2 * v], src + offset[2 * v + 1]),
                                 load_256(kMasks.mask[w][v]));
    }

    static TAVIX_INLINE void run(const uint8_t *src, uint8_t *dst) {
      __m256i out[dst_step];
#pragma GCC unroll 4
      for (int v = 0; v < dst_step; ++v) {
        out[v] = window(src, 0, v);
        if constexpr (Plan::kPlan.windows == 2) out[v] = _mm256_or_si256(out[v], window(src, 1, v));
        if constexpr (Plan::kPlan.adds_alpha)
          out[v] = _mm256_or_si256(out[v], load_256(kMasks.opaque[v]));
      }
#pragma GCC unroll 4
      for (int v = 0; v < dst_step; ++v) store_256(dst + 32 * v, out[v]);
    }
  };

  template <int src_step, int dst_step, bool swap>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width) {
    convert_row<Block<src_step, dst_step, swap>, ByteToByte, src_step, dst_step, swap>(src, dst,
                                                                                       width);
  }
};

// 8 pixels; all are read before the first is written.
struct ShuffleFloatsRowAvx2 {
  static constexpr bool kFromGray = false;

  template <int src_step, int dst_step, bool swap>
  struct Block {
    static constexpr FloatsPlan<src_step, dst_step, swap> kPlan{};
    static constexpr int kPixels = 8;

    static TAVIX_INLINE __m256 window(const uint8_t *src, int w, int v) {
      return _mm256_permutevar8x32_ps(load_8_floats(src + 4 * kPlan.offset[w][v]),
                                      load_256(kPlan.index[w][v]));
    }

    // Negative indices of the first window select the second one, or alpha.
    static TAVIX_INLINE __m256 gather(const uint8_t *src, int v) {
      const __m256 select = _mm256_castsi256_ps(load_256(kPlan.index[0][v]));
      if constexpr (kPlan.windows == 2)
        return _mm256_blendv_ps(window(src, 0, v), window(src, 1, v), select);
      if constexpr (kPlan.adds_alpha)
        return _mm256_blendv_ps(window(src, 0, v), _mm256_set1_ps(1.0f), select);
      return window(src, 0, v);
    }

    static TAVIX_INLINE void run(const uint8_t *src, uint8_t *dst) {
      __m256 out[dst_step];
#pragma GCC unroll 4
      for (int v = 0; v < dst_step; ++v) out[v] = gather(src, v);
#pragma GCC unroll 4
      for (int v = 0; v < dst_step; ++v) store_8_floats(dst + 32 * v, out[v]);
    }
  };

  template <int src_step, int dst_step, bool swap>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width) {
    convert_row<Block<src_step, dst_step, swap>, FloatToFloat, src_step, dst_step, swap>(src, dst,
                                                                                         width);
  }
};

// 16 pixels. 255 gives exactly 1, so nothing needs a clamp.
struct BytesToFloatsRowAvx2 {
  static constexpr bool kFromGray = true;

  template <int src_step, int dst_step, bool swap>
  struct Block {
    using Plan = WidenPlan<src_step, dst_step, swap>;
    static constexpr Plan kMasks{};
    static constexpr int kPixels = Plan::kPixels;

    static TAVIX_INLINE void run(const uint8_t *src, uint8_t *dst) {
#pragma GCC unroll 8
      for (int v = 0; v < Plan::kVectors; ++v) {
        const __m256i bytes = _mm256_broadcastsi128_si256(load_128(src + Plan::kPlan.offset[0][v]));
        const __m256i wide = _mm256_shuffle_epi8(bytes, load_256(kMasks.mask[v]));
        __m256 out = _mm256_mul_ps(_mm256_cvtepi32_ps(wide), _mm256_set1_ps(kByteToUnit));
        if constexpr (Plan::kPlan.adds_alpha)
          out = _mm256_or_ps(out, _mm256_load_ps(kMasks.opaque[v]));
        store_8_floats(dst + 32 * v, out);
      }
    }
  };

  template <int src_step, int dst_step, bool swap>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width) {
    convert_row<Block<src_step, dst_step, swap>, ScaledByteToFloat, src_step, dst_step, swap>(
        src, dst, width);
  }
};

// 8 pixels, no more: which pixels round half to even is part of the result.
struct FloatsToBytesRowAvx2 {
  static constexpr bool kFromGray = false;

  template <int src_step, int dst_step, bool swap>
  struct Block {
    using Plan = LanePlan<src_step, dst_step, swap>;
    static constexpr Plan kMasks{};
    static constexpr int kPixels = 8;

    static TAVIX_INLINE __m256i scaled(const uint8_t *src, int v) {
      return round_for_packs(_mm256_mul_ps(load_8_floats(src + 32 * v), _mm256_set1_ps(255.0f)));
    }

    static TAVIX_INLINE void run(const uint8_t *src, uint8_t *dst) {
      const __m256i low = _mm256_packs_epi32(scaled(src, 0), scaled(src, 1));
      const __m256i third = scaled(src, 2);
      const __m256i high = _mm256_packs_epi32(third, src_step == 4 ? scaled(src, 3) : third);
      const __m256i packed = _mm256_packus_epi16(low, high);
      __m256i out;
      if constexpr (src_step == dst_step && !swap) {
        out = zip_halves(packed);
      } else {
        // Pixels 0 to 3 into the low lane, pixels 4 to 7 into the high one.
        out = src_step == 4 ? zip_halves(packed) : reorder<0, 4, 1, -1, 5, 2, 6, -1>(packed);
        out = _mm256_shuffle_epi8(out, load_256(kMasks.mask));
        if constexpr (Plan::kPlan.adds_alpha) out = _mm256_or_si256(out, load_256(kMasks.opaque));
        if constexpr (dst_step == 3) out = reorder<0, 1, 2, 4, 5, 6, -1, -1>(out);
      }
      if constexpr (dst_step == 4) {
        store_256(dst, out);
      } else {
        store_128(dst, _mm256_castsi256_si128(out));
        store_64(dst + 16, _mm256_extracti128_si256(out, 1));
      }
    }
  };

  template <int src_step, int dst_step, bool swap>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width) {
    convert_row<Block<src_step, dst_step, swap>, FloatToByte, src_step, dst_step, swap>(src, dst,
                                                                                        width);
  }
};

// Grey = (red R + green G + blue B + 128) >> 8 with the fixed-point weights of BT.601. They sum to
// 256, so the result needs no clamp.
struct BytesToGrayRowAvx2 {
  // Sums of the first two and of the third product of 8 pixels. Samples are taken less 128, in
  // [-128, 127]: pairs lie in [-29056, 28829] or less, and sums of all three, less 32768, in
  // [-32768, 32512].
  template <int src_step, bool r_first>
  static TAVIX_INLINE __m256i biased_pairs(const uint8_t *src) {
    __m256i pixels;
    if constexpr (src_step == 4) {
      pixels = load_256(src);
    } else {
      const __m256i low_first =
          _mm256_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1, 4, 5, 6, -1, 7, 8,
                           9, -1, 10, 11, 12, -1, 13, 14, 15, -1);
      pixels = _mm256_shuffle_epi8(load_halves(src, src + 8), low_first);
    }
    constexpr int kFirst = r_first ? kBt601Gray.fixed_red : kBt601Gray.fixed_blue,
                  kThird = r_first ? kBt601Gray.fixed_blue : kBt601Gray.fixed_red;
    const __m256i weights = _mm256_set1_epi32(kFirst | kBt601Gray.fixed_green << 8 | kThird << 16);
    const __m256i samples = _mm256_xor_si256(pixels, _mm256_set1_epi8(-128));
    return _mm256_maddubs_epi16(weights, samples);
  }

  // (sum + 128) >> 8 of 16 pixels, less 128: in [-128, 127]. Rounding by a multiplication is
  // (128 sum + 2^14) >> 15.
  static TAVIX_INLINE __m256i rounded(__m256i low, __m256i high) {
    return _mm256_mulhrs_epi16(_mm256_hadd_epi16(low, high), _mm256_set1_epi16(128));
  }

  template <int src_step, bool r_first>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width) {
    constexpr int64_t k8 = 8 * src_step;
    int32_t x = 0;
    for (; x <= width - 32; x += 32) {
      const uint8_t *p = src + int64_t(x) * src_step;
      prefetch<32 * src_step>(p);
      prefetch<32>(dst + x);
      const __m256i low =
          rounded(biased_pairs<src_step, r_first>(p), biased_pairs<src_step, r_first>(p + k8));
      const __m256i high = rounded(biased_pairs<src_step, r_first>(p + 2 * k8),
                                   biased_pairs<src_step, r_first>(p + 3 * k8));
      const __m256i gray = _mm256_xor_si256(_mm256_packs_epi16(low, high), _mm256_set1_epi8(-128));
      store_256(dst + x, zip_halves(gray));
    }
    for (; x < width; ++x) {
      const ColourAt<uint8_t, src_step, r_first> p(src, x);
      dst[x] = uint8_t((p.red * kBt601Gray.fixed_red + p.green * kBt601Gray.fixed_green +
                        p.blue * kBt601Gray.fixed_blue + 128) >>
                       8);
    }
  }
};

// Whole groups of 8 pixels, no more: which pixels round half to even is part of the result.
struct FloatsToGrayRowAvx2 {
  struct Weights {
    __m256 red, green, blue;
  };

  template <int src_step, bool r_first>
  static TAVIX_INLINE __m256i gray_8(const uint8_t *src, const Weights &weights) {
    __m256 c[3];
    load_pixels_8<src_step>(src, c);
    const __m256 r = _mm256_mul_ps(c[r_first ? 0 : 2], weights.red);
    const __m256 g = _mm256_mul_ps(c[1], weights.green);
    const __m256 b = _mm256_mul_ps(c[r_first ? 2 : 0], weights.blue);
    const __m256 sum = _mm256_add_ps(_mm256_add_ps(r, g), b);
    return round_for_packs(_mm256_mul_ps(sum, _mm256_set1_ps(255.0f)));
  }

  template <int src_step, bool r_first>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width, const GrayWeights &weights) {
    const Weights w = {_mm256_set1_ps(weights.red), _mm256_set1_ps(weights.green),
                       _mm256_set1_ps(weights.blue)};
    constexpr int64_t k8 = 8 * 4 * src_step;
    int32_t x = 0;
    for (; x <= width - 32; x += 32) {
      const uint8_t *block = src + int64_t(x) * (4 * src_step);
      prefetch<4 * k8>(block);
      prefetch<32>(dst + x);
      const __m256i gray[4] = {gray_8<src_step, r_first>(block, w),
                               gray_8<src_step, r_first>(block + k8, w),
                               gray_8<src_step, r_first>(block + 2 * k8, w),
                               gray_8<src_step, r_first>(block + 3 * k8, w)};
      store_256(dst + x, pack_clamped(gray[0], gray[1], gray[2], gray[3]));
    }
    for (; x <= width - 8; x += 8) {
      const __m256i gray = gray_8<src_step, r_first>(src + int64_t(x) * (4 * src_step), w);
      const __m256i bytes = _mm256_packus_epi16(_mm256_packs_epi32(gray, gray), gray);
      store_64(dst + x, _mm256_castsi256_si128(reorder<0, 4, -1, -1, -1, -1, -1, -1>(bytes)));
    }
    for (; x < width; ++x) dst[x] = float_gray<src_step, r_first>(src, x, weights);
  }
};

}  // namespace

}  // namespace tavix::module

TAVIX_AVX2_END

namespace tavix::module {

constinit const RgbRows kRgbRowsAvx2 = {
    .shuffle_bytes = PackedRows::of<ShuffleBytesRowAvx2>(),
    .shuffle_floats = PackedRows::of<ShuffleFloatsRowAvx2>(),
    .bytes_to_floats = PackedRows::of<BytesToFloatsRowAvx2>(),
    .floats_to_bytes = PackedRows::of<FloatsToBytesRowAvx2>(),
    .bytes_to_gray = GrayRows<PackedRow>::of<BytesToGrayRowAvx2>(),
    .floats_to_gray = GrayRows<WeightedRow>::of<FloatsToGrayRowAvx2>(),
    .bytes_on_all_workers = true,
};

}  // namespace tavix::module
