// SPDX-License-Identifier: Apache-2.0
// What a pixel-format code means: one table with one row for each code, and the rules that read it.
// Every rule answers for any 32-bit code; codes without a row answer like TAVIX_PIX_FMT_NONE.
#pragma once

#include <cstdint>
#include <iterator>

#include "tavix/core/codes.h"

namespace tavix::module {

// Where the samples of a pixel lie. Of the 4:2:0 layouts, semi-planar ones interleave their chroma
// in plane 1, planar ones have a plane for each sample.
enum class PixelLayout : int8_t { kNone, kPacked, kSemiPlanar, kPlanar };

struct FormatTraits {
  PixelLayout layout;
  int8_t planes;
  int8_t element_size;   // bytes
  int8_t channels;       // interleaved in plane 0 of a packed format, else 0
  bool r_first;          // red before blue
  bool v_first;          // V before U, in a pair of samples or in the order of the planes
  int8_t float_partner;  // same channel order, the other element type
  int8_t alpha_partner;  // same element type, with alpha
};

// What every code without a row means.
inline constexpr int8_t kNone = TAVIX_PIX_FMT_NONE;
inline constexpr FormatTraits kNoFormat = {PixelLayout::kNone, 0, 0, 0, false, false, kNone, kNone};

// clang-format off
inline constexpr FormatTraits kFormats[] = {
    // layout                  planes bytes ch r_first v_first float  alpha
    {PixelLayout::kPacked,      1,     1,    3, true,   false,  11,     5},     //  0 RGB24
    {PixelLayout::kPacked,      1,     1,    3, false,  false,  12,     4},     //  1 BGR24
    {PixelLayout::kPacked,      1,     1,    1, false,  false,  15,     4},     //  2 GRAY8
    kNoFormat,                                                                  //  3
    {PixelLayout::kPacked,      1,     1,    4, false,  false,  14,     4},     //  4 BGRA32
    {PixelLayout::kPacked,      1,     1,    4, true,   false,  13,     5},     //  5 RGBA32
    kNoFormat,                                                                  //  6
    {PixelLayout::kSemiPlanar,  2,     1,    0, false,  false,  kNone,  kNone}, //  7 NV12
    {PixelLayout::kSemiPlanar,  2,     1,    0, false,  true,   kNone,  kNone}, //  8 NV21
    {PixelLayout::kPlanar,      3,     1,    0, false,  true,   kNone,  kNone}, //  9 YV12
    {PixelLayout::kPlanar,      3,     1,    0, false,  false,  kNone,  kNone}, // 10 I420
    {PixelLayout::kPacked,      1,     4,    3, true,   false,   0,    13},     // 11 RGBF32
    {PixelLayout::kPacked,      1,     4,    3, false,  false,   1,    14},     // 12 BGRF32
    {PixelLayout::kPacked,      1,     4,    4, true,   false,   5,    13},     // 13 RGBAF32
    {PixelLayout::kPacked,      1,     4,    4, false,  false,   4,    14},     // 14 BGRAF32
    {PixelLayout::kPacked,      1,     4,    1, false,  false,   2,    14},     // 15 GRAYF32
};
// clang-format on

// Codes are below this; TAVIX_PIX_FMT_NONE is a constant of its own and no format.
inline constexpr uint32_t kFormatCount = std::size(kFormats);

constexpr const FormatTraits &traits(int32_t format) {
  return uint32_t(format) < kFormatCount ? kFormats[format] : kNoFormat;
}

// NONE stays no format when codes go beyond it.
static_assert(traits(TAVIX_PIX_FMT_NONE).layout == PixelLayout::kNone);

constexpr bool is_beyond_formats(int32_t code) {
  // NOLINTNEXTLINE(misc-redundant-expression): not once there are formats beyond NONE
  return code >= int32_t(kFormatCount) || code == TAVIX_PIX_FMT_NONE;
}
constexpr bool is_rgb_family(int32_t format) {
  return traits(format).layout == PixelLayout::kPacked;
}
// Of the RGB family; -1 outside it.
constexpr int32_t element_size(int32_t format) {
  return is_rgb_family(format) ? traits(format).element_size : -1;
}
constexpr bool is_float(int32_t format) {
  return element_size(format) == 4;
}
constexpr bool is_yuv420(int32_t format) {
  return traits(format).layout == PixelLayout::kSemiPlanar ||
         traits(format).layout == PixelLayout::kPlanar;
}
constexpr int32_t float_partner(int32_t format) {
  return traits(format).float_partner;
}
constexpr int32_t alpha_partner(int32_t format) {
  return traits(format).alpha_partner;
}

static_assert(!is_rgb_family(-1) && !is_rgb_family(1 << 30), "any code has an answer");
static_assert(float_partner(4) == 14 && float_partner(5) == 13, "the codes cross on purpose");

}  // namespace tavix::module
