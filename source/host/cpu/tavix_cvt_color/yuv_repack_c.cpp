// SPDX-License-Identifier: Apache-2.0
// Portable rows that move samples.
#include "cpu/tavix_cvt_color/yuv_repack.h"

#include "common/row_access.h"

namespace tavix::module {

namespace {

constexpr auto kInterleaved = ChromaLayout::kInterleaved;
constexpr auto kPlanar = ChromaLayout::kPlanar;

template <ChromaLayout from, ChromaLayout to>
void move_chroma_row_c(const uint8_t *const (&src)[2], uint8_t *const (&dst)[2], int32_t pairs) {
  constexpr bool swap = from == kInterleaved && to == kInterleaved;
  TAVIX_INDEPENDENT_ITERATIONS
  for (int32_t i = 0; i < pairs; ++i) {
    const uint8_t first = chroma_at<from>(src, i, swap ? 1 : 0);
    const uint8_t second = chroma_at<from>(src, i, swap ? 0 : 1);
    chroma_at<to>(dst, i, 0) = first;
    chroma_at<to>(dst, i, 1) = second;
  }
}

}  // namespace

void copy_chroma_row_c(const uint8_t *const (&src)[2], uint8_t *const (&dst)[2], int32_t pairs) {
  for (int k = 0; k < 2; ++k) copy_bytes(src[k], dst[k], pairs);
}

constinit const RepackRows kRepackRowsC = {
    .move_chroma = {{move_chroma_row_c<kInterleaved, kInterleaved>,
                     move_chroma_row_c<kInterleaved, kPlanar>},
                    {move_chroma_row_c<kPlanar, kInterleaved>, copy_chroma_row_c}},
    .on_all_workers = false,
};

}  // namespace tavix::module
