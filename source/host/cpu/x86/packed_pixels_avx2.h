// SPDX-License-Identifier: Apache-2.0
// Pixels and the vectors of their channels: eight pixels of 32-bit elements, which move as floats,
// or 32 of bytes. Include this header last.
#pragma once

#include <cstdint>

#include "cpu/x86/vectors_avx2.h"

TAVIX_VECTORS_BEGIN

// Three channels of eight pixels are 24 floats in three vectors: lane j of vector m belongs to
// channel (8 m + j) % 3, and 3 i + k modulo 8, where pixel i keeps channel k, takes every value
// once. Blending by lane and permuting one vector for each channel thus goes both ways.
constexpr int owner(int vector, int lane) {
  return (8 * vector + lane) % 3;
}

// The lanes of a vector that belong to a channel.
consteval int lanes_of(int vector, int channel) {
  int mask = 0;
  for (int lane = 0; lane < 8; ++lane) mask |= (owner(vector, lane) == channel) << lane;
  return mask;
}

struct Permutations3 {
  alignas(32) int32_t from_lane[3][8];   // pixel i of channel k: the lane it is loaded from
  alignas(32) int32_t from_pixel[3][8];  // lane j for channel k: the pixel it stores

  constexpr Permutations3() : from_lane(), from_pixel() {
    for (int k = 0; k < 3; ++k)
      for (int i = 0; i < 8; ++i) {
        from_lane[k][i] = (3 * i + k) % 8;
        from_pixel[k][(3 * i + k) % 8] = i;
      }
  }
};
constexpr Permutations3 kPermutations3;

// Of three channels, each of 16 pixels: where byte 3 x + k of the pixels comes from. Modulo 16, 3 x
// + k takes every value once, so that one shuffle brings each channel into place for all three
// vectors of pixels; vector j takes the bytes of channel k from the positions congruent to k - j.
struct Interleave3 {
  alignas(32) uint8_t order[2][3][32];   // of columns in order, and of even ones before odd ones
  alignas(32) uint8_t split[3][32];      // the way back, to columns in order
  alignas(32) uint8_t congruent[3][32];  // 0xff where a position is 0, 1, 2 modulo 3

  constexpr Interleave3() : order(), split(), congruent() {
    for (int half = 0; half < 32; half += 16)
      for (int k = 0; k < 3; ++k)
        for (int x = 0; x < 16; ++x) {
          order[0][k][half + (3 * x + k) % 16] = uint8_t(x);
          order[1][k][half + (3 * x + k) % 16] = uint8_t(x % 2 * 8 + x / 2);
          split[k][half + x] = uint8_t((3 * x + k) % 16);
          congruent[k][half + x] = x % 3 == k ? 0xff : 0;
        }
  }
};
constexpr Interleave3 kInterleave3;

// Lanes of the first of three vectors, but of the others those that belong to a channel.
template <int second, int third>
TAVIX_INLINE __m256 blended(__m256 a, __m256 b, __m256 c) {
  return _mm256_blend_ps(_mm256_blend_ps(a, b, second), c, third);
}
// Bytes of the first of three vectors, but of the others at the positions of each half that are
// congruent to those given.
TAVIX_INLINE __m256i blended(const __m256i (&v)[3], int second, int third) {
  const __m256i two = _mm256_blendv_epi8(v[0], v[1], load_256(kInterleave3.congruent[second % 3]));
  return _mm256_blendv_epi8(two, v[2], load_256(kInterleave3.congruent[third % 3]));
}

TAVIX_INLINE void load_three(const uint8_t *p, __m256 (&c)[3]) {
  const __m256 v0 = load(p), v1 = load(p + 32), v2 = load(p + 64);
  const __m256 of_channel[3] = {blended<lanes_of(1, 0), lanes_of(2, 0)>(v0, v1, v2),
                                blended<lanes_of(1, 1), lanes_of(2, 1)>(v0, v1, v2),
                                blended<lanes_of(1, 2), lanes_of(2, 2)>(v0, v1, v2)};
  for (int k = 0; k < 3; ++k)
    c[k] = _mm256_permutevar8x32_ps(of_channel[k], load_256(kPermutations3.from_lane[k]));
}
TAVIX_INLINE void load_three(const uint8_t *p, __m256i (&c)[3]) {
  __m256i v[3];
  for (int j = 0; j < 3; ++j) v[j] = load_halves(p + 16 * j, p + 48 + 16 * j);
  for (int k = 0; k < 3; ++k)
    c[k] = _mm256_shuffle_epi8(blended(v, k + 2, k + 1), load_256(kInterleave3.split[k]));
}

template <bool past_caches>
TAVIX_INLINE void store_three(uint8_t *p, const __m256 (&c)[3]) {
  __m256 v[3];
  for (int k = 0; k < 3; ++k)
    v[k] = _mm256_permutevar8x32_ps(c[k], load_256(kPermutations3.from_pixel[k]));
  put<past_caches>(p, blended<lanes_of(0, 1), lanes_of(0, 2)>(v[0], v[1], v[2]));
  put<past_caches>(p + 32, blended<lanes_of(1, 1), lanes_of(1, 2)>(v[0], v[1], v[2]));
  put<past_caches>(p + 64, blended<lanes_of(2, 1), lanes_of(2, 2)>(v[0], v[1], v[2]));
}
template <bool past_caches>
TAVIX_INLINE void store_three(uint8_t *p, const __m256i (&c)[3], bool even_first = false) {
  __m256i v[3];
  for (int k = 0; k < 3; ++k)
    v[k] = _mm256_shuffle_epi8(c[k], load_256(kInterleave3.order[even_first][k]));
  for (int j = 0; j < 3; ++j)
    store_halves<past_caches>(p + 16 * j, p + 48 + 16 * j, blended(v, 4 - j, 5 - j));
}

// Rows and columns exchanged of the four by four 32-bit elements, or bytes, of each half.
TAVIX_INLINE void transpose(__m256i (&v)[4]) {
  const __m256i a = _mm256_unpacklo_epi32(v[0], v[1]), b = _mm256_unpackhi_epi32(v[0], v[1]);
  const __m256i c = _mm256_unpacklo_epi32(v[2], v[3]), d = _mm256_unpackhi_epi32(v[2], v[3]);
  v[0] = _mm256_unpacklo_epi64(a, c), v[1] = _mm256_unpackhi_epi64(a, c);
  v[2] = _mm256_unpacklo_epi64(b, d), v[3] = _mm256_unpackhi_epi64(b, d);
}
TAVIX_INLINE void transpose_bytes(__m256i (&v)[4]) {
  const __m256i order = _mm256_broadcastsi128_si256(
      _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15));
  for (__m256i &x : v) x = _mm256_shuffle_epi8(x, order);
}

// The first n channels of packed pixels, and the other way round.
template <int channels, class Vector, int n>
TAVIX_INLINE void load_planes(const uint8_t *p, Vector (&c)[n]) {
  if constexpr (channels == 3) {
    load_three(p, c);
  } else {
    __m256i v[4];
    for (int j = 0; j < 4; ++j) v[j] = load_halves(p + 16 * j, p + 64 + 16 * j);
    if constexpr (!kIsFloats<Vector>) transpose_bytes(v);
    transpose(v);
    for (int k = 0; k < n; ++k) c[k] = reinterpret_cast<Vector>(v[k]);
  }
}
template <bool past_caches, class Vector, int channels>
TAVIX_INLINE void store_planes(uint8_t *p, const Vector (&c)[channels]) {
  if constexpr (channels == 3) {
    store_three<past_caches>(p, c);
  } else {
    __m256i v[4];
    for (int k = 0; k < 4; ++k) v[k] = reinterpret_cast<__m256i>(c[k]);
    transpose(v);
    if constexpr (!kIsFloats<Vector>) transpose_bytes(v);
    for (int j = 0; j < 4; ++j) store_halves<past_caches>(p + 16 * j, p + 64 + 16 * j, v[j]);
  }
}

// Pixels of three channels and an opaque fourth one.
template <int channels, bool past_caches>
TAVIX_INLINE void store_pixels(uint8_t *p, const __m256 (&c)[3]) {
  if constexpr (channels == 3) {
    store_planes<past_caches>(p, c);
  } else {
    const __m256 all[4] = {c[0], c[1], c[2], all_of(1.0f)};
    store_planes<past_caches>(p, all);
  }
}

// Each half of a channel of bytes has its even columns before its odd ones.
template <int channels, bool past_caches>
TAVIX_INLINE void store_pixels(uint8_t *at, const __m256i (&c)[3]) {
  if constexpr (channels == 3) {
    store_three<past_caches>(at, c, true);
  } else {
    const __m256i alpha = all_bytes(-1);
    const __m256i even01 = _mm256_unpacklo_epi8(c[0], c[1]),
                  odd01 = _mm256_unpackhi_epi8(c[0], c[1]),
                  even23 = _mm256_unpacklo_epi8(c[2], alpha),
                  odd23 = _mm256_unpackhi_epi8(c[2], alpha);
    const __m256i even[2] = {_mm256_unpacklo_epi16(even01, even23),
                             _mm256_unpackhi_epi16(even01, even23)};
    const __m256i odd[2] = {_mm256_unpacklo_epi16(odd01, odd23),
                            _mm256_unpackhi_epi16(odd01, odd23)};
    for (int j = 0; j < 2; ++j) {
      store_halves<past_caches>(at + 32 * j, at + 64 + 32 * j,
                                _mm256_unpacklo_epi32(even[j], odd[j]));
      store_halves<past_caches>(at + 32 * j + 16, at + 80 + 32 * j,
                                _mm256_unpackhi_epi32(even[j], odd[j]));
    }
  }
}

TAVIX_VECTORS_END
