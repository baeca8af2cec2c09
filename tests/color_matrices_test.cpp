// SPDX-License-Identifier: Apache-2.0
// What the tables of colour matrices hold, oddities included. The assertions are those of the
// compiler.
#include <algorithm>

#include "cpu/tavix_cvt_color/matrices.h"

namespace tavix::module {
namespace {

constexpr int32_t sum(const int32_t (&row)[3]) {
  return row[0] + row[1] + row[2];
}

// Whether fixed is real with so many fraction bits, rounded to nearest.
constexpr bool rounds_to(int32_t fixed, float real, double scale) {
  const double error = double(real) * scale - fixed;
  return error >= -0.5 && error <= 0.5;
}
constexpr bool rounds_to(const int32_t (&fixed)[3], const float (&real)[3]) {
  return rounds_to(fixed[0], real[0], 256) && rounds_to(fixed[1], real[1], 256) &&
         rounds_to(fixed[2], real[2], 256);
}
constexpr bool forward_rounds(ColorMatrix m) {
  const auto &fixed = kRgbToYuv[m].fixed;
  const auto &real = kRgbToYuv[m].real;
  return rounds_to(fixed.y, real.y) && rounds_to(fixed.u, real.u) && rounds_to(fixed.v, real.v);
}
constexpr bool inverse_rounds(ColorMatrix m) {
  const auto &fixed = kYuvToRgb[m].fixed;
  const auto &real = kYuvToRgb[m].real;
  return rounds_to(fixed.y_scale, real.y_scale, 64) && rounds_to(fixed.v_to_r, real.v_to_r, 64) &&
         rounds_to(-fixed.u_to_g, real.u_to_g, 64) && rounds_to(-fixed.v_to_g, real.v_to_g, 64) &&
         rounds_to(fixed.u_to_b, real.u_to_b, 64);
}
constexpr bool same_row(const int32_t (&a)[3], const int32_t (&b)[3]) {
  return a[0] == b[0] && a[1] == b[1] && a[2] == b[2];
}
constexpr bool same_weights(ColorMatrix a, ColorMatrix b) {
  const auto &x = kRgbToYuv[a].fixed, &y = kRgbToYuv[b].fixed;
  return same_row(x.y, y.y) && same_row(x.u, y.u) && same_row(x.v, y.v) && x.v_to_r == y.v_to_r &&
         x.u_to_g == y.u_to_g && x.v_to_g == y.v_to_g && x.u_to_b == y.u_to_b;
}

static_assert(std::ranges::all_of(kEveryMatrix, inverse_rounds));
static_assert(forward_rounds(kBt601Limited) && forward_rounds(kBt601Full) &&
              forward_rounds(kBt709Limited) && forward_rounds(kBt2020Limited));

// Full-range BT.709 and BT.2020 keep the limited-range weights in fixed point; only the luma scale
// of the way back and the offset change. Their single-precision weights are full-range ones.
static_assert(same_weights(kBt709Full, kBt709Limited) && !forward_rounds(kBt709Full));
static_assert(same_weights(kBt2020Full, kBt2020Limited) && !forward_rounds(kBt2020Full));
static_assert(kRgbToYuv[kBt709Full].fixed.offset == 0 &&
              kRgbToYuv[kBt709Full].fixed.y_scale == 256);

// The way back of every forward table, which no conversion reads. Full-range BT.709 and BT.2020
// repeat the limited chroma terms.
struct WayBack {
  int32_t fixed[5];
  float real[5];
};
constexpr bool way_back_is(ColorMatrix m, const WayBack &expected) {
  const auto is = [](const auto &terms, const auto &e) {
    return terms.y_scale == e[0] && terms.v_to_r == e[1] && terms.u_to_g == e[2] &&
           terms.v_to_g == e[3] && terms.u_to_b == e[4];
  };
  return is(kRgbToYuv[m].fixed, expected.fixed) && is(kRgbToYuv[m].real, expected.real);
}
static_assert(way_back_is(kBt601Limited, {{298, 409, -100, -208, 516},
                                          {1.164f, 1.596f, -0.391f, -0.813f, 2.018f}}));
static_assert(way_back_is(kBt601Full,
                          {{256, 358, -88, -182, 452}, {1.0f, 1.4f, -0.343f, -0.711f, 1.765f}}));
static_assert(way_back_is(kBt709Limited, {{298, 458, -55, -137, 542},
                                          {1.164f, 1.793f, -0.213f, -0.534f, 2.115f}}));
static_assert(way_back_is(kBt709Full,
                          {{256, 458, -55, -137, 542}, {1.0f, 1.793f, -0.213f, -0.534f, 2.115f}}));
static_assert(way_back_is(kBt2020Limited,
                          {{298, 430, -48, -166, 548}, {1.164f, 1.678f, -0.187f, -0.65f, 2.141f}}));
static_assert(way_back_is(kBt2020Full,
                          {{256, 430, -48, -166, 548}, {1.0f, 1.678f, -0.187f, -0.65f, 2.141f}}));

// The luma of black is the same both ways.
constexpr bool same_offsets(ColorMatrix m) {
  const auto &to_yuv = kRgbToYuv[m];
  const auto &to_rgb = kYuvToRgb[m];
  return to_yuv.fixed.offset == to_rgb.fixed.offset && to_yuv.real.offset == to_rgb.real.offset &&
         to_rgb.real.offset == float(to_rgb.fixed.offset);
}
static_assert(std::ranges::all_of(kEveryMatrix, same_offsets));

// Grey has no chroma, but for one: the U row of BT.709 sums to -1. White is luma 235 or 255, but
// BT.2020 loses two steps of 256 and full-range BT.709 stays at 219.
constexpr bool sums_are(ColorMatrix m, int32_t y, int32_t u, int32_t v) {
  const auto &fixed = kRgbToYuv[m].fixed;
  return sum(fixed.y) == y && sum(fixed.u) == u && sum(fixed.v) == v;
}
static_assert(sums_are(kBt601Limited, 220, 0, 0) && sums_are(kBt601Full, 256, 0, 0) &&
              sums_are(kBt709Limited, 220, -1, 0) && sums_are(kBt709Full, 220, -1, 0) &&
              sums_are(kBt2020Limited, 218, 0, 0) && sums_are(kBt2020Full, 218, 0, 0));

// BT.2020 chroma reaches beyond half a range: 131, not 112 or 128.
static_assert(kRgbToYuv[kBt2020Limited].fixed.u[2] == 131 &&
              kRgbToYuv[kBt2020Limited].fixed.v[0] == 131);

// One decimal of BT.709 differs between the two table sets.
static_assert(kRgbToYuv[kBt709Limited].real.u_to_b == 2.115f &&
              kYuvToRgb[kBt709Limited].real.u_to_b == 2.112f);

constexpr bool biases(ColorMatrix m, int32_t r, int32_t g, int32_t b) {
  const auto &fixed = kYuvToRgb[m].fixed;
  return fixed.r_bias == r && fixed.g_bias == g && fixed.b_bias == b;
}
static_assert(biases(kBt601Limited, -13056, 9856, -16512) &&
              biases(kBt601Full, -11520, 8704, -14464));
static_assert(biases(kBt709Limited, -14720, 6144, -17280) &&
              biases(kBt709Full, -12928, 5376, -15232));
static_assert(biases(kBt2020Limited, -13696, 6912, -17536) &&
              biases(kBt2020Full, -12032, 6144, -15360));

constexpr bool is_luma_of(ColorMatrix m, const GrayWeights &w) {
  const float(&y)[3] = kRgbToYuv[m].real.y;
  return y[0] == w.red && y[1] == w.green && y[2] == w.blue &&
         w.fixed_red + w.fixed_green + w.fixed_blue == 256;
}
static_assert(is_luma_of(kBt601Full, kBt601Gray) && is_luma_of(kBt709Full, kBt709Gray) &&
              is_luma_of(kBt2020Full, kBt2020Gray));

static_assert(color_matrix(0, true) == kBt601Limited && color_matrix(-1, true) == kBt601Limited &&
              color_matrix(5, true) == kBt601Limited && color_matrix(9, true) == kBt601Limited);

}  // namespace
}  // namespace tavix::module
