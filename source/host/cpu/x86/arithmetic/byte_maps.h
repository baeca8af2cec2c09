// SPDX-License-Identifier: Apache-2.0
// A function of an 8-bit sample and its channel, given by its 256 values, applied to whole rows.
// Each class is made from 1 to 4 channels' maps and has
//
//   void map_row(const uint8_t *src, uint8_t *dst, int64_t n) const;
//
// dst[i] = map of channel i % channels at src[i], for i below n. dst may be src.
#pragma once

#include <array>
#include <cstdint>

#include "common/frame_access.h"

namespace tavix::module {

using ByteMap = std::array<uint8_t, 256>;
// The maps that a step over whole pixels tells apart: one where all channels have the same, else
// three or four.
class ChannelMaps {
 public:
  // fill(c, map) makes the map of channel c. alike: all channels have the same.
  template <class Fill>
  ChannelMaps(int32_t channels, bool alike, const Fill &fill)
      : apart_(alike           ? 1
               : channels == 3 ? 3
                               : 4) {
    for (int32_t c = 0; c < apart_; ++c) fill(c % channels, maps_[size_t(c)]);
  }

 protected:
  int32_t apart_;
  std::array<ByteMap, kMaxChannels> maps_;
};

// Sixteen shuffles, each of them for one value of a byte's upper half.
class ByteMapsAvx2 : ChannelMaps {
 public:
  static constexpr bool kBeatMultiplying = false;  // a product and a sum of floats

  template <class Fill>
  ByteMapsAvx2(int32_t channels, bool alike, const Fill &fill)
      : ChannelMaps(channels, alike, fill) {
    make_rows();
  }
  void map_row(const uint8_t *src, uint8_t *dst, int64_t n) const;

 private:
  // A map as sixteen rows of sixteen values. In either half of the map the first row is as it is
  // and every other one exclusive-or the row before, so that the rows up to a byte's own make up
  // its value.
  using Rows = std::array<std::array<uint8_t, 16>, 16>;

  void make_rows();

  std::array<Rows, kMaxChannels> rows_;
};

// The map itself in four registers.
class ByteMapsAvx512Vbmi : ChannelMaps {
 public:
  using ChannelMaps::ChannelMaps;

  static constexpr bool kBeatMultiplying = true;

  void map_row(const uint8_t *src, uint8_t *dst, int64_t n) const;
};

}  // namespace tavix::module
