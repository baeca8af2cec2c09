// SPDX-License-Identifier: Apache-2.0
// Colour-conversion entries: each refuses frames that its conversion cannot use, and runs one
// driver on the job that the frames make.
#pragma once

#include <cstdint>

#include "tavix/core/records.h"

namespace tavix::module {

using ConvertEntry = int32_t(const TavixFrameV2 *src_frame, TavixFrameV2 *dst_frame);

// Same format on both sides: the core's frame copy.
ConvertEntry ColorCopyCommon;

#define TAVIX_CONVERSION(kind, entry, driver, from, to) ConvertEntry entry;
#include "cpu/tavix_cvt_color/conversions.inc"

// The entry of a pair of format codes, each below kFormatCount; null when there is no such
// conversion.
ConvertEntry *convert_entry(uint32_t src_format, uint32_t dst_format);

}  // namespace tavix::module
