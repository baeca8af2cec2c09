// SPDX-License-Identifier: Apache-2.0
// Eight pixels of floats, one vector for each channel, and how their samples become bytes. Include
// this header last.
#pragma once

#include <cstdint>

#include "cpu/x86/lanes_avx2.h"

namespace tavix::module {

namespace {

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

}  // namespace

}  // namespace tavix::module

TAVIX_AVX2_BEGIN

namespace tavix::module {

namespace {

// Integers of which the saturating packs to bytes make v clamped to 0..255 and rounded half to
// even, and 0 of NaN: min answers with its second operand then, and NaN and values below int32
// convert to the least integer.
TAVIX_INLINE __m256i round_for_packs(__m256 v) {
  return _mm256_cvtps_epi32(_mm256_min_ps(_mm256_set1_ps(255.0f), v));
}

TAVIX_INLINE __m256i lane_order(const int32_t (&order)[8]) {
  return _mm256_load_si256(reinterpret_cast<const __m256i *>(order));
}

// The first three channels of eight float pixels.
template <int channels>
TAVIX_INLINE void load_pixels_8(const uint8_t *p, __m256 (&c)[3]) {
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
template <int channels>
TAVIX_INLINE void store_pixels_8(uint8_t *p, const __m256 (&c)[3]) {
  if constexpr (channels == 3) {
    __m256 placed[3];
    for (int k = 0; k < 3; ++k)
      placed[k] = _mm256_permutevar8x32_ps(c[k], lane_order(kPermutations3.from_pixel[k]));
    store_8_floats(p, _mm256_blend_ps(_mm256_blend_ps(placed[0], placed[1], lanes_of(0, 1)),
                                      placed[2], lanes_of(0, 2)));
    store_8_floats(p + 32, _mm256_blend_ps(_mm256_blend_ps(placed[0], placed[1], lanes_of(1, 1)),
                                           placed[2], lanes_of(1, 2)));
    store_8_floats(p + 64, _mm256_blend_ps(_mm256_blend_ps(placed[0], placed[1], lanes_of(2, 1)),
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
      store_halves(p + 16 * i, p + 64 + 16 * i, _mm256_castps_si256(pixel[i]));
  }
}

}  // namespace

}  // namespace tavix::module

TAVIX_AVX2_END
