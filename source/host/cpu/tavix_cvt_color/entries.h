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

// Packed 8-bit, grey and float formats.
ConvertEntry TavixBGR2RGB, TavixBGR2Gray, TavixBGR2BGRA;
ConvertEntry TavixBGRA2BGR, TavixBGRA2Gray, TavixBGRA2RGBA;
ConvertEntry TavixGray2BGR, TavixGray2BGRA;
ConvertEntry TavixRGB2BGRF32, TavixGray2BGRF32;
ConvertEntry TavixRGBF322BGR, TavixRGBF322Gray, TavixRGBF32Family;

// Into and out of 4:2:0, and among its formats.
ConvertEntry TavixBGR2NV12, TavixBGR2YV12, TavixBGRA2NV12, TavixBGRA2YV12;
ConvertEntry TavixNV122BGR, TavixNV122BGRA, TavixYV122BGR, TavixYV122BGRA;
ConvertEntry TavixGray2NV12, TavixGray2YV12, TavixYUV2Gray;
ConvertEntry TavixNV122NV21, TavixNV122YV12, TavixYV122NV12, TavixYV122I420;
ConvertEntry TavixRGBF322NV12, TavixRGBF322YV12, TavixNV2BGRF32, TavixYUV2BGRF32;

}  // namespace tavix::module
