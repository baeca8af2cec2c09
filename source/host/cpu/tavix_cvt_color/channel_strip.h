// SPDX-License-Identifier: Apache-2.0
// A stretch of a packed row with its channels apart, so that plain loops over one channel become
// vector loops on any processor.
#pragma once

#include <cstdint>

#include "common/frame_access.h"
#include "cpu/tavix_cvt_color/yuv420.h"

namespace tavix::module {

inline constexpr int32_t kStripColumns = 256;  // small enough for the first cache, and even

// T is uint8_t or float.
template <class T>
using ChannelStrip = T[3][kStripColumns];

template <int channels, class T>
inline void split_channels_c(const uint8_t *packed, ChannelStrip<T> &strip, int32_t columns) {
  for (int32_t x = 0; x < columns; ++x)
    for (int k = 0; k < 3; ++k) strip[k][x] = load<T>(packed, x * channels + k);
}

// A fourth channel is opaque.
template <int channels, class T>
inline void join_channels_c(const ChannelStrip<T> &strip, uint8_t *packed, int32_t columns) {
  TAVIX_INDEPENDENT_ITERATIONS
  for (int32_t x = 0; x < columns; ++x) {
    if constexpr (channels == 4 && sizeof(T) == 1) {
      store(packed, x,
            uint32_t(strip[0][x]) | uint32_t(strip[1][x]) << 8 | uint32_t(strip[2][x]) << 16 |
                0xff000000);
    } else {
      for (int k = 0; k < 3; ++k) store(packed, x * channels + k, strip[k][x]);
      if constexpr (channels == 4) store(packed, x * channels + 3, T(1));
    }
  }
}

// Both samples of the pairs of a chroma row, from a pair on.
template <ChromaLayout layout>
inline void store_chroma_c(const uint8_t (&samples)[2][kStripColumns / 2],
                           uint8_t *const (&rows)[2], int32_t first_pair, int32_t pairs) {
  TAVIX_INDEPENDENT_ITERATIONS
  for (int32_t p = 0; p < pairs; ++p) {
    chroma_at<layout>(rows, first_pair + p, 0) = samples[0][p];
    chroma_at<layout>(rows, first_pair + p, 1) = samples[1][p];
  }
}

}  // namespace tavix::module
