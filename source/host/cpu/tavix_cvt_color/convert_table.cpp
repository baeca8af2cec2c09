// SPDX-License-Identifier: Apache-2.0
// The table of conversions: rules over sets of formats, expanded at compile time. A pair that two
// rules claim does not compile.
#include "common/pixel_format.h"
#include "cpu/tavix_cvt_color/entries.h"

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

constexpr Rule kRules[] = {
#define TAVIX_CONVERSION(kind, entry, driver, from, to) {from, to, entry},
#include "cpu/tavix_cvt_color/conversions.inc"
};

// Empty cells are null.
struct Table {
  ConvertEntry *entries[kFormatCount][kFormatCount] = {};

  constexpr Table() {
    for (uint32_t from = 0; from < kFormatCount; ++from) {
      if (!contains(kNotCopied, from)) entries[from][from] = ColorCopyCommon;
      for (uint32_t to = 0; to < kFormatCount; ++to)
        for (const Rule &rule : kRules) {
          if (from == to || !contains(rule.from, from) || !contains(rule.to, to)) continue;
          if (entries[from][to] != nullptr) throw "two rules claim one pair";
          entries[from][to] = rule.entry;
        }
    }
  }
};

constexpr Table kTable;

}  // namespace

ConvertEntry *convert_entry(uint32_t src_format, uint32_t dst_format) {
  return kTable.entries[src_format][dst_format];
}

}  // namespace tavix::module
