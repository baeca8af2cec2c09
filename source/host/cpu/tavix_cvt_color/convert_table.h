// SPDX-License-Identifier: Apache-2.0
// Which entry converts which pair of formats.
#pragma once

#include "common/pixel_format.h"
#include "cpu/tavix_cvt_color/entries.h"

namespace tavix::module {

// Entry of a pair of format codes, each below kFormatCount; null when there is no such conversion.
ConvertEntry *convert_entry(uint32_t src_format, uint32_t dst_format);

}  // namespace tavix::module
