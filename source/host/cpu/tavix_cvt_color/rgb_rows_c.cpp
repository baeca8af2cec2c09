// SPDX-License-Identifier: Apache-2.0
// Portable rows of the packed conversions: plain loops that a compiler can vectorise.
#include "cpu/tavix_cvt_color/rgb_rows.h"

namespace tavix::module {

namespace {

template <class Value, bool from_gray>
struct ConvertRowC {
  static constexpr bool kFromGray = from_gray;

  template <int src_step, int dst_step, bool swap>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width) {
#pragma GCC ivdep
    for (int32_t x = 0; x < width; ++x) convert_pixel<Value, src_step, dst_step, swap>(src, dst, x);
  }
};

// The sum is truncated and its terms are added in this order, on purpose: equal channels of 1 give
// grey 0. The vector rows round instead.
struct BytesToGrayRowC {
  template <int src_step, bool r_first>
  static void row(const uint8_t *src, uint8_t *dst, int32_t width) {
#pragma GCC ivdep
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
#pragma GCC ivdep
    for (int32_t x = 0; x < width; ++x) dst[x] = float_gray<src_step, r_first>(src, x, w);
  }
};

}  // namespace

constinit const RgbRows rgb_rows_c = {
    .shuffle_bytes = PackedRows::of<ConvertRowC<ByteToByte, true>>(),
    .shuffle_floats = PackedRows::of<ConvertRowC<FloatToFloat, false>>(),
    .bytes_to_floats = PackedRows::of<ConvertRowC<ByteToFloat, true>>(),
    .floats_to_bytes = PackedRows::of<ConvertRowC<FloatToByte, false>>(),
    .bytes_to_gray = GrayRows<PackedRow>::of<BytesToGrayRowC>(),
    .floats_to_gray = GrayRows<WeightedRow>::of<FloatsToGrayRowC>(),
};

}  // namespace tavix::module
