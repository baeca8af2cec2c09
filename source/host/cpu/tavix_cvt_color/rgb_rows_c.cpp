// SPDX-License-Identifier: Apache-2.0
// Portable rows of the packed conversions: plain loops that a compiler can vectorise.
#include <algorithm>

#include "common/independent_iterations.h"
#include "cpu/tavix_cvt_color/rgb_pixels.h"
#include "cpu/tavix_cvt_color/rgb_rows.h"

namespace tavix::module {

namespace {

// Channels change places or come and go, values stay.
template <class Value, bool from_gray>
struct ShuffleRowC {
  static constexpr bool kFromGray = from_gray;

  template <int src_step, int dst_step, bool swap>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width) {
    TAVIX_INDEPENDENT_ITERATIONS
    for (int32_t x = 0; x < width; ++x) convert_pixel<Value, src_step, dst_step, swap>(src, dst, x);
  }
};
using ShuffleBytesRowC = ShuffleRowC<ByteToByte, true>;
using ShuffleFloatsRowC = ShuffleRowC<FloatToFloat, false>;

// Values change, element by element.
template <class Value>
void convert_elements_c(const uint8_t *src, uint8_t *dst, int64_t n) {
  TAVIX_INDEPENDENT_ITERATIONS
  for (int64_t i = 0; i < n; ++i) store(dst, i, Value::convert(load<typename Value::From>(src, i)));
}

constexpr int32_t kStripPixels = 1024;  // strips of either type stay in the first cache

// Calls convert(src, dst, pixels) for one strip of a row after the other.
template <int src_pixel, int dst_pixel, class Convert>
void for_each_strip(const uint8_t *src, uint8_t *dst, int32_t width, const Convert &convert) {
  for (int64_t x = 0; x < width; x += kStripPixels)
    convert(src + x * src_pixel, dst + x * dst_pixel,
            int32_t(std::min<int64_t>(kStripPixels, width - x)));
}

// Channels are shuffled while they are bytes; an opaque 255 becomes 1.
struct BytesToFloatsRowC {
  static constexpr bool kFromGray = true;

  template <int src_step, int dst_step, bool swap>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width) {
    const auto convert = [](const uint8_t *from, uint8_t *to, int32_t pixels) {
      uint8_t bytes[kStripPixels * dst_step];
      ShuffleBytesRowC::row<src_step, dst_step, swap>(from, bytes, pixels);
      convert_elements_c<ByteToFloat>(bytes, to, pixels * dst_step);
    };
    for_each_strip<src_step, 4 * dst_step>(src, dst, width, convert);
  }
};

struct FloatsToBytesRowC {
  static constexpr bool kFromGray = false;

  template <int src_step, int dst_step, bool swap>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width) {
    const auto convert = [](const uint8_t *from, uint8_t *to, int32_t pixels) {
      uint8_t bytes[kStripPixels * src_step];
      convert_elements_c<FloatToByte>(from, bytes, pixels * src_step);
      ShuffleBytesRowC::row<src_step, dst_step, swap>(bytes, to, pixels);
    };
    for_each_strip<4 * src_step, dst_step>(src, dst, width, convert);
  }
};

// The sum is truncated and its terms are added in this order, on purpose: equal channels of 1 give
// grey 0. The vector rows round instead.
struct BytesToGrayRowC {
  template <int src_step, bool r_first>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width) {
    TAVIX_INDEPENDENT_ITERATIONS
    for (int32_t x = 0; x < width; ++x) {
      const ColourAt<uint8_t, src_step, r_first> p(src, x);
      dst[x] = uint8_t(int32_t(p.green * 0.587 + p.red * 0.299 + p.blue * 0.114));
    }
  }
};

struct FloatsToGrayRowC {
  template <int src_step, bool r_first>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width, const GrayWeights &weights) {
    const GrayWeights w = weights;
    TAVIX_INDEPENDENT_ITERATIONS
    for (int32_t x = 0; x < width; ++x) dst[x] = float_gray<src_step, r_first>(src, x, w);
  }
};

}  // namespace

constinit const RgbRows kRgbRowsC = {
    .shuffle_bytes = PackedRows::of<ShuffleBytesRowC>(),
    .shuffle_floats = PackedRows::of<ShuffleFloatsRowC>(),
    .bytes_to_floats = PackedRows::of<BytesToFloatsRowC>(),
    .floats_to_bytes = PackedRows::of<FloatsToBytesRowC>(),
    .bytes_to_gray = GrayRows<PackedRow>::of<BytesToGrayRowC>(),
    .floats_to_gray = GrayRows<WeightedRow>::of<FloatsToGrayRowC>(),
    .bytes_on_all_workers = false,
};

}  // namespace tavix::module
