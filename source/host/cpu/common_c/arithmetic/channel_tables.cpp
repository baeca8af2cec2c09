// SPDX-License-Identifier: Apache-2.0
// Look-ups run at one store for each sample. In a file of their own, so that they are compiled once
// and the compiler, which cannot know that tables and rows are apart, does not gather the bytes
// that it stores.
#include "cpu/common_c/arithmetic/channel_tables.h"

namespace tavix::module {

namespace {

using Table = std::array<uint8_t, 256>;

template <int channels>
void map(const Table *tables, const uint8_t *src, uint8_t *dst, int32_t n) {
  // Samples are loaded eight at a time; three words end with a whole pixel for 1 to 4 channels.
  constexpr int32_t kWord = 8, kBlock = 3 * kWord;
  int32_t i = 0;
  for (; i <= n - kBlock; i += kBlock)
    for (int32_t w = 0; w < kBlock; w += kWord) {
      const uint64_t samples = load<uint64_t>(src + i + w, 0);
      for (int32_t k = 0; k < kWord; ++k)
        dst[i + w + k] = tables[(w + k) % channels][uint8_t(samples >> 8 * k)];
    }
  for (; i < n; i += channels)
    for (int32_t c = 0; c < channels; ++c) dst[i + c] = tables[c][src[i + c]];
}

}  // namespace

void ChannelTables::map_row(const uint8_t *src, uint8_t *dst, int32_t n, int32_t channels) const {
  constexpr decltype(&map<1>) kByChannels[] = {map<1>, map<2>, map<3>, map<4>};
  kByChannels[channels - 1](tables_.data(), src, dst, n);
}

}  // namespace tavix::module
