// SPDX-License-Identifier: Apache-2.0
// Pixels and the vectors of their channels: eight pixels of floats, 32 of bytes. Include this
// header last.
#pragma once

#include <cstdint>

#include "cpu/x86/cvt_color/samples_avx2.h"

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

// Of three channels, each of 16 pixels with even columns before odd ones: where byte 3 x + k of the
// pixels comes from. Modulo 16, 3 x + k takes every value once, so that one shuffle brings each
// channel into place for all three vectors of pixels; vector j takes the bytes of channel k from
// the positions congruent to k - j.
struct Interleave3 {
  alignas(32) uint8_t order[3][32];
  alignas(32) uint8_t split[3][32];      // the way back, to columns in order
  alignas(32) uint8_t congruent[3][32];  // 0xff where a position is 0, 1, 2 modulo 3

  constexpr Interleave3() : order(), split(), congruent() {
    for (int half = 0; half < 32; half += 16)
      for (int k = 0; k < 3; ++k)
        for (int x = 0; x < 16; ++x) {
          order[k][half + (3 * x + k) % 16] = uint8_t(x % 2 * 8 + x / 2);
          split[k][half + x] = uint8_t((3 * x + k) % 16);
          congruent[k][half + x] = x % 3 == k ? 0xff : 0;
        }
  }
};
constexpr Interleave3 kInterleave3;

TAVIX_INLINE __m256i lane_order(const int32_t (&order)[8]) {
  return _mm256_load_si256(reinterpret_cast<const __m256i *>(order));
}

// The first three channels of eight float pixels.
template <int channels>
TAVIX_INLINE void load_planes(const uint8_t *p, __m256 (&c)[3]) {
  if constexpr (channels == 3) {
    const __m256 v0 = load_8_floats(p), v1 = load_8_floats(p + 32), v2 = load_8_floats(p + 64);
    const __m256 blended[3] = {
        _mm256_blend_ps(_mm256_blend_ps(v0, v1, lanes_of(1, 0)), v2, lanes_of(2, 0)),
        _mm256_blend_ps(_mm256_blend_ps(v0, v1, lanes_of(1, 1)), v2, lanes_of(2, 1)),
        _mm256_blend_ps(_mm256_blend_ps(v0, v1, lanes_of(1, 2)), v2, lanes_of(2, 2))};
    for (int k = 0; k < 3; ++k)
      c[k] = _mm256_permutevar8x32_ps(blended[k], lane_order(kPermutations3.from_lane[k]));
  } else {
    __m256 pixel[4];  // i and 4 + i
    for (int i = 0; i < 4; ++i)
      pixel[i] = _mm256_castsi256_ps(load_halves(p + 16 * i, p + 64 + 16 * i));
    const __m256 low01 = _mm256_unpacklo_ps(pixel[0], pixel[1]),
                 low23 = _mm256_unpacklo_ps(pixel[2], pixel[3]),
                 high01 = _mm256_unpackhi_ps(pixel[0], pixel[1]),
                 high23 = _mm256_unpackhi_ps(pixel[2], pixel[3]);
    c[0] = _mm256_shuffle_ps(low01, low23, _MM_SHUFFLE(1, 0, 1, 0));
    c[1] = _mm256_shuffle_ps(low01, low23, _MM_SHUFFLE(3, 2, 3, 2));
    c[2] = _mm256_shuffle_ps(high01, high23, _MM_SHUFFLE(1, 0, 1, 0));
  }
}

// Eight float pixels, with a fourth channel of 1.
template <int channels, bool past_caches>
TAVIX_INLINE void store_pixels(uint8_t *p, const __m256 (&c)[3]) {
  if constexpr (channels == 3) {
    __m256 placed[3];
    for (int k = 0; k < 3; ++k)
      placed[k] = _mm256_permutevar8x32_ps(c[k], lane_order(kPermutations3.from_pixel[k]));
    put<past_caches>(p, _mm256_blend_ps(_mm256_blend_ps(placed[0], placed[1], lanes_of(0, 1)),
                                        placed[2], lanes_of(0, 2)));
    put<past_caches>(p + 32, _mm256_blend_ps(_mm256_blend_ps(placed[0], placed[1], lanes_of(1, 1)),
                                             placed[2], lanes_of(1, 2)));
    put<past_caches>(p + 64, _mm256_blend_ps(_mm256_blend_ps(placed[0], placed[1], lanes_of(2, 1)),
                                             placed[2], lanes_of(2, 2)));
  } else {
    const __m256 alpha = _mm256_set1_ps(1.0f);
    const __m256 low01 = _mm256_unpacklo_ps(c[0], c[1]), low23 = _mm256_unpacklo_ps(c[2], alpha),
                 high01 = _mm256_unpackhi_ps(c[0], c[1]), high23 = _mm256_unpackhi_ps(c[2], alpha);
    const __m256 pixel[4] = {_mm256_shuffle_ps(low01, low23, _MM_SHUFFLE(1, 0, 1, 0)),
                             _mm256_shuffle_ps(low01, low23, _MM_SHUFFLE(3, 2, 3, 2)),
                             _mm256_shuffle_ps(high01, high23, _MM_SHUFFLE(1, 0, 1, 0)),
                             _mm256_shuffle_ps(high01, high23, _MM_SHUFFLE(3, 2, 3, 2))};
    for (int i = 0; i < 4; ++i)
      store_halves<past_caches>(p + 16 * i, p + 64 + 16 * i, _mm256_castps_si256(pixel[i]));
  }
}

// Bytes of the first of three vectors, but of the others at the positions of each half that are
// congruent to those given.
TAVIX_INLINE __m256i blended(const __m256i (&v)[3], int second, int third) {
  const __m256i two = _mm256_blendv_epi8(v[0], v[1], load_256(kInterleave3.congruent[second % 3]));
  return _mm256_blendv_epi8(two, v[2], load_256(kInterleave3.congruent[third % 3]));
}

// The channels of 32 pixels of bytes.
template <int channels>
TAVIX_INLINE void load_planes(const uint8_t *p, __m256i (&c)[3]) {
  static_assert(channels == 3);
  __m256i v[3];
  for (int j = 0; j < 3; ++j) v[j] = load_halves(p + 16 * j, p + 48 + 16 * j);
  for (int k = 0; k < 3; ++k)
    c[k] = _mm256_shuffle_epi8(blended(v, k + 2, k + 1), load_256(kInterleave3.split[k]));
}

// 32 pixels of bytes, with a fourth channel of 255. Each half of a channel has its even columns
// before its odd ones.
template <int channels, bool past_caches>
TAVIX_INLINE void store_pixels(uint8_t *at, const __m256i (&c)[3]) {
  if constexpr (channels == 3) {
    __m256i placed[3];
    for (int k = 0; k < 3; ++k)
      placed[k] = _mm256_shuffle_epi8(c[k], load_256(kInterleave3.order[k]));
    for (int j = 0; j < 3; ++j)
      store_halves<past_caches>(at + 16 * j, at + 48 + 16 * j, blended(placed, 4 - j, 5 - j));
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
