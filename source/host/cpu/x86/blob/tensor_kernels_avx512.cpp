// SPDX-License-Identifier: Apache-2.0
// The records of tensors and of normalisation with AVX-512, of tensors where there is VBMI besides.
// Moves permute bytes and floats across a whole register; what fills no block is left to AVX2.
#include <array>

#include "common/numbers.h"
#include "common/row_access.h"
#include "cpu/common_c/blob/tensor_rows.h"

#include "cpu/x86/blob/element_lanes_avx512.h"
#include "cpu/x86/blob/normalize_rows.inc"

namespace tavix::module::avx512::vbmi {

namespace {

// Orders of the elements of a vector, as permutations take them.
template <class T>
using Index = std::conditional_t<sizeof(T) == 1, uint8_t, uint32_t>;
template <class T>
inline constexpr int kCount = 64 / int(sizeof(T));
template <class T>
using Order = std::array<Index<T>, kCount<T>>;

// Three vectors in a row, of which a permutation of two takes elements below 2 kCount, and a
// permutation of the third those marked.
template <class T>
struct OrderOfThree {
  alignas(64) Order<T> order{};
  uint64_t third = 0;

  constexpr void take(int i, int from) {
    order[size_t(i)] = Index<T>(from);
    third |= uint64_t(from >= 2 * kCount<T>) << i;
  }
};

// Channel c of packed three-channel pixels.
template <class T>
constexpr OrderOfThree<T> channel_of_three(int c) {
  OrderOfThree<T> order;
  for (int i = 0; i < kCount<T>; ++i) order.take(i, 3 * i + c);
  return order;
}
// Vector j of packed pixels, of the planes of three channels.
template <class T>
constexpr OrderOfThree<T> pixels_of_three(int j) {
  OrderOfThree<T> order;
  for (int i = 0; i < kCount<T>; ++i) {
    const int e = j * kCount<T> + i;
    order.take(i, e % 3 * kCount<T> + e / 3);
  }
  return order;
}
template <class T, int c>
constexpr OrderOfThree<T> kChannelOfThree = channel_of_three<T>(c);
template <class T, int j>
constexpr OrderOfThree<T> kPixelsOfThree = pixels_of_three<T>(j);

// A vector of packed four-channel pixels with one channel in each quarter, and back.
template <class T, bool to_quarters>
constexpr Order<T> quarters() {
  constexpr int kPixels = kCount<T> / 4;
  Order<T> order{};
  for (int i = 0; i < kCount<T>; ++i)
    order[size_t(i)] =
        Index<T>(to_quarters ? i % kPixels * 4 + i / kPixels : i % 4 * kPixels + i / 4);
  return order;
}
template <class T, bool to_quarters>
alignas(64) constexpr Order<T> kQuarters = quarters<T, to_quarters>();

// Channel c of 16 pixels of bytes, as the low bytes of 32-bit lanes.
template <int channels, int c>
constexpr Order<uint8_t> widened_channel() {
  Order<uint8_t> order{};
  for (int x = 0; x < 16; ++x) order[size_t(x) * 4] = uint8_t(channels * x + c);
  return order;
}
template <int channels, int c>
alignas(64) constexpr Order<uint8_t> kWidenedChannel = widened_channel<channels, c>();

}  // namespace

}  // namespace tavix::module::avx512::vbmi

TAVIX_AVX512VBMI_BEGIN

namespace tavix::module::avx512::vbmi {

namespace {

constexpr int kElements = 2 * kLanes;
constexpr int kWidenedVectors = 4;  // one plane after the other gets so many at a time
constexpr int kWidened = kLanes * kWidenedVectors;

// ---- Converting. ----

// The low bits of floats truncated to 32 or 64 bits, as the element keeps them.
template <class To>
TAVIX_INLINE void store_truncated(uint8_t *p, const uint8_t *floats) {
  if constexpr (sizeof(To) == 8 || std::is_same_v<To, uint32_t>) {
    for (int k = 0; k < 2; ++k) {
      const __m512i v = _mm512_cvttps_epi64(load_half(floats + 32 * k));
      if constexpr (sizeof(To) == 8) {
        store_512(p + 64 * k, v);
      } else {
        store_256(p + 32 * k, _mm512_cvtepi64_epi32(v));
      }
    }
  } else if constexpr (sizeof(To) == 4) {
    store_512(p, truncated(load(floats)));
  } else if constexpr (sizeof(To) == 2) {
    store_256(p, _mm512_cvtepi32_epi16(truncated(load(floats))));
  } else {
    store_128(p, _mm512_cvtepi32_epi8(truncated(load(floats))));
  }
}
template <class To>
TAVIX_INLINE void convert_from_floats(const uint8_t *src, uint8_t *dst) {
  store_truncated<To>(dst, src);
  store_truncated<To>(dst + kLanes * int(sizeof(To)), src + kBytes);
}

// ---- Moving channels. ----

template <class T>
TAVIX_INLINE __m512i permute(const Order<T> &order, __m512i v) {
  if constexpr (sizeof(T) == 1) {
    return _mm512_permutexvar_epi8(load_512(order.data()), v);
  } else {
    return _mm512_permutexvar_epi32(load_512(order.data()), v);
  }
}
template <class T>
TAVIX_INLINE __m512i permute(const OrderOfThree<T> &order, const __m512i (&v)[3]) {
  const __m512i index = load_512(order.order.data());
  if constexpr (sizeof(T) == 1) {
    return _mm512_mask_permutexvar_epi8(_mm512_permutex2var_epi8(v[0], index, v[1]), order.third,
                                        index, v[2]);
  } else {
    return _mm512_mask_permutexvar_epi32(_mm512_permutex2var_epi32(v[0], index, v[1]),
                                         __mmask16(order.third), index, v[2]);
  }
}

// Four by four quarters.
TAVIX_INLINE void transpose_quarters(__m512i (&v)[4]) {
  const __m512i a = _mm512_shuffle_i32x4(v[0], v[1], 0x44),
                b = _mm512_shuffle_i32x4(v[0], v[1], 0xee);
  const __m512i c = _mm512_shuffle_i32x4(v[2], v[3], 0x44),
                d = _mm512_shuffle_i32x4(v[2], v[3], 0xee);
  v[0] = _mm512_shuffle_i32x4(a, c, 0x88), v[1] = _mm512_shuffle_i32x4(a, c, 0xdd);
  v[2] = _mm512_shuffle_i32x4(b, d, 0x88), v[3] = _mm512_shuffle_i32x4(b, d, 0xdd);
}

template <class T, int channels, int c>
TAVIX_INLINE void widen_channel(const __m512i (&pixels)[kWidenedVectors], uint8_t *plane) {
  constexpr __mmask64 kLowBytes = 0x1111111111111111;
  const __m512i order = load_512(kWidenedChannel<channels, c>.data());
  for (int k = 0; k < kWidenedVectors; ++k) {
    const __m512i integers = _mm512_maskz_permutexvar_epi8(kLowBytes, order, pixels[k]);
    if constexpr (std::is_same_v<T, float>) {
      store(plane + 64 * k, as_floats(integers));
    } else {
      store_512(plane + 64 * k, integers);
    }
  }
}

// Sixteen pixels of bytes, number k of those of a block, from the first byte on. The last ones of
// three bytes are loaded a quarter early, so that nothing behind the block is touched: a masked
// load takes 1.3 of the time.
template <int channels>
TAVIX_INLINE __m512i load_pixels(const uint8_t *src, int k) {
  if (channels == 4 || k < kWidenedVectors - 1) return load_512(src + 16 * channels * k);
  const __m512i early = load_512(src + 16 * channels * k - 16);
  return _mm512_shuffle_i32x4(early, early, 0x39);
}

template <class T, int channels>
PixelRows short_rows() {
  return (sizeof(T) == 1 ? kTensorRowsAvx2.u8 : kTensorRowsAvx2.f32)[channels];
}

template <class T, int channels, bool past_caches>
TAVIX_INLINE void split_block(const uint8_t *src, uint8_t *const *planes, int64_t at) {
  __m512i v[channels];
  for (int j = 0; j < channels; ++j) v[j] = load_512(src + 64 * j);
  if constexpr (channels == 3) {
    put<past_caches>(planes[0] + at, permute<T>(kChannelOfThree<T, 0>, v));
    put<past_caches>(planes[1] + at, permute<T>(kChannelOfThree<T, 1>, v));
    put<past_caches>(planes[2] + at, permute<T>(kChannelOfThree<T, 2>, v));
  } else {
    for (int j = 0; j < 4; ++j) v[j] = permute<T>(kQuarters<T, true>, v[j]);
    transpose_quarters(v);
    for (int c = 0; c < 4; ++c) put<past_caches>(planes[c] + at, v[c]);
  }
}

template <class T, int channels, bool past_caches>
TAVIX_INLINE void merge_block(const uint8_t *const *planes, int64_t at, uint8_t *dst) {
  __m512i v[channels];
  for (int c = 0; c < channels; ++c) v[c] = load_512(planes[c] + at);
  if constexpr (channels == 3) {
    put<past_caches>(dst, permute<T>(kPixelsOfThree<T, 0>, v));
    put<past_caches>(dst + 64, permute<T>(kPixelsOfThree<T, 1>, v));
    put<past_caches>(dst + 128, permute<T>(kPixelsOfThree<T, 2>, v));
  } else {
    transpose_quarters(v);
    for (int j = 0; j < 4; ++j)
      put<past_caches>(dst + 64 * j, permute<T>(kQuarters<T, false>, v[j]));
  }
}

template <class T, int channels>
TAVIX_INLINE void widen_block(const uint8_t *src, uint8_t *const *planes, int64_t at) {
  __m512i pixels[kWidenedVectors];
  for (int k = 0; k < kWidenedVectors; ++k) pixels[k] = load_pixels<channels>(src, k);
  widen_channel<T, channels, 0>(pixels, planes[0] + at);
  widen_channel<T, channels, 1>(pixels, planes[1] + at);
  widen_channel<T, channels, 2>(pixels, planes[2] + at);
  if constexpr (channels == 4) widen_channel<T, channels, 3>(pixels, planes[3] + at);
}

#include "cpu/x86/blob/tensor_rows.inc"

}  // namespace

}  // namespace tavix::module::avx512::vbmi

TAVIX_AVX512_END

namespace tavix::module {

namespace {

// Floats into floats only stream. Where they come from the second or third cache, vectors of 32
// bytes take 0.92 of the time on Zen 5.
void stream_floats(const uint8_t *src, uint8_t *dst, int64_t n,
                   const NormalizeParameters &parameters) {
  kNormalizeRowsAvx2.by_type[1][1](src, dst, n, parameters);
}

using Kernels = avx512::NormalizeKernels;

}  // namespace

constinit const NormalizeRows kNormalizeRowsAvx512 = {
    {{Kernels::run<uint8_t, uint8_t>, Kernels::run<uint8_t, float>},
     {Kernels::run<float, uint8_t>, stream_floats}}};
constinit const TensorRows kTensorRowsAvx512Vbmi = tensor_rows_of<avx512::vbmi::TensorKernels>();

}  // namespace tavix::module
