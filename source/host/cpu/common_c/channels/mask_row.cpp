// SPDX-License-Identifier: Apache-2.0
#include "cpu/common_c/channels/mask_row.h"

#include <algorithm>
#include <bit>

#include "common/frame_access.h"
#include "common/independent_iterations.h"

namespace tavix::module {

namespace {

constexpr int32_t kStripPixels = 512;  // a strip stays in the first cache

// The mask in the place of the alpha of so many pixels.
void lay_over_alpha(const uint8_t *src, const uint8_t *mask, uint8_t *dst, int32_t width) {
  static_assert(std::endian::native == std::endian::little, "alpha is the highest byte");
  TAVIX_INDEPENDENT_ITERATIONS
  for (int32_t x = 0; x < width; ++x)
    store(dst, x, (load<uint32_t>(src, x) & 0xffffff) | uint32_t(mask[x]) << 24);
}
void lay_over_float_alpha(const uint8_t *src, const uint8_t *mask, uint8_t *dst, int32_t width) {
  for (int32_t x = 0; x < width; ++x) {
    uint32_t pixel[4];
    std::memcpy(pixel, src + x * sizeof pixel, sizeof pixel);
    pixel[3] = load<uint32_t>(mask, x);
    std::memcpy(dst + x * sizeof pixel, pixel, sizeof pixel);
  }
}

// An opaque alpha first, then the mask over it. The destination is written once and never read: its
// lines may be far away.
template <class T>
void mask_colour(PackedRow *add_alpha, int32_t channels, const uint8_t *src, const uint8_t *mask,
                 uint8_t *dst, int32_t width) {
  constexpr int64_t kElement = sizeof(T);
  constexpr auto *lay_over = kElement == 1 ? lay_over_alpha : lay_over_float_alpha;
  uint8_t strip[4 * kElement * kStripPixels];
  for (int64_t x = 0; x < width; x += kStripPixels) {
    const int32_t pixels = int32_t(std::min<int64_t>(kStripPixels, width - x));
    add_alpha(src + x * channels * kElement, strip, pixels);
    lay_over(strip, mask + x * kElement, dst + x * 4 * kElement, pixels);
  }
}

void mask_float_grey(const uint8_t *src, const uint8_t *mask, uint8_t *dst, int32_t width) {
  for (int32_t x = 0; x < width; ++x) {
    const uint32_t grey = load<uint32_t>(src, x), alpha = load<uint32_t>(mask, x);
    const uint32_t pixel[4] = {grey, grey, grey, alpha};
    std::memcpy(dst + x * sizeof pixel, pixel, sizeof pixel);
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

void mask_row(const RgbRows &rows, bool floats, int32_t channels, const uint8_t *src,
              const uint8_t *mask, uint8_t *dst, int32_t width) {
  if (channels == 4) {
    return floats ? cut_five_channels<uint32_t>(src, mask, dst, width)
                  : cut_five_channels<uint8_t>(src, mask, dst, width);
  }
  if (!floats)
    return mask_colour<uint8_t>(rows.shuffle_bytes.find(channels, 4, false), channels, src, mask,
                                dst, width);
  if (channels == 1) return mask_float_grey(src, mask, dst, width);
  mask_colour<float>(rows.shuffle_floats.find(channels, 4, false), channels, src, mask, dst, width);
}

}  // namespace tavix::module
