// SPDX-License-Identifier: Apache-2.0
// Drivers of the packed conversions: rows 0 to height - 1 of a job, on all workers, or without AVX2
// on the calling thread for conversions among 8-bit formats. Nothing is done without pixels.
#pragma once

#include "cpu/tavix_cvt_color/rgb_pixels.h"

namespace tavix::module {

// Two planes of one size. Line sizes are bytes, steps elements: 3 or 4, or 1 for grey.
struct PackedJob {
  const uint8_t *src;
  int32_t src_linesize, src_step;
  uint8_t *dst;
  int32_t dst_linesize, dst_step;
  int32_t width, height;
};

// swap: the sides differ in channel order.
void BGR2RGB(const PackedJob &job, bool swap);
void BGRA2RGBA(const PackedJob &job, bool swap);
void BGR2BGRA(const PackedJob &job, bool swap);
void BGRA2BGR(const PackedJob &job, bool swap);
void Gray2BGR(const PackedJob &job);
void Gray2BGRA(const PackedJob &job);
void BGR2Gray(const PackedJob &job, bool r_first);

void RGB2BGRF32(const PackedJob &job, bool swap);
void Gray2BGRF32(const PackedJob &job);
void RGBF322BGR(const PackedJob &job, bool swap);
void RGBF32Family(const PackedJob &job, bool swap);
void RGBF322Gray(const PackedJob &job, bool r_first, const GrayWeights &weights);

}  // namespace tavix::module
