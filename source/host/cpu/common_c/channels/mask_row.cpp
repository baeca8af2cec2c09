// SPDX-License-Identifier: Apache-2.0
#include "cpu/common_c/channels/mask_row.h"

#include <algorithm>

#include "common/frame_access.h"

namespace tavix::module {

namespace {

constexpr int32_t kStripPixels = 256;  // short enough that reading and writing memory overlap

// Channels apart, strip by strip, and together again with the mask; grey counts three times.
template <class T>
void mask_colour(const PixelRowsByChannels &kernels, int32_t channels, const uint8_t *src,
                 const uint8_t *mask, uint8_t *dst, int32_t width) {
  if (channels == 1) {
    const uint8_t *const planes[] = {src, src, src, mask};
    return kernels[4].merge(planes, dst, width);
  }
  constexpr int64_t kElement = sizeof(T);
  uint8_t red[kElement * kStripPixels], green[sizeof red], blue[sizeof red];
  for (int64_t x = 0; x < width; x += kStripPixels) {
    const int64_t pixels = std::min<int64_t>(kStripPixels, width - x);
    uint8_t *const colours[] = {red, green, blue};
    const uint8_t *const planes[] = {red, green, blue, mask + x * kElement};
    kernels[3].split(src + x * 3 * kElement, colours, pixels);
    kernels[4].merge(planes, dst + x * 4 * kElement, pixels);
  }
}

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
  return floats ? mask_colour<float>(rows.f32, channels, src, mask, dst, width)
                : mask_colour<uint8_t>(rows.u8, channels, src, mask, dst, width);
}

}  // namespace tavix::module
