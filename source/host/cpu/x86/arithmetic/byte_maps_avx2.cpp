// SPDX-License-Identifier: Apache-2.0
// Looks up 32 bytes at once: sixteen shuffles, each of them for one value of the bytes' upper half.
#include "cpu/x86/arithmetic/byte_maps.h"

#include "cpu/x86/packed_pixels_avx2.h"

#include "cpu/x86/arithmetic/arithmetic_blocks.inc"

TAVIX_VECTORS_BEGIN

using Rows = std::array<std::array<uint8_t, 16>, 16>;

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
TAVIX_INLINE void take_apart(__m256i (&)[1]) {}
TAVIX_INLINE void put_together(__m256i (&)[1]) {}

// Byte i of vector j has channel (2 j + i) mod 3. Each vector of a channel keeps the bytes where
// they are; the same selection brings them back.
TAVIX_INLINE void take_apart(__m256i (&v)[3]) {
  alignas(32) static constexpr uint8_t kThird[] = {0, 0, 255, 0, 0, 255, 0, 0, 255, 0, 0, 255,
                                                   0, 0, 255, 0, 0, 255, 0, 0, 255, 0, 0, 255,
                                                   0, 0, 255, 0, 0, 255, 0, 0, 255, 0};
  const __m256i second = load_256(kThird + 1), third = load_256(kThird);
  const __m256i x[3] = {v[0], v[1], v[2]};
  for (int c = 0; c < 3; ++c)
    v[c] = _mm256_blendv_epi8(_mm256_blendv_epi8(x[(3 - c) % 3], x[(4 - c) % 3], second),
                              x[(5 - c) % 3], third);
}
TAVIX_INLINE void put_together(__m256i (&v)[3]) {
  take_apart(v);
}

TAVIX_INLINE void take_apart(__m256i (&v)[4]) {
  transpose_bytes(v);
  transpose(v);
}
TAVIX_INLINE void put_together(__m256i (&v)[4]) {
  transpose(v);
  transpose_bytes(v);
}

// Two vectors of each channel, so that both use a row of the map while it is at hand.
template <int channels>
struct MapBlock {
  const Rows *rows;

  TAVIX_INLINE void block(uint8_t *dst, const uint8_t *src) const {
    constexpr int kHalf = 32 * channels;
    __m256i a[channels], b[channels];
    for (int j = 0; j < channels; ++j)
      a[j] = load_256(src + 32 * j), b[j] = load_256(src + kHalf + 32 * j);
    take_apart(a);
    take_apart(b);
    for (int c = 0; c < channels; ++c) look_up_bytes(rows[c], a[c], b[c]);
    put_together(a);
    put_together(b);
    for (int j = 0; j < channels; ++j)
      store_256(dst + 32 * j, a[j]), store_256(dst + kHalf + 32 * j, b[j]);
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
