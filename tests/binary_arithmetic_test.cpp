// SPDX-License-Identifier: Apache-2.0
// The values of binary arithmetic, bit for bit against references written element by element: one
// in double precision for the portable implementation, one in single precision for the AVX one.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <span>

#include "arithmetic_sweeps.h"
#include "binary_reference.h"
#include "support/compare.h"
#include "support/core_double.h"
#include "support/seams.h"
#include "tavix/video_common_cpu.h"

namespace tavix::test {
namespace {

struct Parameters {
  double alpha[4] = {1, 1, 1, 1};
  double beta[4] = {1, 1, 1, 1};
  double gamma[4] = {0, 0, 0, 0};
};

using Entry = decltype(TavixFrameBinaryArithmeticCommonC);
using Implementation =
    ArithmeticImplementation<Entry, uint8_t(uint32_t, uint8_t, uint8_t, double, double, double),
                             float(uint32_t, float, float, double, double, double)>;
constexpr ArithmeticFamily<Implementation, uint32_t> kFamily = {
    {"CommonC", TavixFrameBinaryArithmeticCommonC, binary_double, binary_double},
    {"AVX", TavixFrameBinaryArithmeticAVX, binary_single, binary_single},
    TavixFrameBinaryArithmeticByCPU,
    TavixFrameBinaryArithmeticForward,
    10,
    binary_op_name};

template <class T>
void set_reference(T (*element)(uint32_t, T, T, double, double, double), uint32_t op,
                   const GuardedFrame &src1, const GuardedFrame &src2, const Parameters &p,
                   GuardedFrame &dst) {
  const TavixVideoInfo &video = src1->video;
  for (int32_t y = 0; y < video.height; ++y)
    for (int32_t i = 0; i < video.width * video.channels; ++i) {
      const int32_t c = i % video.channels;
      dst.set(i, y,
              element(op, src1.get<T>(i, y), src2.get<T>(i, y), p.alpha[c], p.beta[c], p.gamma[c]));
    }
}

void reference_frame(const Implementation &implementation, uint32_t op, const GuardedFrame &src1,
                     const GuardedFrame &src2, const Parameters &p, GuardedFrame &dst) {
  if (is_float_format(src1->video.format))
    set_reference(implementation.real, op, src1, src2, p, dst);
  else
    set_reference(implementation.byte, op, src1, src2, p, dst);
}

// --- parameters ----------------------------------------------------------------------------------

// Neutral, ordinary, adversarial, and mixed sets in turn.
Parameters parameters(uint64_t seed) {
  Random random(seed);
  Parameters p;
  const uint64_t kind = random.next() % 4;
  for (int c = 0; c < 4 && kind > 0; ++c) {
    const bool ordinary = kind == 1 || (kind == 3 && random.below(2) == 0);
    p.alpha[c] = ordinary ? uniform(-1, 3, random) : pick(kScales, random);
    p.beta[c] = ordinary ? uniform(-1, 3, random) : pick(kScales, random);
    p.gamma[c] = ordinary ? uniform(-300, 300, random) : pick(kOffsets, random);
  }
  return p;
}

// Which of two NaN operands a product keeps is the compiler's choice, and it shows in the patterns
// that bitwise operations combine: no NaN scales for those.
void avoid_nan_scales(Parameters &p) {
  for (double *scale : {p.alpha, p.beta})
    for (int c = 0; c < 4; ++c)
      if (std::isnan(scale[c])) scale[c] = 0.75;
}

// --- sweeps --------------------------------------------------------------------------------------

void expect_reference(const Implementation &implementation, uint32_t op, const SweepCase &c) {
  const FrameLayout &layout2 = kLayouts[c.seed % 4], &dst_layout = kLayouts[c.seed / 4 % 4];
  GuardedFrame src1(c.shape, c.layout), src2(c.shape, layout2), dst(c.shape, dst_layout),
      expected(c.shape);
  src1.fill(c.fill, c.seed);
  src2.fill(kFills[c.seed % 6], c.seed + 1);
  const auto before1 = src1.payload(), before2 = src2.payload();
  Parameters p = parameters(c.seed);
  if (op >= TAVIX_BINARY_OP_OR) avoid_nan_scales(p);
  reference_frame(implementation, op, src1, src2, p, expected);

  EXPECT_SILENT(
      ASSERT_EQ(implementation.entry(src1, src2, op, p.alpha, p.beta, p.gamma, dst), TAVIX_OK));
  EXPECT_TRUE(same_pixels(*expected, *dst)) << binary_op_name(op);
  EXPECT_TRUE(src1.intact() && src2.intact() && dst.intact());
  EXPECT_TRUE(src1.payload() == before1 && src2.payload() == before2);
}

class BinaryArithmeticSweeps : public ArithmeticSweeps {};
TEST_P(BinaryArithmeticSweeps, EqualTheReference) {
  kFamily.run(GetParam(), expect_reference);
}
INSTANTIATE_TEST_SUITE_P(, BinaryArithmeticSweeps, kEverySweep, sweep_name);

// Of frames without gaps.
void expect_reference(const Implementation &implementation, uint32_t op, const GuardedFrame &src1,
                      const GuardedFrame &src2, const Parameters &p) {
  const FrameShape shape{src1->video.format, src1->video.width, src1->video.height};
  GuardedFrame dst(shape), expected(shape);
  reference_frame(implementation, op, src1, src2, p, expected);
  ASSERT_EQ(implementation.entry(src1, src2, op, p.alpha, p.beta, p.gamma, dst), TAVIX_OK);
  ASSERT_TRUE(same_pixels(*expected, *dst))
      << binary_op_name(op) << " of " << p.alpha[0] << ' ' << p.beta[0] << ' ' << p.gamma[0];
}

// Each parameter alone that no float holds: the others may be taken for floats.
TEST(BinaryArithmetic, OneParameterThatNoFloatHolds) {
  const FrameShape shape{TAVIX_PIX_FMT_BGRF32, 21, 3};
  GuardedFrame src1(shape), src2(shape);
  src1.fill(Fill::noise, 1), src2.fill(Fill::noise, 2);
  kFamily.for_each_op([&](const Implementation &implementation, uint32_t op) {
    for (double(Parameters::*parameter)[4] :
         {&Parameters::alpha, &Parameters::beta, &Parameters::gamma}) {
      Parameters p;
      (p.*parameter)[1] = 0.1;
      expect_reference(implementation, op, src1, src2, p);
    }
  });
}

// Of those, only 1 changes nothing.
TEST(BinaryArithmetic, WholeScalesOfBytes) {
  const FrameShape shape{TAVIX_PIX_FMT_BGR24, 43, 2};
  GuardedFrame src1(shape), src2(shape);
  src1.fill(Fill::noise, 1), src2.fill(Fill::noise, 2);
  kFamily.for_each_op([&](const Implementation &implementation, uint32_t op) {
    for (double(Parameters::*parameter)[4] : {&Parameters::alpha, &Parameters::beta})
      for (int scale = -16; scale <= 16; ++scale) {
        Parameters p;
        std::fill_n(p.*parameter, 4, scale);
        expect_reference(implementation, op, src1, src2, p);
      }
  });
}

TEST(BinaryArithmetic, EveryPairOfBytes) {
  const FrameShape shape{TAVIX_PIX_FMT_GRAY8, 256, 256};
  GuardedFrame src1(shape), src2(shape);
  for (int32_t y = 0; y < 256; ++y)
    for (int32_t x = 0; x < 256; ++x) src1.set(x, y, uint8_t(x)), src2.set(x, y, uint8_t(y));
  constexpr struct {
    double alpha, beta, gamma;
  } kSets[] = {{1, 1, 0}, {1, 1, 10}, {0.5, 1, 0}, {1, 0.5, -3}, {1.5, 0.1, 0.5}, {-1, 1, 1.5}};
  kFamily.for_each_op([&](const Implementation &implementation, uint32_t op) {
    for (const auto &set : std::span(kSets).first(size_t(by_effort(6, 1)))) {
      Parameters p;
      p.alpha[0] = set.alpha, p.beta[0] = set.beta, p.gamma[0] = set.gamma;
      expect_reference(implementation, op, src1, src2, p);
    }
  });
}

// --- pinned values -------------------------------------------------------------------------------

template <class T>
T of_one_pixel(uint32_t op, T a, T b, double gamma, double alpha = 1, double beta = 1) {
  const FrameShape shape{sizeof(T) == 1 ? TAVIX_PIX_FMT_GRAY8 : TAVIX_PIX_FMT_GRAYF32, 1, 1};
  GuardedFrame src1(shape), src2(shape), dst(shape);
  src1.set(0, 0, a), src2.set(0, 0, b);
  // Only the first entry of each set is meant for one channel.
  const double alphas[4] = {alpha, kNaN, 7, 7}, betas[4] = {beta, kNaN, 7, 7},
               gammas[4] = {gamma, kNaN, 7, 7};
  EXPECT_EQ(TavixFrameBinaryArithmeticCommonC(src1, src2, op, alphas, betas, gammas, dst),
            TAVIX_OK);
  return dst.get<T>(0, 0);
}

TEST(BinaryArithmetic, PinnedBytes) {
  const auto bytes = [](uint32_t op, int a, int b, double gamma, double alpha = 1,
                        double beta = 1) {
    return int(of_one_pixel<uint8_t>(op, uint8_t(a), uint8_t(b), gamma, alpha, beta));
  };
  EXPECT_EQ(bytes(TAVIX_BINARY_OP_ADD, 200, 100, 0), 255);
  EXPECT_EQ(bytes(TAVIX_BINARY_OP_SUB, 10, 20, 0), 0);
  EXPECT_EQ(bytes(TAVIX_BINARY_OP_SUB, 10, 20, 5), 5) << "clamped before the offset";
  EXPECT_EQ(bytes(TAVIX_BINARY_OP_DIV, 7, 2, 0), 4);
  EXPECT_EQ(bytes(TAVIX_BINARY_OP_DIV, 5, 2, 0), 2) << "ties to even";
  EXPECT_EQ(bytes(TAVIX_BINARY_OP_DIV, 9, 0, 10), 0) << "no offset after a zero divisor";
  EXPECT_EQ(bytes(TAVIX_BINARY_OP_DIV, 9, 1, 10, 1, 0.4), 0) << "the scaled divisor counts";
  EXPECT_EQ(bytes(TAVIX_BINARY_OP_DIV, 0, 3, 10), 10);
  EXPECT_EQ(bytes(TAVIX_BINARY_OP_ADD, 1, 1, 0.5), 2);
  EXPECT_EQ(bytes(TAVIX_BINARY_OP_ADD, 1, 1, 1.5), 4);
  EXPECT_EQ(bytes(TAVIX_BINARY_OP_ADD, 3, 0, 0, 0.5), 2);
  EXPECT_EQ(bytes(TAVIX_BINARY_OP_ADD, 1, 0, 0, 0x1p31), 0) << "2^31 and more is 0";
  EXPECT_EQ(bytes(TAVIX_BINARY_OP_ADD, 1, 0, 0, 2147483520.0), 255) << "the float below 2^31";
  EXPECT_EQ(bytes(TAVIX_BINARY_OP_ADD, 1, 0, 0, kNaN), 0);
  EXPECT_EQ(bytes(TAVIX_BINARY_OP_ADD, 1, 0, 0, kInfinity), 0);
  EXPECT_EQ(bytes(TAVIX_BINARY_OP_ADD, 9, 9, kNaN), 0);
  EXPECT_EQ(bytes(TAVIX_BINARY_OP_ADD, 0, 0, 2147483647.0), 255);
  EXPECT_EQ(bytes(TAVIX_BINARY_OP_ADD, 1, 0, 2147483647.0), 0);
  EXPECT_EQ(bytes(TAVIX_BINARY_OP_XOR, 0xF0, 0x3C, 0), 0xCC);
}

TEST(BinaryArithmetic, PinnedFloats) {
  const float nan = std::nanf(""), epsilon = 0x1p-52f, below = 0x1.fffffep-53f;
  const auto floats = of_one_pixel<float>;
  EXPECT_EQ(floats(TAVIX_BINARY_OP_OR, 1.0f, 2.0f, 0, 1, 1), float(kInfinity));
  for (const float zero : {0.0f, -0.0f, below, -below, 1e-30f})
    EXPECT_EQ(floats(TAVIX_BINARY_OP_DIV, 5.0f, zero, 10, 1, 1), epsilon) << zero;
  EXPECT_EQ(floats(TAVIX_BINARY_OP_DIV, 1.0f, epsilon, 0, 1, 1), 0x1p52f);
  EXPECT_EQ(floats(TAVIX_BINARY_OP_DIV, 1.0f, -epsilon, 0, 1, 1), -0x1p52f);
  EXPECT_TRUE(std::isnan(floats(TAVIX_BINARY_OP_DIV, 1.0f, nan, 0, 1, 1)));
  // The quotient stays a double until the offset is added.
  EXPECT_EQ(floats(TAVIX_BINARY_OP_DIV, 1.0f, 3.0f, -1.0 / 3, 1, 1), 0.0f);
  EXPECT_NE(floats(TAVIX_BINARY_OP_MUL, 1.0f, 1.0f / 3, -1.0 / 3, 1, 1), 0.0f);
  // A comparison with NaN is false: the first operand is taken.
  for (const uint32_t op : {TAVIX_BINARY_OP_MIN, TAVIX_BINARY_OP_MAX}) {
    EXPECT_TRUE(std::isnan(floats(op, nan, 1.0f, 0, 1, 1)));
    EXPECT_EQ(floats(op, 1.0f, nan, 0, 1, 1), 1.0f);
    EXPECT_TRUE(same_value(floats(op, 0.0f, -0.0f, -0.0, 1, 1), 0.0f));
    EXPECT_TRUE(same_value(floats(op, -0.0f, 0.0f, -0.0, 1, 1), -0.0f));
  }
  EXPECT_EQ(floats(TAVIX_BINARY_OP_ADD, 200.0f, 100.5f, 0, 1, 1), 300.5f) << "not clamped";
}

// --- frames that alias, and frames that are hardly frames ----------------------------------------

TEST(BinaryArithmetic, DestinationMayBeASource) {
  kFamily.for_each_op([](const Implementation &implementation, uint32_t op) {
    sweep({.formats = kRgbFormats, .widths = {1, 5, 12, 31, 1100}, .heights = {1, 9}}, 50,
          [&](const SweepCase &c) {
            Parameters p = parameters(c.seed);
            if (op >= TAVIX_BINARY_OP_OR) avoid_nan_scales(p);
            const auto call = [&](GuardedFrame &a, GuardedFrame &b, GuardedFrame &dst) {
              return implementation.entry(a, b, op, p.alpha, p.beta, p.gamma, dst);
            };
            GuardedFrame first(c.shape, c.layout), second(c.shape), expected(c.shape);
            const auto refill = [&] {
              first.fill(c.fill, c.seed);
              second.fill(Fill::noise, c.seed + 1);
            };
            refill();
            reference_frame(implementation, op, first, second, p, expected);
            EXPECT_EQ(call(first, second, first), TAVIX_OK);
            EXPECT_TRUE(same_pixels(*expected, *first)) << "dst is src1";
            refill();
            reference_frame(implementation, op, second, first, p, expected);
            EXPECT_EQ(call(second, first, first), TAVIX_OK);
            EXPECT_TRUE(same_pixels(*expected, *first)) << "dst is src2";
            refill();
            reference_frame(implementation, op, first, first, p, expected);
            EXPECT_EQ(call(first, first, first), TAVIX_OK);
            EXPECT_TRUE(same_pixels(*expected, *first)) << "dst is both";
            EXPECT_TRUE(first.intact() && second.intact());
          });
  });
}

// The AVX implementation, too, has nothing to do then, whatever the processor.
TEST(BinaryArithmetic, RecordsWithoutPixelsTouchNothing) {
  const Parameters p;
  for_each_record_without_pixels([&p](TavixFrameV2 *frame) {
    for (Entry *entry : {TavixFrameBinaryArithmeticCommonC, TavixFrameBinaryArithmeticAVX})
      for (uint32_t op = 0; op < kFamily.operations; ++op)
        EXPECT_SILENT(
            EXPECT_EQ(entry(frame, frame, op, p.alpha, p.beta, p.gamma, frame), TAVIX_OK));
  });
}

TEST(BinaryArithmetic, TheLongestRowEnds) {
  const Parameters p;
  kFamily.expect_longest_row_ends([&p](const Implementation &implementation, TavixFrameV2 *row) {
    return implementation.entry(row, row, TAVIX_BINARY_OP_AND, p.alpha, p.beta, p.gamma, row);
  });
}

}  // namespace
}  // namespace tavix::test
