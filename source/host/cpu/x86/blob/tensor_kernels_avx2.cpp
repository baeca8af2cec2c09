// SPDX-License-Identifier: Apache-2.0
// The records of tensors and of normalisation with AVX2.
#include "common/numbers.h"
#include "common/row_access.h"
#include "cpu/common_c/blob/tensor_rows.h"

#include "cpu/x86/blob/element_lanes_avx2.h"
#include "cpu/x86/blob/normalize_rows.inc"
#include "cpu/x86/packed_pixels_avx2.h"

namespace tavix::module::avx2 {

namespace {

// Each channel of four pixels of bytes in each lane, as 32-bit integers: -1 makes a zero. Of pixels
// of three bytes, the upper lane starts four bytes early, so that it ends with the pixels.
template <int channels>
struct WideningOrders {
  alignas(32) int8_t order[channels][32] = {};

  constexpr WideningOrders() {
    for (int c = 0; c < channels; ++c)
      for (int i = 0; i < 32; ++i) {
        const int early = channels == 3 && i >= 16 ? 4 : 0;
        order[c][i] = int8_t(i % 4 == 0 ? early + channels * (i % 16 / 4) + c : -1);
      }
  }
};
template <int channels>
constexpr WideningOrders<channels> kWidening;

}  // namespace

}  // namespace tavix::module::avx2

TAVIX_VECTORS_BEGIN

constexpr int kElements = 4 * kLanes, kWidened = 4 * kLanes;

// ---- Converting. ----

// Low halves of the floats truncated to 64 bits: the mantissa moved to where its point belongs.
// Shifts of more than 31 give 0, as values from 2^63 on, infinities and NaN must.
TAVIX_INLINE Ints truncate_to_uint32(Floats floats) {
  const Ints v = bits_of(floats), sign = shift_right<31>(v);
  const Ints exponent = shift_right_32<23>(v) & all_of(0xff);
  const Ints mantissa = (v & all_of(0x7fffff)) | all_of(0x800000);
  const Ints whole = all_of(127 + 23);  // exponent of a float whose mantissa counts ones
  const Ints magnitude = _mm256_sllv_epi32(mantissa, sub(exponent, whole)) |
                         _mm256_srlv_epi32(mantissa, sub(whole, exponent));
  return sub(magnitude ^ sign, sign);
}

template <class To>
TAVIX_INLINE void convert_from_floats(const uint8_t *src, uint8_t *dst) {
  if constexpr (sizeof(To) == 8) {
    // One by one, which is as fast as vectors; INT64_MIN from 2^63 on and for NaN.
    for (int k = 0; k < kElements; ++k)
      module::store(dst, k, int64_t(_mm_cvttss_si64(_mm_set_ss(module::load<float>(src, k)))));
    return;
  }
  Ints v[4];
  for (int k = 0; k < 4; ++k) {
    const Floats floats = load(src + kBytes * k);
    v[k] = std::is_same_v<To, uint32_t> ? truncate_to_uint32(floats) : truncated(floats);
    // Low bytes or halves only, so that the packs do not saturate.
    if constexpr (sizeof(To) < 4) v[k] = v[k] & all_of(sizeof(To) == 1 ? 0xff : 0xffff);
  }
  if constexpr (sizeof(To) == 1) {
    store_256(dst, pack_clamped(v[0], v[1], v[2], v[3]));
  } else if constexpr (sizeof(To) == 2) {
    for (int k = 0; k < 2; ++k)
      store_256(dst + kBytes * k,
                _mm256_permute4x64_epi64(_mm256_packus_epi32(v[2 * k], v[2 * k + 1]), 0xd8));
  } else {
    for (int k = 0; k < 4; ++k) store_256(dst + kBytes * k, v[k]);
  }
}

// ---- Moving channels. ----

// Floats, or integers for bytes.
template <class T>
using VectorOf = decltype(all_of(T()));

// One vector of pixels; at is the byte offset within the planes.
template <class T, int channels, bool past_caches>
TAVIX_INLINE void split_block(const uint8_t *src, uint8_t *const *planes, int64_t at) {
  VectorOf<T> v[channels];
  load_planes<channels>(src, v);
  for (int c = 0; c < channels; ++c) put<past_caches>(planes[c] + at, v[c]);
}

template <class T, int channels, bool past_caches>
TAVIX_INLINE void merge_block(const uint8_t *const *planes, int64_t at, uint8_t *dst) {
  VectorOf<T> v[channels];
  for (int c = 0; c < channels; ++c) v[c] = reinterpret_cast<VectorOf<T>>(load(planes[c] + at));
  store_planes<false>(dst, v);
}

// 32 pixels of bytes into planes of 32-bit elements.
template <class T, int channels>
TAVIX_INLINE void widen_block(const uint8_t *src, uint8_t *const *planes, int64_t at) {
  __m256i pixels[4];  // eight each, half of them in each lane
  for (int k = 0; k < 4; ++k) {
    const uint8_t *const eight = src + 8 * k * channels;
    pixels[k] = channels == 3 ? load_halves(eight, eight + 8) : load_256(eight);
  }
  for (int c = 0; c < channels; ++c)
    for (int k = 0; k < 4; ++k) {
      const Ints elements = _mm256_shuffle_epi8(pixels[k], load_ints(kWidening<channels>.order[c]));
      uint8_t *const plane = planes[c] + at + kBytes * k;
      std::is_same_v<T, float> ? store(plane, as_floats(elements)) : store_ints(plane, elements);
    }
}

template <class T, int channels>
PixelRows short_rows() {
  return {split_pixels_c<T, channels>, merge_pixels_c<T, channels>};
}

#include "cpu/x86/blob/tensor_rows.inc"

TAVIX_VECTORS_END

namespace tavix::module {

constinit const NormalizeRows kNormalizeRowsAvx2 = normalize_rows_of<avx2::NormalizeKernels>();
constinit const TensorRows kTensorRowsAvx2 = tensor_rows_of<avx2::TensorKernels>();

}  // namespace tavix::module
