// SPDX-License-Identifier: Apache-2.0
// What the normalising conversion makes of a frame, element by element.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <vector>

#include "support/compare.h"
#include "support/guarded_frame.h"
#include "tavix/core/codes.h"

namespace tavix::test {

using NormVals = std::array<float, 8>;

inline int32_t float_partner(int32_t format) {
  constexpr int32_t kPairs[][2] = {{0, 11}, {1, 12}, {2, 15}, {4, 14}, {5, 13}};
  for (const auto &pair : kPairs) {
    if (format == pair[0]) return pair[1];
    if (format == pair[1]) return pair[0];
  }
  return TAVIX_PIX_FMT_NONE;
}

// Clamped in double, then a half added and cut off; NaN counts as 0.
inline uint8_t rounded_half_up(float value) {
  if (std::isnan(value)) return 0;
  return uint8_t(std::floor(std::fmin(std::fmax(double(value), 0.0), 255.0) + 0.5));
}

template <class Src, class Dst>
inline void expect_normalized(const GuardedFrame &src, const TavixFrameV2 &dst,
                              const NormVals &values) {
  const TavixVideoInfo &video = src->video;
  for (int32_t y = 0; y < video.height; ++y) {
    std::vector<Dst> expected, actual(size_t(video.width) * video.channels);
    for (int32_t x = 0; x < video.width; ++x) {
      for (int32_t c = 0; c < video.channels; ++c) {
        const float centred = float(src.get<Src>(int64_t(x) * video.channels + c, y)) - values[c];
        const float value = centred * values[4 + c];
        expected.push_back(sizeof(Dst) == 1 ? Dst(rounded_half_up(value)) : Dst(value));
      }
    }
    if (actual.empty()) return;
    std::memcpy(actual.data(), dst.data[0] + int64_t(y) * dst.linesize[0],
                actual.size() * sizeof(Dst));
    ASSERT_TRUE(same_values<Dst>(expected, actual)) << "row " << y;
  }
}

inline void expect_normalized(const GuardedFrame &src, const TavixFrameV2 &dst,
                              const NormVals &values) {
  const bool from_float = is_float_format(src->video.format);
  if (is_float_format(dst.video.format)) {
    from_float ? expect_normalized<float, float>(src, dst, values)
               : expect_normalized<uint8_t, float>(src, dst, values);
  } else {
    from_float ? expect_normalized<float, uint8_t>(src, dst, values)
               : expect_normalized<uint8_t, uint8_t>(src, dst, values);
  }
}

}  // namespace tavix::test
