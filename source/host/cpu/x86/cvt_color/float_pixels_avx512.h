// SPDX-License-Identifier: Apache-2.0
// Sixteen pixels of floats, one vector for each channel. Include this header last.
#pragma once

#include <bit>
#include <cstdint>

#include "cpu/x86/lanes_avx512.h"

namespace tavix::module {

namespace {

// Where the first three channels of sixteen pixels lie: in the first two vectors, and the rest of
// them in the others.
template <int channels>
struct PlanePermutations {
  alignas(64) int32_t index[3][16] = {};
  uint16_t behind[3] = {};

  constexpr PlanePermutations() {
    for (int k = 0; k < 3; ++k)
      for (int x = 0; x < 16; ++x) {
        const int at = x * channels + k;
        index[k][x] = at % 32;
        behind[k] = uint16_t(behind[k] | int(at >= 32) << x);
      }
  }
};

// For each vector of pixels, where its floats come from in the first two channels, and which of
// them belong to the third channel, whose floats the same indices name. In the place of a fourth
// channel an index is the pattern of 1.
template <int channels>
struct PixelPermutations {
  alignas(64) int32_t index[channels][16] = {};
  uint16_t third[channels] = {}, colour[channels] = {};

  constexpr PixelPermutations() {
    for (int j = 0; j < channels; ++j)
      for (int i = 0; i < 16; ++i) {
        const int x = (16 * j + i) / channels, c = (16 * j + i) % channels;
        index[j][i] = c == 3 ? std::bit_cast<int32_t>(1.0f) : x + (c == 1 ? 16 : 0);
        third[j] = uint16_t(third[j] | int(c == 2) << i);
        colour[j] = uint16_t(colour[j] | int(c != 3) << i);
      }
  }
};

}  // namespace

}  // namespace tavix::module

TAVIX_AVX512_BEGIN

namespace tavix::module {

namespace {

// The first three channels of sixteen float pixels.
template <int channels>
TAVIX_INLINE void load_pixels_16(const uint8_t *p, __m512 (&c)[3]) {
  static constexpr PlanePermutations<channels> kPlanes{};
  const __m512 v0 = load_16_floats(p), v1 = load_16_floats(p + 64), v2 = load_16_floats(p + 128);
  for (int k = 0; k < 3; ++k) {
    const __m512i index = load_512(kPlanes.index[k]);
    const __m512 front = _mm512_permutex2var_ps(v0, index, v1);
    if constexpr (channels == 3) {
      c[k] = _mm512_mask_permutexvar_ps(front, kPlanes.behind[k], index, v2);
    } else {
      c[k] = _mm512_mask_blend_ps(kPlanes.behind[k], front,
                                  _mm512_permutex2var_ps(v2, index, load_16_floats(p + 192)));
    }
  }
}

// Sixteen float pixels, with a fourth channel of 1.
template <int channels>
TAVIX_INLINE void store_pixels_16(uint8_t *p, const __m512 (&c)[3]) {
  static constexpr PixelPermutations<channels> kPixels{};
  for (int j = 0; j < channels; ++j) {
    const __m512i index = load_512(kPixels.index[j]);
    const __m512 two = channels == 3
                           ? _mm512_permutex2var_ps(c[0], index, c[1])
                           : _mm512_mask2_permutex2var_ps(c[0], index, kPixels.colour[j], c[1]);
    store_16_floats(p + 64 * j, _mm512_mask_permutexvar_ps(two, kPixels.third[j], index, c[2]));
  }
}

}  // namespace

}  // namespace tavix::module

TAVIX_AVX512_END
