// SPDX-License-Identifier: Apache-2.0
// One pixel of each packed conversion. The portable rows are loops over these; the vector rows use
// them for the pixels that fill no vector.
//
// A step is the distance of two pixels in elements: 3 or 4, and 1 for grey. Swapping exchanges the
// first and the third colour channel; green and alpha never move.
#pragma once

#include <cstdint>

#include "common/frame_access.h"
#include "cpu/tavix_cvt_color/matrices.h"
#include "cpu/tavix_cvt_color/sample_values.h"

namespace tavix::module {

// How one channel value becomes another, and what an opaque alpha is.
struct ByteToByte {
  using From = uint8_t;
  using To = uint8_t;
  static constexpr To kOpaque = 255;
  static constexpr To convert(From v) { return v; }
};
struct FloatToFloat {
  using From = float;
  using To = float;
  static constexpr To kOpaque = 1.0f;
  static constexpr To convert(From v) { return v; }
};
struct ByteToFloat {
  using From = uint8_t;
  using To = float;
  static constexpr To kOpaque = 1.0f;
  static constexpr To convert(From v) { return float(v) / 255.0f; }
};

struct FloatToByte {
  using From = float;
  using To = uint8_t;
  static constexpr To kOpaque = 255;
  static constexpr To convert(From v) { return round_half_up_u8(v * 255.0f); }
};

// Pixel x of a row. All channels are read before the first is written: dst may be src when pixels
// keep their size.
template <class Value, int src_step, int dst_step, bool swap>
inline void convert_pixel(const uint8_t *src, uint8_t *dst, int64_t x) {
  constexpr bool is_gray = src_step == 1;
  constexpr int first = !is_gray && swap ? 2 : 0, second = is_gray ? 0 : 1,
                third = !is_gray && !swap ? 2 : 0;
  const auto channel = [src, x](int c) {
    return Value::convert(load<typename Value::From>(src, x * src_step + c));
  };
  const typename Value::To c0 = channel(first), c1 = channel(second), c2 = channel(third);
  typename Value::To alpha = Value::kOpaque;
  if constexpr (src_step == 4 && dst_step == 4) alpha = channel(3);
  store(dst, x * dst_step, c0);
  store(dst, x * dst_step + 1, c1);
  store(dst, x * dst_step + 2, c2);
  if constexpr (dst_step == 4) store(dst, x * dst_step + 3, alpha);
}

// Red, green and blue of pixel x.
template <class T, int src_step, bool r_first>
struct ColourAt {
  T red, green, blue;
  ColourAt(const uint8_t *src, int64_t x)
      : red(load<T>(src, x * src_step + (r_first ? 0 : 2))),
        green(load<T>(src, x * src_step + 1)),
        blue(load<T>(src, x * src_step + (r_first ? 2 : 0))) {}
};

// Grey of pixel x, in single precision and in this order.
template <int src_step, bool r_first>
inline uint8_t float_gray(const uint8_t *src, int64_t x, const GrayWeights &w) {
  const ColourAt<float, src_step, r_first> p(src, x);
  return round_half_up_u8((p.red * w.red + p.green * w.green + p.blue * w.blue) * 255.0f);
}

}  // namespace tavix::module
