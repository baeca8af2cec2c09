// SPDX-License-Identifier: Apache-2.0
// 4:2:0 pictures whose samples are only moved, never computed: repacking among the four formats,
// and grey. Luma is copied as it is, whatever its range.
#pragma once

#include "cpu/tavix_cvt_color/yuv420.h"

namespace tavix::module {

// Sizes in pixels. Sample 0 of a source pair becomes sample 0 of a destination pair, planes being
// chosen so; only from interleaved to interleaved the two change places. A grey source has luma
// only.
struct YuvRepackJob {
  YuvPlanes<const uint8_t> src;
  YuvPlanes<uint8_t> dst;
  int32_t width, height;
};

using MoveChromaRow = void(const uint8_t *const (&src)[2], uint8_t *const (&dst)[2], int32_t pairs);

struct RepackRows {
  MoveChromaRow *move_chroma[2][2];  // from a layout to a layout
  bool on_all_workers;               // or in the calling thread
};

// From planes to planes, at every level.
MoveChromaRow copy_chroma_row_c;

extern const RepackRows kRepackRowsC, kRepackRowsAvx2, kRepackRowsAvx512Vbmi;
const RepackRows &repack_rows();

}  // namespace tavix::module
