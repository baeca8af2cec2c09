// SPDX-License-Identifier: Apache-2.0
// Drivers of the packed conversions: all rows of a job that has pixels. Conversions among 8-bit
// formats run on all workers with vector rows, in the calling thread with portable ones; those to
// and from floats always run on all workers.
#pragma once

#include "cpu/tavix_cvt_color/matrices.h"

namespace tavix::module {

// Two planes of one size. Line sizes are bytes, steps elements: 3 or 4, or 1 for grey.
struct PackedJob {
  const uint8_t *src;
  int32_t src_linesize, src_step;
  uint8_t *dst;
  int32_t dst_linesize, dst_step;
  int32_t width, height;
  bool r_first;             // of a source of colour
  bool swap;                // the sides differ in channel order
  const GrayWeights &gray;  // of the source's colour space
};

void shuffle_bytes(const PackedJob &job);
void shuffle_floats(const PackedJob &job);
void bytes_to_floats(const PackedJob &job);
void floats_to_bytes(const PackedJob &job);
void bytes_to_gray(const PackedJob &job);
void floats_to_gray(const PackedJob &job);

// The conversions by name.
inline constexpr auto &BGR2RGB = shuffle_bytes, &BGRA2RGBA = shuffle_bytes,
                      &BGR2BGRA = shuffle_bytes, &BGRA2BGR = shuffle_bytes,
                      &Gray2BGR = shuffle_bytes, &Gray2BGRA = shuffle_bytes;
inline constexpr auto &BGR2Gray = bytes_to_gray, &RGBF322Gray = floats_to_gray;
inline constexpr auto &RGB2BGRF32 = bytes_to_floats, &Gray2BGRF32 = bytes_to_floats;
inline constexpr auto &RGBF322BGR = floats_to_bytes, &RGBF32Family = shuffle_floats;

}  // namespace tavix::module
