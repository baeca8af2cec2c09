// SPDX-License-Identifier: Apache-2.0
// Looks up 32 bytes at once: sixteen shuffles, each of them for one value of the bytes' upper half.
#include "cpu/x86/arithmetic/byte_maps.h"

#include "cpu/x86/vectors_avx2.h"

#include "cpu/x86/arithmetic/row_blocks.inc"

TAVIX_VECTORS_BEGIN

using Rows = std::array<std::array<uint8_t, 16>, 16>;

template <int count>
struct Vectors {
  __m256i v[count];
};

// A shuffle gives 0 where the index is negative. Counting down from the bytes by sixteen, row after
// row and with saturation, lets the rows up to their own take part. Bytes from 128 on start out
// negative: the other half of the table counts down from them less 128.
TAVIX_INLINE void look_up_bytes(const Rows &rows, __m256i &a, __m256i &b) {
  __m256i result_a = _mm256_setzero_si256(), result_b = result_a;
  for (int half = 0; half < 2; ++half) {
    const __m256i start = _mm256_set1_epi8(half == 0 ? 0 : INT8_MIN);
    __m256i index_a = a ^ start, index_b = b ^ start;
    for (int k = 0; k < 8; ++k) {
      const __m256i values = _mm256_broadcastsi128_si256(
          _mm_loadu_si128(reinterpret_cast<const __m128i *>(rows[8 * half + k].data())));
      result_a ^= _mm256_shuffle_epi8(values, index_a);
      result_b ^= _mm256_shuffle_epi8(values, index_b);
      index_a = _mm256_subs_epi8(index_a, _mm256_set1_epi8(16));
      index_b = _mm256_subs_epi8(index_b, _mm256_set1_epi8(16));
    }
  }
  a = result_a;
  b = result_b;
}

// Vectors of interleaved channels as vectors of one channel each, and back.
TAVIX_INLINE Vectors<1> by_channel(const Vectors<1> &x) {
  return x;
}
TAVIX_INLINE Vectors<1> interleaved(const Vectors<1> &x) {
  return x;
}

// Byte i of vector j has channel (2 j + i) mod 3. Each vector of a channel keeps the bytes where
// they are; the same selection brings them back.
TAVIX_INLINE Vectors<3> by_channel(const Vectors<3> &x) {
  alignas(32) static constexpr uint8_t kThird[] = {0, 0, 255, 0, 0, 255, 0, 0, 255, 0, 0, 255,
                                                   0, 0, 255, 0, 0, 255, 0, 0, 255, 0, 0, 255,
                                                   0, 0, 255, 0, 0, 255, 0, 0, 255, 0};
  const __m256i second = load_256(kThird + 1), third = load_256(kThird);
  Vectors<3> result;
  for (int c = 0; c < 3; ++c)
    result.v[c] = _mm256_blendv_epi8(_mm256_blendv_epi8(x.v[(3 - c) % 3], x.v[(4 - c) % 3], second),
                                     x.v[(5 - c) % 3], third);
  return result;
}
TAVIX_INLINE Vectors<3> interleaved(const Vectors<3> &x) {
  return by_channel(x);
}

// Rows and columns exchanged: of the 4x4 bytes of each half of a vector, and of the 4x4 words of
// four halves.
TAVIX_INLINE Vectors<4> transpose_bytes(const Vectors<4> &x) {
  const __m256i order = _mm256_broadcastsi128_si256(
      _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15));
  Vectors<4> result;
  for (int j = 0; j < 4; ++j) result.v[j] = _mm256_shuffle_epi8(x.v[j], order);
  return result;
}
TAVIX_INLINE Vectors<4> transpose_words(const Vectors<4> &x) {
  const __m256i low01 = _mm256_unpacklo_epi32(x.v[0], x.v[1]);
  const __m256i low23 = _mm256_unpacklo_epi32(x.v[2], x.v[3]);
  const __m256i high01 = _mm256_unpackhi_epi32(x.v[0], x.v[1]);
  const __m256i high23 = _mm256_unpackhi_epi32(x.v[2], x.v[3]);
  return {{_mm256_unpacklo_epi64(low01, low23), _mm256_unpackhi_epi64(low01, low23),
           _mm256_unpacklo_epi64(high01, high23), _mm256_unpackhi_epi64(high01, high23)}};
}
TAVIX_INLINE Vectors<4> by_channel(const Vectors<4> &x) {
  return transpose_words(transpose_bytes(x));
}
TAVIX_INLINE Vectors<4> interleaved(const Vectors<4> &x) {
  return transpose_bytes(transpose_words(x));
}

template <int channels>
TAVIX_INLINE Vectors<channels> load_channels(const uint8_t *p) {
  Vectors<channels> x;
  for (int j = 0; j < channels; ++j) x.v[j] = load_256(p + 32 * j);
  return x;
}
template <int channels>
TAVIX_INLINE void store_channels(uint8_t *p, const Vectors<channels> &x) {
  for (int j = 0; j < channels; ++j) store_256(p + 32 * j, x.v[j]);
}

// Two vectors of each channel, so that both use a row of the map while it is at hand.
template <int channels>
struct MapBlock {
  const Rows *rows;

  TAVIX_INLINE void block(uint8_t *dst, const uint8_t *src) const {
    constexpr int kHalf = 32 * channels;
    Vectors<channels> a = by_channel(load_channels<channels>(src));
    Vectors<channels> b = by_channel(load_channels<channels>(src + kHalf));
    for (int c = 0; c < channels; ++c) look_up_bytes(rows[c], a.v[c], b.v[c]);
    store_channels<channels>(dst, interleaved(a));
    store_channels<channels>(dst + kHalf, interleaved(b));
  }
};

// Returns the bytes that whole blocks cover.
template <int channels>
int64_t map_blocks(const Rows *rows, const uint8_t *src, uint8_t *dst, int64_t n) {
  const int64_t whole = n - n % (64 * channels);
  run_blocks<64 * channels>(MapBlock<channels>{rows}, whole, dst, src);
  return whole;
}

TAVIX_VECTORS_END

namespace tavix::module {

void ByteMapsAvx2::make_rows() {
  for (int32_t c = 0; c < apart_; ++c)
    for (int32_t row = 0; row < 16; ++row)
      for (int32_t k = 0; k < 16; ++k) {
        const uint8_t value = maps_[c][16 * row + k];
        rows_[c][row][k] = row % 8 == 0 ? value : value ^ maps_[c][16 * (row - 1) + k];
      }
}

void ByteMapsAvx2::map_row(const uint8_t *src, uint8_t *dst, int64_t n) const {
  using namespace avx2;
  int64_t i = apart_ == 1   ? map_blocks<1>(rows_.data(), src, dst, n)
              : apart_ == 3 ? map_blocks<3>(rows_.data(), src, dst, n)
                            : map_blocks<4>(rows_.data(), src, dst, n);
  // A block of its own would cost more than the last samples one by one.
  for (; i < n; i += apart_)
    for (int32_t c = 0; c < apart_ && i + c < n; ++c) dst[i + c] = maps_[c][src[i + c]];
}

}  // namespace tavix::module
