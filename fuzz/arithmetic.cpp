// SPDX-License-Identifier: Apache-2.0
// Binary and unary arithmetic against the references of their tests.
#include <cmath>

#include "binary_reference.h"
#include "families.h"
#include "support/compare.h"
#include "tavix/video_common_cpu/arithmetic.h"
#include "unary_reference.h"

namespace tavix::fuzz {

namespace {

using test::GuardedFrame;

// Which implementation a function ends in.
enum class Kind { best, portable, vector };

bool is_vector(Kind kind, const Path &path) {
  return kind == Kind::best ? path.vector : kind == Kind::vector;
}

struct Parameters {
  double values[3][4];

  explicit Parameters(Choices &c) {
    const bool alike = c.byte() % 2 == 0;
    for (auto &set : values)
      for (int i = 0; i < 4; ++i) set[i] = alike && i > 0 ? set[0] : any_number(c);
  }
};

// The frame's rows as the reference would have them, where the record says that there are any.
template <class T, class Element>
void expect_elements(const TavixVideoInfo &video, const GuardedFrame &dst, const Element &right) {
  const int64_t n = row_elements(video);
  for (int32_t y = 0; y < video.height; ++y)
    for (int32_t i = 0; i < n; ++i) {
      const T actual = dst.get<T>(i, y);
      ASSERT_TRUE(right(i, y, actual)) << "row " << y << ", element " << i << ": " << +actual;
    }
}

template <class Function>
struct Entry {
  const char *name;
  Function *entry;
  Kind kind;
};
// clang-format off
#define TAVIX_LAYERS(function)                                \
  {#function "ByCPU", function##ByCPU, Kind::best},           \
  {#function "Forward", function##Forward, Kind::best},       \
  {#function "CommonC", function##CommonC, Kind::portable},   \
  {#function "AVX", function##AVX, Kind::vector}
// clang-format on
constexpr Entry<decltype(TavixFrameBinaryArithmeticByCPU)> kBinary[] = {
    TAVIX_LAYERS(TavixFrameBinaryArithmetic)};
constexpr Entry<decltype(TavixFrameUnaryArithmeticByCPU)> kUnary[] = {
    TAVIX_LAYERS(TavixFrameUnaryArithmetic)};
#undef TAVIX_LAYERS

template <class T>
void expect_binary(bool vector, uint32_t op, const FrameRecord &a, const FrameRecord &b,
                   const Parameters &p, const FrameRecord &dst) {
  const TavixVideoInfo &video = a.frame->video;
  expect_elements<T>(video, dst.frame, [&](int32_t i, int32_t y, T actual) {
    const int32_t k = i % video.channels;
    const T x1 = a.frame.get<T>(i, y), x2 = b.frame.get<T>(i, y);
    const auto element = [&](auto reference) {
      return reference(op, x1, x2, p.values[0][k], p.values[1][k], p.values[2][k]);
    };
    const T expected = vector ? element([](auto... of) { return test::binary_single(of...); })
                              : element([](auto... of) { return test::binary_double(of...); });
    return test::same_value(expected, actual);
  });
}

void binary(Choices &c, std::span<const Path> paths) {
  const auto entry = c.of(kBinary);
  const uint32_t op = c.rarely() ? uint32_t(c.of(kIntegers)) : uint32_t(c.below(10));
  const test::FrameShape shape = any_shape(c);
  FrameRecord a(c, shape), b(c, c.rarely() ? any_shape(c) : shape),
      dst(c, c.rarely() ? any_shape(c) : shape);
  Parameters p(c);
  // Which of two NaN operands a product keeps is the compiler's choice, and bitwise operations show
  // it.
  if (op >= TAVIX_BINARY_OP_OR)
    for (int set : {0, 1})
      for (double &value : p.values[set])
        if (std::isnan(value)) value = 0.75;
  a.maybe_spoil(c), b.maybe_spoil(c), dst.maybe_spoil(c);
  FrameRecord::maybe_spoil_alike(c, a, b, dst);
  const bool null = c.rarely();
  TavixFrameV2 *src1 = null ? c.maybe(&*a) : &*a, *src2 = null ? c.maybe(&*b) : &*b,
               *out = null ? c.maybe(&*dst) : &*dst;
  const double *alpha = null ? c.maybe(p.values[0]) : p.values[0];
  const double *gamma = null ? c.maybe(p.values[2]) : p.values[2];

  const bool alike = a.contents().size() == b.contents().size() &&
                     a->video.format == b->video.format && a->video.format == dst->video.format &&
                     a->video.width == b->video.width && a->video.width == dst->video.width &&
                     a->video.height == b->video.height && a->video.height == dst->video.height;
  check({.function = entry.name,
         .run = [&] { return entry.entry(src1, src2, op, alpha, p.values[1], gamma, out); },
         .sources = {&a, &b},
         .destinations = {&dst},
         .expect_result =
             [&](const Path &path) {
               const bool vector = is_vector(entry.kind, path);
               test::is_float_format(a->video.format)
                   ? expect_binary<float>(vector, op, a, b, p, dst)
                   : expect_binary<uint8_t>(vector, op, a, b, p, dst);
             },
         .must_succeed = alike && !null && op < 10 && entry.kind != Kind::vector && !a.spoiled &&
                         !b.spoiled && !dst.spoiled},
        paths);
}

template <class T>
void expect_unary(bool vector, int32_t op, const FrameRecord &src, const Parameters &p,
                  const FrameRecord &dst) {
  const TavixVideoInfo &video = src.frame->video;
  const auto n = int32_t(row_elements(video));
  expect_elements<T>(video, dst.frame, [&](int32_t i, int32_t y, T actual) {
    const int32_t k = i % video.channels;
    const T x = src.frame.get<T>(i, y);
    const double scale = p.values[0][k], offset = p.values[1][k];
    const test::Place place = test::place_of(i, n, video.channels);
    const T expected = vector ? test::unary_single(op, x, scale, offset, place)
                              : test::unary_double(op, x, scale, offset, place);
    return test::same_value(expected, actual) ||
           (std::is_same_v<T, float> && vector && op == TAVIX_UNARY_OP_EXP &&
            place == test::Place::block && test::is_near_expf(float(x), scale, offset, actual));
  });
}

void unary(Choices &c, std::span<const Path> paths) {
  const auto entry = c.of(kUnary);
  const int32_t op = c.rarely() ? c.of(kIntegers) : c.below(4);
  const test::FrameShape shape = any_shape(c);
  FrameRecord src(c, shape), dst(c, c.rarely() ? any_shape(c) : shape);
  const Parameters p(c);
  src.maybe_spoil(c), dst.maybe_spoil(c);
  FrameRecord::maybe_spoil_alike(c, src, dst);
  const bool null = c.rarely();
  TavixFrameV2 *in = null ? c.maybe(&*src) : &*src, *out = null ? c.maybe(&*dst) : &*dst;
  const double *scale = null ? c.maybe(p.values[0]) : p.values[0];
  check({.function = entry.name,
         .run = [&] { return entry.entry(in, op, scale, p.values[1], out); },
         .sources = {&src},
         .destinations = {&dst},
         .expect_result =
             [&](const Path &path) {
               const bool vector = is_vector(entry.kind, path);
               test::is_float_format(src->video.format)
                   ? expect_unary<float>(vector, op, src, p, dst)
                   : expect_unary<uint8_t>(vector, op, src, p, dst);
             }},
        paths);
}

}  // namespace

void arithmetic(Choices &c, std::span<const Path> paths) {
  c.byte() % 2 == 0 ? binary(c, paths) : unary(c, paths);
}

}  // namespace tavix::fuzz
