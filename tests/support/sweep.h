// SPDX-License-Identifier: Apache-2.0
// Sweeps over formats, sizes, layouts and fills. Of a cross product larger than the budget an even
// selection runs, the same one every time; the environment variable TAVIX_TEST_EFFORT=quick, and a
// sanitizer, run a twentieth of it; with TAVIX_TEST_EFFORT=exhaustive, tests of single functions
// try every argument.
//
//   sweep({.formats = kRgbFormats}, 4000, [](const SweepCase &c) {
//     GuardedFrame src(c.shape, c.layout);
//     src.fill(c.fill, c.seed);
//     ...
//   });
#pragma once

#include <cstdint>
#include <functional>
#include <ostream>
#include <vector>

#include "support/guarded_frame.h"

namespace tavix::test {

enum class Effort { quick, full, exhaustive };
Effort effort();

// quick under a sanitizer or when asked for, exhaustive when asked for, else full.
inline int by_effort(int full, int quick, int exhaustive) {
  return effort() == Effort::quick ? quick : effort() == Effort::full ? full : exhaustive;
}
inline int by_effort(int full, int quick) {
  return by_effort(full, quick, full);
}

inline const std::vector<int32_t> kByteFormats = {TAVIX_PIX_FMT_RGB24, TAVIX_PIX_FMT_BGR24,
                                                  TAVIX_PIX_FMT_GRAY8, TAVIX_PIX_FMT_BGRA32,
                                                  TAVIX_PIX_FMT_RGBA32};
inline const std::vector<int32_t> kFloatFormats = {TAVIX_PIX_FMT_RGBF32, TAVIX_PIX_FMT_BGRF32,
                                                   TAVIX_PIX_FMT_RGBAF32, TAVIX_PIX_FMT_BGRAF32,
                                                   TAVIX_PIX_FMT_GRAYF32};
inline const std::vector<int32_t> kYuvFormats = {TAVIX_PIX_FMT_NV12, TAVIX_PIX_FMT_NV21,
                                                 TAVIX_PIX_FMT_YV12, TAVIX_PIX_FMT_I420};
// kByteFormats, then kFloatFormats.
inline const std::vector<int32_t> kRgbFormats = [] {
  std::vector<int32_t> formats = kByteFormats;
  formats.insert(formats.end(), kFloatFormats.begin(), kFloatFormats.end());
  return formats;
}();
// Outside both: 4:2:0, reserved, none, and beyond every code.
inline const std::vector<int32_t> kOtherFormats = {3,
                                                   6,
                                                   TAVIX_PIX_FMT_NV12,
                                                   TAVIX_PIX_FMT_NV21,
                                                   TAVIX_PIX_FMT_YV12,
                                                   TAVIX_PIX_FMT_I420,
                                                   TAVIX_PIX_FMT_NONE,
                                                   17,
                                                   -1,
                                                   INT32_MIN,
                                                   INT32_MAX};

// first, first + 1, ..., last
std::vector<int32_t> numbers(int32_t first, int32_t last);

struct SweepAxes {
  std::vector<int32_t> formats;
  std::vector<int32_t> widths = numbers(1, 130);
  std::vector<int32_t> heights = numbers(0, 5);
  std::vector<FrameLayout> layouts = {std::begin(kLayouts), std::end(kLayouts)};
  std::vector<Fill> fills = {std::begin(kFills), std::end(kFills)};
};

struct SweepCase {
  FrameShape shape;
  FrameLayout layout;
  Fill fill;
  uint64_t seed;
};
std::ostream &operator<<(std::ostream &out, const SweepCase &c);

// Runs at most budget cases and stops after the first that fails; the case is part of the failure.
void sweep(const SweepAxes &axes, int budget, const std::function<void(const SweepCase &)> &run);

}  // namespace tavix::test
