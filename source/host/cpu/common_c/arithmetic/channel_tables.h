// SPDX-License-Identifier: Apache-2.0
// A function of an 8-bit sample and its channel has 256 values for each channel: tables of them,
// filled once, and the row loop that looks samples up.
#pragma once

#include <array>
#include <cstdint>

#include "common/frame_access.h"

namespace tavix::module {

class ChannelTables {
 public:
  // value(sample, channel) -> uint8_t, for the first channels channels (at most kMaxChannels).
  template <class Value>
  void fill(int32_t channels, const Value &value) {
    for (int32_t c = 0; c < channels; ++c)
      for (int32_t v = 0; v < 256; ++v) tables_[c][v] = value(uint8_t(v), c);
  }

  // dst[i] = table of channel i % channels at src[i]; src may be dst. n is a number of elements of
  // whole pixels.
  void map_row(const uint8_t *src, uint8_t *dst, int32_t n, int32_t channels) const;

 private:
  std::array<std::array<uint8_t, 256>, kMaxChannels> tables_;
};

}  // namespace tavix::module
