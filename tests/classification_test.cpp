// SPDX-License-Identifier: Apache-2.0
// What pixel-format and layout codes mean: every rule for every code, written out a second time.
#include <gtest/gtest.h>

#include <climits>
#include <map>
#include <set>

#include "../core/plane_layout.h"
#include "common/log.h"
#include "common/pixel_format.h"
#include "support/sweep.h"
#include "tavix_blob_set_cpu/blob_layouts.h"

namespace tavix::module {
namespace {

using test::numbers;

std::vector<int32_t> codes() {
  std::vector<int32_t> list = numbers(-1, 40);
  list.insert(list.end(), {255, 256, 267, 1 << 30, (1 << 30) + 11, INT_MIN, INT_MIN + 1, INT_MAX});
  return list;
}

int32_t lookup(const std::map<int32_t, int32_t> &answers, int32_t code, int32_t otherwise) {
  const auto found = answers.find(code);
  return found == answers.end() ? otherwise : found->second;
}

TEST(PixelFormat, ElementSizeAndFamily) {
  const std::map<int32_t, int32_t> sizes = {{0, 1},  {1, 1},  {2, 1},  {4, 1},  {5, 1},
                                            {11, 4}, {12, 4}, {13, 4}, {14, 4}, {15, 4}};
  for (const int32_t code : codes()) {
    EXPECT_EQ(element_size(code), lookup(sizes, code, -1)) << code;
    EXPECT_EQ(is_rgb_family(code), sizes.contains(code)) << code;
    EXPECT_EQ(is_float(code), code >= 11 && code < 16) << code;
  }
}

TEST(PixelFormat, FloatPartner) {
  const std::map<int32_t, int32_t> partners = {{0, 11}, {11, 0}, {1, 12}, {12, 1}, {2, 15},
                                               {15, 2}, {4, 14}, {14, 4}, {5, 13}, {13, 5}};
  for (const int32_t code : codes())
    EXPECT_EQ(float_partner(code), lookup(partners, code, 16)) << code;
}

TEST(PixelFormat, AlphaPartner) {
  const std::map<int32_t, int32_t> partners = {{0, 5},   {5, 5},   {1, 4},   {2, 4},   {4, 4},
                                               {11, 13}, {13, 13}, {12, 14}, {14, 14}, {15, 14}};
  for (const int32_t code : codes())
    EXPECT_EQ(alpha_partner(code), lookup(partners, code, 16)) << code;
}

TEST(PixelFormat, ChannelsAndOrder) {
  const std::map<int32_t, int32_t> channels = {{0, 3},  {1, 3},  {2, 1},  {4, 4},  {5, 4},
                                               {11, 3}, {12, 3}, {13, 4}, {14, 4}, {15, 1}};
  const std::set<int32_t> red_first = {TAVIX_PIX_FMT_RGB24, TAVIX_PIX_FMT_RGBA32,
                                       TAVIX_PIX_FMT_RGBF32, TAVIX_PIX_FMT_RGBAF32};
  for (const int32_t code : codes()) {
    EXPECT_EQ(traits(code).channels, lookup(channels, code, 0)) << code;
    EXPECT_EQ(traits(code).r_first, red_first.contains(code)) << code;
  }
}

TEST(PixelFormat, Planes) {
  struct Planes {
    PixelLayout layout;
    int32_t planes, bytes;
    bool v_first;
  };
  const std::map<int32_t, Planes> yuv = {
      {TAVIX_PIX_FMT_NV12, {PixelLayout::kSemiPlanar, 2, 1, false}},
      {TAVIX_PIX_FMT_NV21, {PixelLayout::kSemiPlanar, 2, 1, true}},
      {TAVIX_PIX_FMT_YV12, {PixelLayout::kPlanar, 3, 1, true}},
      {TAVIX_PIX_FMT_I420, {PixelLayout::kPlanar, 3, 1, false}}};
  for (const int32_t code : codes()) {
    const auto found = yuv.find(code);
    const bool packed = is_rgb_family(code);
    const Planes expected = found != yuv.end() ? found->second
                            : packed ? Planes{PixelLayout::kPacked, 1, element_size(code), false}
                                     : Planes{PixelLayout::kNone, 0, 0, false};
    EXPECT_EQ(traits(code).layout, expected.layout) << code;
    EXPECT_EQ(traits(code).planes, expected.planes) << code;
    EXPECT_EQ(traits(code).element_size, expected.bytes) << code;
    EXPECT_EQ(traits(code).v_first, expected.v_first) << code;
    EXPECT_EQ(is_yuv420(code), found != yuv.end()) << code;
  }
}

// The core allocates what the operations read, but neither library includes the other's sources:
// each has a table of its own.
TEST(PixelFormat, TheCoreLaysOutTheSamePlanes) {
  for (const int32_t code : codes()) {
    const core::PlaneLayout *layout = core::plane_layout(code);
    const FormatTraits &format = traits(code);
    ASSERT_EQ(layout != nullptr, format.layout != PixelLayout::kNone) << code;
    if (layout == nullptr) continue;
    const bool packed = format.layout == PixelLayout::kPacked;
    EXPECT_EQ(layout->channels, packed ? format.channels : 1) << code;
    for (int32_t p = 0; p < 3; ++p) {
      const bool pairs = p == 1 && format.layout == PixelLayout::kSemiPlanar;
      const int32_t samples = packed ? format.channels : pairs ? 2 : 1;
      const int32_t bytes = p < format.planes ? samples * format.element_size : 0;
      EXPECT_EQ(layout->planes[p].pixel_bytes, bytes) << code << ", plane " << p;
      EXPECT_EQ(layout->planes[p].subsampled, bytes > 0 && p > 0) << code << ", plane " << p;
    }
  }
}

TEST(DataFormat, TwoRunsOfCodesFoldIntoOneTable) {
  std::map<uint32_t, uint32_t> slots = {{1000, 9},  {1001, 10}, {1002, 11},
                                        {1003, 12}, {1004, 13}, {1005, 14}};
  for (uint32_t code = 0; code < 9; ++code) slots[code] = code;
  for (uint32_t code = 0; code < 2100; ++code)
    EXPECT_EQ(layout_slot(code), slots.contains(code) ? slots[code] : kNoLayout) << code;
  for (const uint32_t code : {uint32_t(INT_MAX), uint32_t(INT_MIN), UINT_MAX, UINT_MAX - 990})
    EXPECT_EQ(layout_slot(code), kNoLayout) << code;
  EXPECT_EQ(kLayoutSlots, 15u);
  EXPECT_GE(kNoLayout, kLayoutSlots);
}

// Users filter lines by these: they stay, wherever the sources go.
TEST(Units, NamesOfLogLines) {
  EXPECT_STREQ(kFrameConvertUnit, "source/host/tavix_frame_convert_cpu");
  EXPECT_STREQ(kBlobSetUnit, "source/host/tavix_blob_set_cpu");
  EXPECT_STREQ(kCvtColorUnit, "source/host/cpu/tavix_cvt_color");
  EXPECT_STREQ(kCvtColorAvxUnit, "source/host/cpu/x86/cvt_color/cvt_color_yuv_avx");
  EXPECT_STREQ(kArithmeticUnit, "source/host/cpu/common_c/arithmetic/arithmetic");
  EXPECT_STREQ(kArithmeticAvxUnit, "source/host/cpu/x86/arithmetic/arithmetic_avx");
  EXPECT_STREQ(kParallelUnit, "source/host/common/parallel/tavix_parallel_wrapper");
}

}  // namespace
}  // namespace tavix::module
