// SPDX-License-Identifier: Apache-2.0
// The pixel formats: a name for each code, and how its planes lie.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "tavix/core/codes.h"

namespace tavix::core {

// A plane holds pixel_bytes for each sample; subsampled planes have half the columns and rows of
// the frame, odd sizes rounded up.
struct Plane {
  int8_t pixel_bytes;  // 0: the format has no such plane
  bool subsampled;
};

struct PlaneLayout {
  const char *name;
  int8_t format;
  int8_t channels;  // interleaved in plane 0
  Plane planes[3];
};

#define TAVIX_FORMAT(code) #code, code
// clang-format off
inline constexpr PlaneLayout kPlaneLayouts[] = {
    { TAVIX_FORMAT(TAVIX_PIX_FMT_RGB24),   3, {{  3, false}} },
    { TAVIX_FORMAT(TAVIX_PIX_FMT_BGR24),   3, {{  3, false}} },
    { TAVIX_FORMAT(TAVIX_PIX_FMT_GRAY8),   1, {{  1, false}} },
    { TAVIX_FORMAT(TAVIX_PIX_FMT_BGRA32),  4, {{  4, false}} },
    { TAVIX_FORMAT(TAVIX_PIX_FMT_RGBA32),  4, {{  4, false}} },
    { TAVIX_FORMAT(TAVIX_PIX_FMT_NV12),    1, {{  1, false}, {2, true}} },
    { TAVIX_FORMAT(TAVIX_PIX_FMT_NV21),    1, {{  1, false}, {2, true}} },
    { TAVIX_FORMAT(TAVIX_PIX_FMT_YV12),    1, {{  1, false}, {1, true}, {1, true}} },
    { TAVIX_FORMAT(TAVIX_PIX_FMT_I420),    1, {{  1, false}, {1, true}, {1, true}} },
    { TAVIX_FORMAT(TAVIX_PIX_FMT_RGBF32),  3, {{ 12, false}} },
    { TAVIX_FORMAT(TAVIX_PIX_FMT_BGRF32),  3, {{ 12, false}} },
    { TAVIX_FORMAT(TAVIX_PIX_FMT_RGBAF32), 4, {{ 16, false}} },
    { TAVIX_FORMAT(TAVIX_PIX_FMT_BGRAF32), 4, {{ 16, false}} },
    { TAVIX_FORMAT(TAVIX_PIX_FMT_GRAYF32), 1, {{  4, false}} },
};
// clang-format on
#undef TAVIX_FORMAT

// Null for codes without a name.
constexpr const PlaneLayout *plane_layout(int32_t format) {
  const auto *found = std::find_if(std::begin(kPlaneLayouts), std::end(kPlaneLayouts),
                                   [format](const PlaneLayout &l) { return l.format == format; });
  return found == std::end(kPlaneLayouts) ? nullptr : found;
}

// 64-bit: sizes of a record may be anything.
constexpr int64_t plane_rows(const Plane &plane, int32_t height) {
  return plane.subsampled ? (int64_t(height) + 1) / 2 : height;
}
constexpr int64_t plane_row_bytes(const Plane &plane, int32_t width) {
  return (plane.subsampled ? (int64_t(width) + 1) / 2 : width) * plane.pixel_bytes;
}

}  // namespace tavix::core
