// SPDX-License-Identifier: Apache-2.0
// The table of conversions, written as rules over sets of formats and expanded at compile time. A
// pair that two rules claim does not compile.
#include "cpu/tavix_cvt_color/convert_table.h"

namespace tavix::module {

namespace {

// A set of formats: bit n stands for code n.
using Formats = uint32_t;

template <class... Code>
constexpr Formats set_of(Code... codes) {
  return ((Formats(1) << codes) | ...);
}

constexpr bool contains(Formats set, uint32_t code) {
  return ((set >> code) & 1) != 0;
}

constexpr Formats kRgb = set_of(TAVIX_PIX_FMT_RGB24, TAVIX_PIX_FMT_BGR24);
constexpr Formats kRgba = set_of(TAVIX_PIX_FMT_BGRA32, TAVIX_PIX_FMT_RGBA32);
constexpr Formats kGray = set_of(TAVIX_PIX_FMT_GRAY8);
constexpr Formats kFloat = set_of(TAVIX_PIX_FMT_RGBF32, TAVIX_PIX_FMT_BGRF32, TAVIX_PIX_FMT_RGBAF32,
                                  TAVIX_PIX_FMT_BGRAF32);

constexpr Formats kSemiPlanar = set_of(TAVIX_PIX_FMT_NV12, TAVIX_PIX_FMT_NV21);
constexpr Formats kPlanar = set_of(TAVIX_PIX_FMT_YV12, TAVIX_PIX_FMT_I420);

// Code 6 is left out on purpose: it is not even copied. NONE is no format.
constexpr Formats kNotCopied = set_of(6, TAVIX_PIX_FMT_NONE);

// Every format of one set to every different format of another.
struct Rule {
  Formats from, to;
  ConvertEntry *entry;
};

// clang-format off
constexpr Rule kRules[] = {
    {kRgb,                  kRgb,         TavixBGR2RGB},
    {kRgb,                  kGray,        TavixBGR2Gray},
    {kRgb,                  kRgba,        TavixBGR2BGRA},
    {kRgb,                  kSemiPlanar,  TavixBGR2NV12},
    {kRgb,                  kPlanar,      TavixBGR2YV12},
    {kRgb | kRgba,          kFloat,       TavixRGB2BGRF32},
    {kGray,                 kRgb,         TavixGray2BGR},
    {kGray,                 kRgba,        TavixGray2BGRA},
    {kGray,                 kSemiPlanar,  TavixGray2NV12},
    {kGray,                 kPlanar,      TavixGray2YV12},
    {kGray,                 kFloat,       TavixGray2BGRF32},
    {kRgba,                 kRgb,         TavixBGRA2BGR},
    {kRgba,                 kGray,        TavixBGRA2Gray},
    {kRgba,                 kRgba,        TavixBGRA2RGBA},
    {kRgba,                 kSemiPlanar,  TavixBGRA2NV12},
    {kRgba,                 kPlanar,      TavixBGRA2YV12},
    {kSemiPlanar,           kRgb,         TavixNV122BGR},
    {kSemiPlanar,           kRgba,        TavixNV122BGRA},
    {kSemiPlanar | kPlanar, kGray,        TavixYUV2Gray},
    {kSemiPlanar,           kSemiPlanar,  TavixNV122NV21},
    {kSemiPlanar,           kPlanar,      TavixNV122YV12},
    {kSemiPlanar,           kFloat,       TavixNV2BGRF32},
    {kPlanar,               kRgb,         TavixYV122BGR},
    {kPlanar,               kRgba,        TavixYV122BGRA},
    {kPlanar,               kSemiPlanar,  TavixYV122NV12},
    {kPlanar,               kPlanar,      TavixYV122I420},
    {kPlanar,               kFloat,       TavixYUV2BGRF32},
    {kFloat,                kRgb | kRgba, TavixRGBF322BGR},
    {kFloat,                kGray,        TavixRGBF322Gray},
    {kFloat,                kSemiPlanar,  TavixRGBF322NV12},
    {kFloat,                kPlanar,      TavixRGBF322YV12},
    {kFloat,                kFloat,       TavixRGBF32Family},
};
// clang-format on

// Empty cells are null.
struct Table {
  ConvertEntry *entries[kFormatCount][kFormatCount] = {};
  int copies = 0, conversions = 0;

  constexpr Table() {
    for (uint32_t from = 0; from < kFormatCount; ++from)
      for (uint32_t to = 0; to < kFormatCount; ++to) fill(from, to);
  }

 private:
  constexpr void fill(uint32_t from, uint32_t to) {
    if (from == to) {
      if (contains(kNotCopied, from)) return;
      entries[from][to] = ColorCopyCommon;
      ++copies;
      return;
    }
    int claims = 0;
    for (const Rule &rule : kRules) {
      if (!contains(rule.from, from) || !contains(rule.to, to)) continue;
      entries[from][to] = rule.entry;
      ++conversions;
      if (++claims > 1) throw "two rules claim one pair";
    }
  }
};

constexpr Table kTable;
static_assert(kTable.copies == 15 && kTable.conversions == 156);

}  // namespace

ConvertEntry *convert_entry(uint32_t src_format, uint32_t dst_format) {
  return kTable.entries[src_format][dst_format];
}

}  // namespace tavix::module
