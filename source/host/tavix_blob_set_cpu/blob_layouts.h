// SPDX-License-Identifier: Apache-2.0
// The converters between frames and blobs: one for each layout and direction, in slot order. NCHW
// and NHWC do work, every other layout has converters that refuse.
#pragma once

#include <array>
#include <cstdint>

#include "tavix/core/records.h"

// The layouts in slot order.
#define TAVIX_WORKING_LAYOUTS(X) X(NCHW) X(NHWC)
#define TAVIX_REFUSED_LAYOUTS(X) \
  X(NHWC4)                       \
  X(NC2HW2)                      \
  X(NC4HW4) X(NC8HW8) X(NC16HW16) X(NCDHW) X(NHC4W4) X(CNH4) X(NDHWC) X(CHW) X(NC) X(SCALAR) X(C)
#define TAVIX_LAYOUTS(X) TAVIX_WORKING_LAYOUTS(X) TAVIX_REFUSED_LAYOUTS(X)

namespace tavix::module {

// Layout codes are two runs, 0 to 8 and 1000 to 1005, folded into the slots of one table.
inline constexpr uint32_t kLayoutSlots = 15;         // slots in use
inline constexpr uint32_t kNoLayout = kLayoutSlots;  // the empty slot of every layout table

// Slot of a layout code; codes 9 to 999 and above 1005 have none.
constexpr uint32_t layout_slot(uint32_t code) {
  if (code < 9) return code;
  return code >= 1000 && code <= 1005 ? code - 991 : kNoLayout;
}

static_assert(layout_slot(8) == 8 && layout_slot(1000) == 9 && layout_slot(1003) == 12);
static_assert(layout_slot(9) == kNoLayout && layout_slot(999) == kNoLayout &&
              layout_slot(1006) == kNoLayout);

using FrameToBlobConverter = int32_t(const TavixFrames *src_frames, const TavixBlob *dst_blob);
using BlobToFrameConverter = int32_t(const TavixBlob *src_blob, const TavixFrames *dst_frames);

#define TAVIX_DECLARE_CONVERTERS(layout)              \
  FrameToBlobConverter FrameHWCToBlob##layout##ByCPU; \
  BlobToFrameConverter Blob##layout##ToFrameHWCByCPU;
TAVIX_LAYOUTS(TAVIX_DECLARE_CONVERTERS)
#undef TAVIX_DECLARE_CONVERTERS

// By slot; the last is empty.
extern const std::array<FrameToBlobConverter *, kLayoutSlots + 1> kFrameToBlobConverters;
extern const std::array<BlobToFrameConverter *, kLayoutSlots + 1> kBlobToFrameConverters;

// Slot of the code itself, unfolded; codes beyond the table have none.
constexpr uint32_t raw_layout_slot(uint32_t code) {
  return code < kNoLayout ? code : kNoLayout;
}

}  // namespace tavix::module
