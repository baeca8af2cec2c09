// SPDX-License-Identifier: Apache-2.0
// The rows of tensors with AVX2. Include this header last.
#pragma once

#include <array>

#include "common/copy_bytes.h"
#include "common/independent_iterations.h"
#include "cpu/common_c/blob/element_conversion.h"
#include "cpu/common_c/blob/tensor_rows.h"

#include "cpu/x86/blob/element_lanes_avx2.h"

namespace tavix::module::avx2 {

namespace {

// Orders of the bytes of a 16-byte lane: byte i is taken from order[i].
using ByteOrder = std::array<uint8_t, 16>;

// A lane of packed three-channel pixels holds channel (slot + lane) % 3 in a slot, because it has
// one slot more than a multiple of three. So three lanes have every channel once in each slot, and
// channel c of pixel i stands in slot (3 i + c) modulo the slots.
template <class T>
inline constexpr int kSlots = 16 / sizeof(T);
static_assert(kSlots<uint8_t> % 3 == 1 && kSlots<float> % 3 == 1);

template <class T>
struct SlotOrders {
  alignas(16) ByteOrder plane_from_slots[3] = {}, slots_from_plane[3] = {};

  constexpr SlotOrders() {
    constexpr int kElement = sizeof(T);
    for (int c = 0; c < 3; ++c)
      for (int i = 0; i < 16; ++i) {
        const int from = (3 * (i / kElement) + c) % kSlots<T> * kElement + i % kElement;
        plane_from_slots[c][i] = uint8_t(from);
        slots_from_plane[c][from] = uint8_t(i);
      }
  }
};
template <class T>
constexpr SlotOrders<T> kSlotOrders;

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

// Four by four bytes transposed.
alignas(16) constexpr ByteOrder kTransposed = {0, 4, 8,  12, 1, 5, 9,  13,
                                               2, 6, 10, 14, 3, 7, 11, 15};

}  // namespace

}  // namespace tavix::module::avx2

TAVIX_VECTORS_BEGIN

constexpr int kElements = 4 * kLanes, kWidened = 4 * kLanes;

// ---- Converting. ----

constexpr int32_t kMantissaBits = 23;
constexpr int32_t kPointBias =
    127 + kMantissaBits;  // exponent of a float whose mantissa counts ones

// Low halves of the floats truncated to 64 bits: the mantissa moved to where its point belongs.
// Shifts of more than 31 give 0, as values from 2^63 on, infinities and NaN must.
TAVIX_INLINE __m256i truncate_to_uint32(__m256 floats) {
  const __m256i v = _mm256_castps_si256(floats);
  const __m256i sign = _mm256_srai_epi32(v, 31);
  const __m256i exponent =
      _mm256_and_si256(_mm256_srli_epi32(v, kMantissaBits), _mm256_set1_epi32(0xff));
  const __m256i mantissa = _mm256_or_si256(_mm256_and_si256(v, _mm256_set1_epi32(0x7fffff)),
                                           _mm256_set1_epi32(0x800000));
  const __m256i bias = _mm256_set1_epi32(kPointBias);
  const __m256i magnitude =
      _mm256_or_si256(_mm256_sllv_epi32(mantissa, _mm256_sub_epi32(exponent, bias)),
                      _mm256_srlv_epi32(mantissa, _mm256_sub_epi32(bias, exponent)));
  return _mm256_sub_epi32(_mm256_xor_si256(magnitude, sign), sign);
}

// Four floats truncated to 64 bits; INT64_MIN from 2^63 on and for NaN.
TAVIX_INLINE __m256i truncate_to_int64(__m128 floats) {
  const __m128i v = _mm_castps_si128(floats);
  const __m256i sign = _mm256_cvtepi32_epi64(_mm_srai_epi32(v, 31));
  const __m256i exponent =
      _mm256_cvtepu32_epi64(_mm_and_si128(_mm_srli_epi32(v, kMantissaBits), _mm_set1_epi32(0xff)));
  const __m256i mantissa = _mm256_cvtepu32_epi64(
      _mm_or_si128(_mm_and_si128(v, _mm_set1_epi32(0x7fffff)), _mm_set1_epi32(0x800000)));
  const __m256i bias = _mm256_set1_epi64x(kPointBias);
  const __m256i magnitude =
      _mm256_or_si256(_mm256_sllv_epi64(mantissa, _mm256_sub_epi64(exponent, bias)),
                      _mm256_srlv_epi64(mantissa, _mm256_sub_epi64(bias, exponent)));
  const __m256i too_large = _mm256_cmpgt_epi64(exponent, _mm256_set1_epi64x(127 + 62));
  return _mm256_blendv_epi8(_mm256_sub_epi64(_mm256_xor_si256(magnitude, sign), sign),
                            _mm256_set1_epi64x(INT64_MIN), too_large);
}

// The low bytes of 32 integers, and the low halves of 16, in order; the masks keep the packs from
// saturating.
TAVIX_INLINE __m256i pack_low_8(__m256i a, __m256i b, __m256i c, __m256i d) {
  const __m256i mask = all_of(0xff);
  return pack_clamped(a & mask, b & mask, c & mask, d & mask);
}
TAVIX_INLINE __m256i pack_low_16(__m256i a, __m256i b) {
  const __m256i mask = all_of(0xffff);
  return _mm256_permute4x64_epi64(_mm256_packus_epi32(a & mask, b & mask), 0xd8);
}

template <class To>
TAVIX_INLINE void convert_from_floats(const uint8_t *src, uint8_t *dst) {
  if constexpr (sizeof(To) == 8) {
    for (int k = 0; k < 8; ++k)
      store_256(dst + kBytes * k, truncate_to_int64(load_half(src + kBytes / 2 * k)));
    return;
  }
  const Floats v[4] = {load(src), load(src + kBytes), load(src + 2 * kBytes),
                       load(src + 3 * kBytes)};
  if constexpr (sizeof(To) == 1) {
    store_256(dst, pack_low_8(truncated(v[0]), truncated(v[1]), truncated(v[2]), truncated(v[3])));
  } else if constexpr (sizeof(To) == 2) {
    store_256(dst, pack_low_16(truncated(v[0]), truncated(v[1])));
    store_256(dst + kBytes, pack_low_16(truncated(v[2]), truncated(v[3])));
  } else {
    for (int k = 0; k < 4; ++k)
      store_256(dst + kBytes * k,
                std::is_same_v<To, uint32_t> ? truncate_to_uint32(v[k]) : truncated(v[k]));
  }
}

// ---- Moving channels. A vector is two 16-byte lanes, the lower of the first half of the block's
// pixels, the upper of the second half; both go the same way. ----

TAVIX_INLINE __m256i shuffle_lanes(__m256i v, const ByteOrder &order) {
  return _mm256_shuffle_epi8(v, _mm256_broadcastsi128_si256(load_128(order.data())));
}

// Slots 0, 3, 6... of a, slots 1, 4, 7... of b, slots 2, 5, 8... of c.
template <class T>
TAVIX_INLINE __m256i every_third(__m256i a, __m256i b, __m256i c) {
  if constexpr (sizeof(T) == 1) {
    const __m256i from_b = _mm256_broadcastsi128_si256(
        _mm_setr_epi8(0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0));
    const __m256i from_c = _mm256_broadcastsi128_si256(
        _mm_setr_epi8(0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0));
    return _mm256_blendv_epi8(_mm256_blendv_epi8(a, b, from_b), c, from_c);
  } else {
    return _mm256_blend_epi32(_mm256_blend_epi32(a, b, 0b00100010), c, 0b01000100);
  }
}

// Four by four 32-bit elements within each lane.
TAVIX_INLINE void transpose(__m256i (&v)[4]) {
  const __m256i a = _mm256_unpacklo_epi32(v[0], v[1]), b = _mm256_unpackhi_epi32(v[0], v[1]);
  const __m256i c = _mm256_unpacklo_epi32(v[2], v[3]), d = _mm256_unpackhi_epi32(v[2], v[3]);
  v[0] = _mm256_unpacklo_epi64(a, c), v[1] = _mm256_unpackhi_epi64(a, c);
  v[2] = _mm256_unpacklo_epi64(b, d), v[3] = _mm256_unpackhi_epi64(b, d);
}

// One vector of pixels; at is the byte offset within the planes.
template <class T, int channels, bool past_caches>
TAVIX_INLINE void split_block(const uint8_t *src, uint8_t *const *planes, int64_t at) {
  __m256i v[channels];
  for (int j = 0; j < channels; ++j) v[j] = load_halves(src + 16 * j, src + 16 * (channels + j));
  if constexpr (channels == 3) {
    for (int c = 0; c < 3; ++c)
      put<past_caches>(planes[c] + at,
                       shuffle_lanes(every_third<T>(v[c], v[(c + 2) % 3], v[(c + 1) % 3]),
                                     kSlotOrders<T>.plane_from_slots[c]));
  } else {
    if constexpr (sizeof(T) == 1)
      for (int j = 0; j < 4; ++j) v[j] = shuffle_lanes(v[j], kTransposed);
    transpose(v);
    for (int c = 0; c < 4; ++c) put<past_caches>(planes[c] + at, v[c]);
  }
}

template <class T, int channels, bool past_caches>
TAVIX_INLINE void merge_block(const uint8_t *const *planes, int64_t at, uint8_t *dst) {
  __m256i v[channels];
  if constexpr (channels == 3) {
    __m256i p[3];
    for (int c = 0; c < 3; ++c)
      p[c] = shuffle_lanes(load_256(planes[c] + at), kSlotOrders<T>.slots_from_plane[c]);
    for (int j = 0; j < 3; ++j) v[j] = every_third<T>(p[j], p[(j + 1) % 3], p[(j + 2) % 3]);
  } else {
    for (int c = 0; c < 4; ++c) v[c] = load_256(planes[c] + at);
    transpose(v);
    if constexpr (sizeof(T) == 1)
      for (int j = 0; j < 4; ++j) v[j] = shuffle_lanes(v[j], kTransposed);
  }
  for (int j = 0; j < channels; ++j) store_halves(dst + 16 * j, dst + 16 * (channels + j), v[j]);
}

// Eight pixels of bytes, half of them in each lane.
template <int channels>
TAVIX_INLINE __m256i load_pixels(const uint8_t *src) {
  return channels == 3 ? load_halves(src, src + 8) : load_256(src);
}

// 32 pixels of bytes into planes of 32-bit elements.
template <class T, int channels>
TAVIX_INLINE void widen_block(const uint8_t *src, uint8_t *const *planes, int64_t at) {
  __m256i pixels[4];
  for (int k = 0; k < 4; ++k) pixels[k] = load_pixels<channels>(src + 8 * k * channels);
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
