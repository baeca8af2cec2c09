// SPDX-License-Identifier: Apache-2.0
// 4:2:0 pictures whose chroma is only moved, never computed: repacking among the four formats, and
// grey. Luma is copied as it is, whatever its range.
#pragma once

#include <cstring>

#include "cpu/tavix_cvt_color/yuv420.h"

namespace tavix::module {

// Sizes in pixels. Sample 0 of a source pair becomes sample 0 of a destination pair, planes being
// chosen so; only from interleaved to interleaved the two change places.
struct YuvRepackJob {
  YuvPlanes<const uint8_t> src;
  YuvPlanes<uint8_t> dst;
  int32_t width, height;

  int32_t row_pairs() const { return width > 0 ? height / 2 : 0; }
};

// A row of chroma pairs from one layout to another.
template <ChromaLayout from, ChromaLayout to>
inline void move_chroma_row_c(const uint8_t *const (&src)[2], uint8_t *const (&dst)[2],
                              int32_t begin, int32_t end) {
  constexpr bool swap = from == to && from == ChromaLayout::kInterleaved;
#pragma GCC ivdep
  for (int32_t i = begin; i < end; ++i) {
    const uint8_t first = chroma_at<from>(src, i, swap ? 1 : 0);
    const uint8_t second = chroma_at<from>(src, i, swap ? 0 : 1);
    chroma_at<to>(dst, i, 0) = first;
    chroma_at<to>(dst, i, 1) = second;
  }
}

// Grey to 4:2:0; sizes in pixels.
struct GrayToYuvJob {
  const uint8_t *src;
  int32_t src_linesize;
  YuvPlanes<uint8_t> dst;
  int32_t width, height;
};

}  // namespace tavix::module
