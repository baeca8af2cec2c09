// SPDX-License-Identifier: Apache-2.0
// What a pixel-format code means: one table with one row for each code, and the rules that read it.
// Every rule answers for any 32-bit code; codes without a row answer like TAVIX_PIX_FMT_NONE.
#pragma once

#include <cstdint>
#include <iterator>

#include "tavix/core/codes.h"

namespace tavix::module {

struct FormatTraits {
  int8_t element_size;   // bytes of an RGB-family element, -1 outside the family
  int8_t channels;       // interleaved channels of an RGB-family pixel, 0 outside the family
  bool r_first;          // red before blue
  int8_t float_partner;  // same channel order, the other element type
  int8_t alpha_partner;  // same element type, with alpha
};

inline constexpr uint32_t kFormatCount = 16;

// clang-format off
inline constexpr FormatTraits kFormats[] = {
    // size ch  r_first float alpha
    {    1,  3,  true,   11,   5 },  //  0 RGB24
    {    1,  3,  false,  12,   4 },  //  1 BGR24
    {    1,  1,  false,  15,   4 },  //  2 GRAY8
    {   -1,  0,  false,  16,  16 },  //  3
    {    1,  4,  false,  14,   4 },  //  4 BGRA32
    {    1,  4,  true,   13,   5 },  //  5 RGBA32
    {   -1,  0,  false,  16,  16 },  //  6
    {   -1,  0,  false,  16,  16 },  //  7 NV12
    {   -1,  0,  false,  16,  16 },  //  8 NV21
    {   -1,  0,  false,  16,  16 },  //  9 YV12
    {   -1,  0,  false,  16,  16 },  // 10 I420
    {    4,  3,  true,    0,  13 },  // 11 RGBF32
    {    4,  3,  false,   1,  14 },  // 12 BGRF32
    {    4,  4,  true,    5,  13 },  // 13 RGBAF32
    {    4,  4,  false,   4,  14 },  // 14 BGRAF32
    {    4,  1,  false,   2,  14 },  // 15 GRAYF32
    {   -1,  0,  false,  16,  16 },  // 16 NONE
};
// clang-format on
static_assert(std::size(kFormats) == kFormatCount + 1, "one row for each code, and NONE");

constexpr const FormatTraits &traits(int32_t format) {
  return kFormats[uint32_t(format) < kFormatCount ? uint32_t(format) : kFormatCount];
}

constexpr int32_t element_size(int32_t format) {
  return traits(format).element_size;
}
constexpr bool is_rgb_family(int32_t format) {
  return element_size(format) > 0;
}
constexpr bool is_float(int32_t format) {
  return element_size(format) == 4;
}
constexpr bool is_yuv420(int32_t format) {
  return format >= TAVIX_PIX_FMT_NV12 && format <= TAVIX_PIX_FMT_I420;
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
