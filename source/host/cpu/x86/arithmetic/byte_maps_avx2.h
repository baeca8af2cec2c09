// SPDX-License-Identifier: Apache-2.0
// A function of an 8-bit sample and its channel, given by its 256 values, applied to whole rows.
#pragma once

#include <array>
#include <cstdint>

#include "common/frame_access.h"

namespace tavix::module {

using ByteMap = std::array<uint8_t, 256>;

class ByteMapsAvx2 {
 public:
  // maps: one for each of 1 to 4 channels.
  ByteMapsAvx2(const std::array<ByteMap, kMaxChannels> &maps, int32_t channels);

  // dst[i] = map of channel i % channels at src[i], for i below n. dst may be src.
  void map_row(const uint8_t *src, uint8_t *dst, int64_t n) const;

 private:
  // A map as sixteen rows of sixteen values. In either half of the map the first row is as it is
  // and every other one exclusive-or the row before, so that the rows up to a byte's own make up
  // its value.
  using Rows = std::array<std::array<uint8_t, 16>, 16>;

  int32_t channels_;  // that one step tells apart: 1, 3 or 4
  std::array<ByteMap, kMaxChannels> maps_;
  std::array<Rows, kMaxChannels> rows_;
};

}  // namespace tavix::module
