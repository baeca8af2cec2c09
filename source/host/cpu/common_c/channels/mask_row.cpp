// SPDX-License-Identifier: Apache-2.0
#include "cpu/common_c/channels/mask_row.h"

#include <algorithm>

#include "common/frame_access.h"

namespace tavix::module {

namespace {

constexpr int32_t kStripPixels = 256;  // short enough that reading and writing memory overlap

template <class T>
void cut_five_channels(const uint8_t *src, const uint8_t *mask, uint8_t *dst, int32_t width) {
  const int64_t elements = 4 * int64_t(width);
  for (int64_t i = 0; i < elements; ++i) {
    const int64_t pixel = i / 5, channel = i % 5;
    store(dst, i, channel == 4 ? load<T>(mask, pixel) : load<T>(src, 4 * pixel + channel));
  }
}

}  // namespace

void mask_row(const TensorRows &rows, bool floats, int32_t channels, const uint8_t *src,
              const uint8_t *mask, uint8_t *dst, int32_t width) {
  if (channels == 4) {
    return floats ? cut_five_channels<uint32_t>(src, mask, dst, width)
                  : cut_five_channels<uint8_t>(src, mask, dst, width);
  }
  const PixelRowsByChannels &kernels = floats ? rows.f32 : rows.u8;
  if (channels == 1) {  // grey counts three times
    const uint8_t *const planes[] = {src, src, src, mask};
    return kernels[4].merge(planes, dst, width);
  }
  // Channels apart, strip by strip, and together again with the mask.
  const int64_t element = floats ? sizeof(float) : 1;
  uint8_t red[sizeof(float) * kStripPixels], green[sizeof red], blue[sizeof red];
  for (int64_t x = 0; x < width; x += kStripPixels) {
    const int64_t pixels = std::min<int64_t>(kStripPixels, width - x);
    // cppcheck-suppress legacyUninitvar // the split writes them
    uint8_t *const colours[] = {red, green, blue};
    const uint8_t *const planes[] = {red, green, blue, mask + x * element};
    kernels[3].split(src + x * 3 * element, colours, pixels);
    kernels[4].merge(planes, dst + x * 4 * element, pixels);
  }
}

}  // namespace tavix::module
