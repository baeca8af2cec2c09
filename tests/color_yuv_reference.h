// SPDX-License-Identifier: Apache-2.0
// What the 4:2:0 conversions compute, one pixel at a time, without a line of the library's.
#pragma once

#include <array>
#include <cstdint>

#include "support/guarded_frame.h"
#include "tavix/core/records.h"

namespace tavix::test {

inline bool is_yuv(int32_t format) {
  return format >= TAVIX_PIX_FMT_NV12 && format <= TAVIX_PIX_FMT_I420;
}
inline bool is_r_first(int32_t format) {
  return format == TAVIX_PIX_FMT_RGB24 || format == TAVIX_PIX_FMT_RGBA32 ||
         format == TAVIX_PIX_FMT_RGBF32 || format == TAVIX_PIX_FMT_RGBAF32;
}

struct ReferenceForward {
  int32_t y[3], u[3], v[3], offset;
  float fy[3], fu[3], fv[3], foffset;
};
struct ReferenceInverse {
  int32_t y, vr, ug, vg, ub, offset;
  float fy, fvr, fug, fvg, fub, foffset;
};

// Index of a matrix: 0, 2, 4 for BT.601, BT.709, BT.2020 in limited range; 1 more in full range.
int reference_matrix(int32_t color_space, int32_t color_range);
extern const ReferenceForward kReferenceForward[6];
extern const ReferenceInverse kReferenceInverse[6];

// One luma value, one chroma value of a block's mean, one pixel of 8-bit arithmetic.
int reference_luma(const ReferenceForward &m, int r, int g, int b);
int reference_chroma(const int32_t (&weights)[3], int r, int g, int b);
std::array<int, 3> reference_pixel(const ReferenceInverse &m, int y, int u, int v);

// One of the four luma samples, and one of the chroma samples, of a 4:2:0 frame.
uint8_t &luma_of(const TavixFrameV2 &frame, int x, int y);
uint8_t &u_of(const TavixFrameV2 &frame, int pair, int row);
uint8_t &v_of(const TavixFrameV2 &frame, int pair, int row);

// Converts, writing what the library is to write and leaving alone what it is to leave alone. One
// of the formats is 4:2:0; vector: as on a processor with AVX2.
void reference_convert(const TavixFrameV2 &src, const TavixFrameV2 &dst, bool vector);

}  // namespace tavix::test
