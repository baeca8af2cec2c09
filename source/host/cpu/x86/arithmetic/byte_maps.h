// SPDX-License-Identifier: Apache-2.0
// A function of an 8-bit sample and its channel, given by its 256 values, applied to whole rows. Each
// class is made of maps, one for each of 1 to 4 channels, and has
//
//   void map_row(const uint8_t *src, uint8_t *dst, int64_t n) const;
//
// dst[i] = map of channel i % channels at src[i], for i below n. dst may be src.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "common/frame_access.h"

namespace tavix::module {

using ByteMap = std::array<uint8_t, 256>;
using ByteMaps = std::array<ByteMap, kMaxChannels>;

// The channels that a step over whole pixels tells apart: 1 where all maps are alike, else 3 or 4.
inline int32_t channels_apart(const ByteMaps &maps, int32_t channels) {
  const bool alike =
      std::all_of(maps.begin(), maps.begin() + channels, [&](auto &map) { return map == maps[0]; });
  return alike ? 1 : channels == 3 ? 3 : 4;
}

// Sixteen shuffles, each of them for one value of a byte's upper half.
class ByteMapsAvx2 {
 public:
  static constexpr bool kBeatMultiplying = false;  // a product and a sum of floats

  ByteMapsAvx2(const ByteMaps &maps, int32_t channels);
  void map_row(const uint8_t *src, uint8_t *dst, int64_t n) const;

 private:
  // A map as sixteen rows of sixteen values. In either half of the map the first row is as it is
  // and every other one exclusive-or the row before, so that the rows up to a byte's own make up
  // its value.
  using Rows = std::array<std::array<uint8_t, 16>, 16>;

  int32_t channels_;  // told apart
  ByteMaps maps_;
  std::array<Rows, kMaxChannels> rows_;
};

// The map itself in four registers.
class ByteMapsAvx512Vbmi {
 public:
  static constexpr bool kBeatMultiplying = true;

  ByteMapsAvx512Vbmi(const ByteMaps &maps, int32_t channels);
  void map_row(const uint8_t *src, uint8_t *dst, int64_t n) const;

 private:
  int32_t channels_;  // told apart
  ByteMaps maps_;
};

}  // namespace tavix::module
