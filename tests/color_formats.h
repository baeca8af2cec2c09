// SPDX-License-Identifier: Apache-2.0
// The formats of the conversions, by family.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "tavix/core/codes.h"

namespace tavix::test {

inline const std::vector<int32_t> kByteColors = {TAVIX_PIX_FMT_RGB24, TAVIX_PIX_FMT_BGR24,
                                                 TAVIX_PIX_FMT_BGRA32, TAVIX_PIX_FMT_RGBA32};
inline const std::vector<int32_t> kFloatColors = {TAVIX_PIX_FMT_RGBF32, TAVIX_PIX_FMT_BGRF32,
                                                  TAVIX_PIX_FMT_RGBAF32, TAVIX_PIX_FMT_BGRAF32};
inline const std::vector<int32_t> kPackedFormats = {
    TAVIX_PIX_FMT_RGB24,  TAVIX_PIX_FMT_BGR24,   TAVIX_PIX_FMT_GRAY8,
    TAVIX_PIX_FMT_BGRA32, TAVIX_PIX_FMT_RGBA32,  TAVIX_PIX_FMT_RGBF32,
    TAVIX_PIX_FMT_BGRF32, TAVIX_PIX_FMT_RGBAF32, TAVIX_PIX_FMT_BGRAF32};

inline bool is_one_of(const std::vector<int32_t> &formats, int32_t format) {
  return std::find(formats.begin(), formats.end(), format) != formats.end();
}
inline bool is_semi_planar(int32_t format) {
  return format == TAVIX_PIX_FMT_NV12 || format == TAVIX_PIX_FMT_NV21;
}

}  // namespace tavix::test
