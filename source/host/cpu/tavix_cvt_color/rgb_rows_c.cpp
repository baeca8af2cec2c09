// SPDX-License-Identifier: Apache-2.0
// Portable rows of the packed conversions: plain loops that a compiler can vectorise.
#include <algorithm>

#include "common/frame_access.h"
#include "common/numbers.h"
#include "cpu/tavix_cvt_color/rgb_rows.h"

namespace tavix::module {

namespace {

// How one channel value becomes another.
constexpr float divided(uint8_t v) {
  return float(v) / 255.0f;
}
constexpr float scaled(uint8_t v) {
  return float(v) * kByteToUnit;
}
constexpr uint8_t rounded(float v) {
  return round_half_up_u8(v * 255.0f);
}

// Channels change places or come and go, values stay. All channels of a pixel are read before the
// first is written: dst may be src when pixels keep their size.
//
// A step is the distance of two pixels in elements: 3 or 4, and 1 for grey. Swapping exchanges the
// first and the third colour channel; green and alpha never move.
template <class T>
struct ShuffleRowC {
  template <int src_step, int dst_step, bool swap>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width) {
    constexpr bool is_gray = src_step == 1;
    constexpr int first = !is_gray && swap ? 2 : 0, second = is_gray ? 0 : 1,
                  third = !is_gray && !swap ? 2 : 0;
    TAVIX_INDEPENDENT_ITERATIONS
    for (int32_t x = 0; x < width; ++x) {
      const int64_t from = int64_t(x) * src_step, to = int64_t(x) * dst_step;
      const T c0 = load<T>(src, from + first), c1 = load<T>(src, from + second),
              c2 = load<T>(src, from + third);
      T alpha = sizeof(T) == 1 ? T(255) : T(1);
      if constexpr (src_step == 4 && dst_step == 4) alpha = load<T>(src, from + 3);
      store(dst, to, c0);
      store(dst, to + 1, c1);
      store(dst, to + 2, c2);
      if constexpr (dst_step == 4) store(dst, to + 3, alpha);
    }
  }
};

// Values change, element by element.
template <class From, auto convert>
void convert_elements_c(const uint8_t *src, uint8_t *dst, int64_t n) {
  TAVIX_INDEPENDENT_ITERATIONS
  for (int64_t i = 0; i < n; ++i) store(dst, i, convert(load<From>(src, i)));
}

constexpr int32_t kStripPixels = 1024;  // strips of either type stay in the first cache

// Pixels of the strip from pixel x on.
constexpr int32_t strip_pixels(int64_t x, int32_t width) {
  return int32_t(std::min<int64_t>(kStripPixels, width - x));
}

// Channels are shuffled while they are bytes; an opaque 255 becomes 1.
template <auto to_float>
struct BytesToFloatsRowC {
  template <int src_step, int dst_step, bool swap>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width) {
    uint8_t bytes[kStripPixels * dst_step];
    for (int64_t x = 0; x < width; x += kStripPixels) {
      const int32_t pixels = strip_pixels(x, width);
      ShuffleRowC<uint8_t>::row<src_step, dst_step, swap>(src + x * src_step, bytes, pixels);
      convert_elements_c<uint8_t, to_float>(bytes, dst + 4 * x * dst_step, pixels * dst_step);
    }
  }
};

struct FloatsToBytesRowC {
  template <int src_step, int dst_step, bool swap>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width) {
    uint8_t bytes[kStripPixels * src_step];
    for (int64_t x = 0; x < width; x += kStripPixels) {
      const int32_t pixels = strip_pixels(x, width);
      convert_elements_c<float, rounded>(src + 4 * x * src_step, bytes, pixels * src_step);
      ShuffleRowC<uint8_t>::row<src_step, dst_step, swap>(bytes, dst + x * dst_step, pixels);
    }
  }
};

// dst[x] = gray(red, green, blue) of pixel x.
template <class T, int src_step, bool r_first, class Gray>
void gray_row_c(const uint8_t *src, uint8_t *dst, int32_t width, const Gray &gray) {
  TAVIX_INDEPENDENT_ITERATIONS
  for (int32_t x = 0; x < width; ++x) {
    const T first = load<T>(src, x * src_step), green = load<T>(src, x * src_step + 1),
            third = load<T>(src, x * src_step + 2);
    dst[x] = gray(r_first ? first : third, green, r_first ? third : first);
  }
}

// The sum is truncated and its terms are added in this order, on purpose: equal channels of 1 give
// grey 0. The vector rows round instead.
struct BytesToGrayRowC {
  template <int src_step, bool r_first>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width) {
    gray_row_c<uint8_t, src_step, r_first>(src, dst, width, [](int32_t r, int32_t g, int32_t b) {
      return uint8_t(int32_t(g * 0.587 + r * 0.299 + b * 0.114));
    });
  }
};

struct RoundedBytesToGrayRowC {
  template <int src_step, bool r_first>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width) {
    gray_row_c<uint8_t, src_step, r_first>(src, dst, width, [](int32_t r, int32_t g, int32_t b) {
      constexpr GrayWeights w = kBt601Gray;
      return uint8_t((r * w.fixed_red + g * w.fixed_green + b * w.fixed_blue + 128) >> 8);
    });
  }
};

// In single precision and in this order.
struct FloatsToGrayRowC {
  template <int src_step, bool r_first>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width, const GrayWeights &weights) {
    gray_row_c<float, src_step, r_first>(src, dst, width, [w = weights](float r, float g, float b) {
      return round_half_up_u8((r * w.red + g * w.green + b * w.blue) * 255.0f);
    });
  }
};

template <class ToFloats, class ToGray>
constexpr RgbRows rows_of(bool bytes_on_all_workers) {
  return {
      .shuffle_bytes = PackedRows::of<ShuffleRowC<uint8_t>, 1, 3, 4>(),
      .shuffle_floats = PackedRows::of<ShuffleRowC<float>, 3, 4>(),
      .bytes_to_floats = PackedRows::of<ToFloats, 1, 3, 4>(),
      .floats_to_bytes = PackedRows::of<FloatsToBytesRowC, 3, 4>(),
      .bytes_to_gray = GrayRows<PackedRow>::of<ToGray>(),
      .floats_to_gray = GrayRows<WeightedRow>::of<FloatsToGrayRowC>(),
      .bytes_on_all_workers = bytes_on_all_workers,
  };
}

}  // namespace

constinit const RgbRows kRgbRowsC = rows_of<BytesToFloatsRowC<divided>, BytesToGrayRowC>(false);
constinit const RgbRows kRgbRowsTails =
    rows_of<BytesToFloatsRowC<scaled>, RoundedBytesToGrayRowC>(true);

}  // namespace tavix::module
