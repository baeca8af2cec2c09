// SPDX-License-Identifier: Apache-2.0
// The values of unary arithmetic, bit for bit against references written element by element: one in
// double precision for the portable implementation, one in single precision for the AVX one.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>

#include "arithmetic_sweeps.h"
#include "cpu/x86/arithmetic/library_math.h"
#include "support/compare.h"
#include "support/core_double.h"
#include "support/seams.h"
#include "tavix/video_common_cpu.h"
#include "unary_reference.h"

namespace tavix::test {
namespace {

struct Parameters {
  double scale[4] = {1, 1, 1, 1};
  double offset[4] = {0, 0, 0, 0};
};

using Entry = decltype(TavixFrameUnaryArithmeticCommonC);
using Implementation =
    ArithmeticImplementation<Entry, uint8_t(int32_t, uint8_t, double, double, Place),
                             float(int32_t, float, double, double, Place)>;
constexpr ArithmeticFamily<Implementation, int32_t> kFamily = {
    {"CommonC", TavixFrameUnaryArithmeticCommonC, unary_double, unary_double},
    {"AVX", TavixFrameUnaryArithmeticAVX, unary_single, unary_single},
    TavixFrameUnaryArithmeticByCPU,
    TavixFrameUnaryArithmeticForward,
    4,
    unary_op_name};

// --- comparison ----------------------------------------------------------------------------------

template <class T>
void expect_elements(const Implementation &implementation,
                     T (*element)(int32_t, T, double, double, Place), int32_t op,
                     const std::vector<uint8_t> &src, const Parameters &p,
                     const GuardedFrame &dst) {
  const TavixVideoInfo &video = dst->video;
  const int32_t n = video.width * video.channels;
  const bool near_only = std::is_same_v<T, float> && op == TAVIX_UNARY_OP_EXP &&
                         implementation.real == kFamily.vector.real;
  for (int32_t y = 0; y < video.height; ++y)
    for (int32_t i = 0; i < n; ++i) {
      T x;
      std::memcpy(&x, &src[(size_t(y) * size_t(n) + size_t(i)) * sizeof(T)], sizeof(T));
      const int32_t c = i % video.channels;
      const Place place = place_of(i, n, video.channels);
      const T expected = element(op, x, p.scale[c], p.offset[c], place), actual = dst.get<T>(i, y);
      if (same_value(expected, actual)) continue;
      if (near_only && place == Place::block &&
          is_near_expf(float(x), p.scale[c], p.offset[c], float(actual)))
        continue;
      auto failure = ::testing::AssertionFailure() << "row " << y << ", element " << i << " of ";
      print_value(failure, x);
      print_value(failure << " scale " << p.scale[c] << " offset " << p.offset[c] << ": expected ",
                  expected);
      print_value(failure << ", actual ", actual);
      GTEST_ASSERT_(failure, GTEST_FATAL_FAILURE_);
    }
}

void expect_reference(const Implementation &implementation, int32_t op,
                      const std::vector<uint8_t> &src, const Parameters &p,
                      const GuardedFrame &dst) {
  if (is_float_format(dst->video.format))
    expect_elements<float>(implementation, implementation.real, op, src, p, dst);
  else
    expect_elements<uint8_t>(implementation, implementation.byte, op, src, p, dst);
}

// Neutral, ordinary, adversarial, and mixed sets in turn. Ordinary scales keep the functions of
// bytes in the range of bytes.
Parameters parameters(int32_t op, uint64_t seed) {
  Random random(seed);
  Parameters p;
  const uint64_t kind = random.next() % 4;
  const double most = op == TAVIX_UNARY_OP_EXP ? 0.03 : 3;
  for (int c = 0; c < 4 && kind > 0; ++c) {
    const bool ordinary = kind == 1 || (kind == 3 && random.below(2) == 0);
    p.scale[c] = ordinary ? uniform(-most / 3, most, random) : pick(kScales, random);
    p.offset[c] = ordinary ? uniform(-300, 300, random) : pick(kOffsets, random);
  }
  if (seed % 5 == 0)  // all channels alike
    for (int c = 1; c < 4; ++c) p.scale[c] = p.scale[0], p.offset[c] = p.offset[0];
  return p;
}

void expect_case(const Implementation &implementation, int32_t op, const SweepCase &c) {
  GuardedFrame src(c.shape, c.layout), dst(c.shape, kLayouts[c.seed / 4 % 4]);
  src.fill(c.fill, c.seed);
  const auto before = src.payload();
  const Parameters p = parameters(op, c.seed);
  EXPECT_SILENT(ASSERT_EQ(implementation.entry(src, op, p.scale, p.offset, dst), TAVIX_OK));
  expect_reference(implementation, op, before, p, dst);
  EXPECT_TRUE(src.intact() && dst.intact());
  EXPECT_TRUE(src.payload() == before);

  EXPECT_EQ(implementation.entry(src, op, p.scale, p.offset, src), TAVIX_OK);
  EXPECT_TRUE(same_pixels(*dst, *src)) << "in place";
  EXPECT_TRUE(src.intact());
}

// --- sweeps --------------------------------------------------------------------------------------

class UnaryArithmeticSweeps : public ArithmeticSweeps {};
TEST_P(UnaryArithmeticSweeps, EqualTheReference) {
  kFamily.run(GetParam(), expect_case);
}
INSTANTIATE_TEST_SUITE_P(, UnaryArithmeticSweeps, kEverySweep, sweep_name);

// Every byte in every lane of the lookups, in blocks and after them, for channels that differ.
TEST(UnaryArithmetic, EveryByteEverywhere) {
  for (const int32_t format : {TAVIX_PIX_FMT_GRAY8, TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_BGRA32}) {
    const FrameShape shape{format, 301, 256};
    GuardedFrame src(shape), dst(shape);
    for (int32_t y = 0; y < 256; ++y)
      for (int32_t i = 0; i < 301 * src->video.channels; ++i) src.set(i, y, uint8_t(i * 37 + y));
    const auto before = src.payload();
    Parameters p = {{0.017, 0.013, 0.02, 0.006}, {1, -3, 70.5, 5}};
    kFamily.for_each_op([&](const Implementation &implementation, int32_t op) {
      ASSERT_EQ(implementation.entry(src, op, p.scale, p.offset, dst), TAVIX_OK);
      expect_reference(implementation, op, before, p, dst);
    });
  }
}

// Channels with one scale and offsets of their own share no map of bytes, nor the other way round.
TEST(UnaryArithmetic, ChannelsThatDifferInOneParameter) {
  const FrameShape shape{TAVIX_PIX_FMT_BGR24, 256, 1};
  GuardedFrame src(shape), dst(shape);
  for (int32_t i = 0; i < 3 * 256; ++i) src.set(i, 0, uint8_t(i / 3));
  const auto before = src.payload();
  kFamily.for_each_op([&](const Implementation &implementation, int32_t op) {
    for (const Parameters &p : {Parameters{{0.02, 0.02, 0.02, 0}, {1, 2, 40.5, 0}},
                                Parameters{{0.02, 0.01, 0.03, 0}, {1, 1, 1, 0}}}) {
      ASSERT_EQ(implementation.entry(src, op, p.scale, p.offset, dst), TAVIX_OK);
      expect_reference(implementation, op, before, p, dst);
    }
  });
}

// Where the reference leaves a choice, too, wider vectors choose as AVX2 does.
TEST(UnaryArithmetic, WiderLevelsGiveTheBitsOfAvx2) {
  if (!module::use_avx2()) GTEST_SKIP() << "no AVX2";
  sweep({.formats = kFloatFormats, .heights = {1, 3}}, 300, [](const SweepCase &c) {
    GuardedFrame src(c.shape, c.layout), expected(c.shape), actual(c.shape);
    src.fill(c.fill, c.seed);
    const Parameters p = parameters(TAVIX_UNARY_OP_EXP, c.seed);
    for (const module::CpuLevel level : levels()) {
      if (level == module::CpuLevel::kPortable) continue;
      const ScopedLevel scoped(level);
      GuardedFrame &dst = level == module::CpuLevel::kAvx2 ? expected : actual;
      ASSERT_EQ(TavixFrameUnaryArithmeticAVX(src, TAVIX_UNARY_OP_EXP, p.scale, p.offset, dst),
                TAVIX_OK);
      if (level != module::CpuLevel::kAvx2) {
        ASSERT_TRUE(same_pixels(*expected, *actual));
      }
    }
  });
}

#if defined(__x86_64__)
// A logarithm of the C library that vectors do not know is called for every element.
TEST(UnaryArithmetic, OfAnUnknownLibrary) {
  if (!module::use_avx2()) GTEST_SKIP() << "no AVX2";
  const auto successor = [](float x) { return x + 1; };
  auto &library = const_cast<module::LibraryFunction &>(module::library_logf());
  const Scoped<module::LibraryFunction> unknown(library, {successor, false});
  sweep({.formats = kFloatFormats, .heights = {1, 3}}, 300, [&](const SweepCase &c) {
    GuardedFrame src(c.shape, c.layout), dst(c.shape);
    src.fill(c.fill, c.seed);
    const Parameters p = parameters(TAVIX_UNARY_OP_LOG, c.seed);
    ASSERT_EQ(TavixFrameUnaryArithmeticAVX(src, TAVIX_UNARY_OP_LOG, p.scale, p.offset, dst),
              TAVIX_OK);
    const int32_t channels = src->video.channels;
    for (int32_t y = 0; y < src->video.height; ++y)
      for (int32_t i = 0; i < src->video.width * channels; ++i) {
        const float v = src.get<float>(i, y) * float(p.scale[i % channels]);
        const float expected =
            successor(v <= FLT_EPSILON ? FLT_EPSILON : v) + float(p.offset[i % channels]);
        ASSERT_TRUE(same_value(expected, dst.get<float>(i, y))) << "row " << y << ", element " << i;
      }
  });
}
#endif

// --- pinned values -------------------------------------------------------------------------------

// The value of one sample, as every element of a row long enough for a block and singles.
template <class T>
T value_of(Entry *entry, int32_t op, T x, double scale, double offset) {
  const FrameShape shape{sizeof(T) == 1 ? TAVIX_PIX_FMT_GRAY8 : TAVIX_PIX_FMT_GRAYF32, 11, 1};
  GuardedFrame src(shape), dst(shape);
  for (int32_t i = 0; i < 11; ++i) src.set(i, 0, x);
  // Only the first entry of each set is meant for one channel.
  const double scales[4] = {scale, kNaN, 7, 7}, offsets[4] = {offset, kNaN, 7, 7};
  EXPECT_EQ(entry(src, op, scales, offsets, dst), TAVIX_OK);
  for (int32_t i = 1; i < 11; ++i)
    EXPECT_TRUE(same_value(dst.get<T>(0, 0), dst.get<T>(i, 0))) << "element " << i;
  return dst.get<T>(0, 0);
}

TEST(UnaryArithmetic, PinnedBytesOfBothImplementations) {
  for (const Implementation &implementation : kFamily.implementations()) {
    SCOPED_TRACE(implementation.name);
    const auto byte = [&](int32_t op, int x, double scale, double offset) {
      return int(value_of(implementation.entry, op, uint8_t(x), scale, offset));
    };
    EXPECT_EQ(byte(TAVIX_UNARY_OP_EXP, 5, 1, 0), 148);
    EXPECT_EQ(byte(TAVIX_UNARY_OP_EXP, 6, 1, 0), 255);
    EXPECT_EQ(byte(TAVIX_UNARY_OP_EXP, 21, 1, 0), 255);
    EXPECT_EQ(byte(TAVIX_UNARY_OP_EXP, 22, 1, 0), 0) << "2^31 and more is 0";
    EXPECT_EQ(byte(TAVIX_UNARY_OP_LOG, 0, 1, 10), 0);
    EXPECT_EQ(byte(TAVIX_UNARY_OP_LOG, 255, 1, 0), 6);
    EXPECT_EQ(byte(TAVIX_UNARY_OP_SQRT, 9, -1, 7.5), 8) << "0 of a negative value, ties to even";
    EXPECT_EQ(byte(TAVIX_UNARY_OP_SQRT, 16, 1, 0), 4);
    for (const auto &[x, rounded] : {std::pair(0, 0), {1, 2}, {2, 2}, {3, 4}})
      EXPECT_EQ(byte(TAVIX_UNARY_OP_MUL_ADD, x, 1, 0.5), rounded);
    EXPECT_EQ(byte(TAVIX_UNARY_OP_MUL_ADD, 1, 2.5, 0), 2);
    EXPECT_EQ(byte(TAVIX_UNARY_OP_MUL_ADD, 1, 3.5, 0), 4);
    EXPECT_EQ(byte(TAVIX_UNARY_OP_MUL_ADD, 1, kNaN, 9), 0);
    EXPECT_EQ(byte(TAVIX_UNARY_OP_MUL_ADD, 1, 0x1p31, 0), 0);
    EXPECT_EQ(byte(TAVIX_UNARY_OP_MUL_ADD, 1, 0, kInfinity), 0);
    EXPECT_EQ(byte(TAVIX_UNARY_OP_MUL_ADD, 100, 1, -200), 0);
  }
}

TEST(UnaryArithmetic, PinnedFloatsOfBothImplementations) {
  for (const Implementation &implementation : kFamily.implementations()) {
    SCOPED_TRACE(implementation.name);
    const auto real = [&](int32_t op, float x, double scale, double offset) {
      return value_of(implementation.entry, op, x, scale, offset);
    };
    EXPECT_TRUE(std::isnan(real(TAVIX_UNARY_OP_MUL_ADD, NAN, 1, 0)));
    EXPECT_TRUE(std::isnan(real(TAVIX_UNARY_OP_EXP, NAN, 1, 0)));
    EXPECT_EQ(real(TAVIX_UNARY_OP_MUL_ADD, 200.0f, 2, 0.5), 400.5f) << "not clamped";
    EXPECT_EQ(real(TAVIX_UNARY_OP_SQRT, -4.0f, 1, 3), 3.0f);
    EXPECT_EQ(real(TAVIX_UNARY_OP_SQRT, 2.0f, 2, 3), 5.0f);
    EXPECT_EQ(real(TAVIX_UNARY_OP_EXP, 0.0f, 1, -1), 0.0f);
    EXPECT_EQ(real(TAVIX_UNARY_OP_EXP, 1000.0f, 1, 0), INFINITY);
    EXPECT_EQ(real(TAVIX_UNARY_OP_EXP, -1000.0f, 1, 0), 0.0f);
    EXPECT_EQ(real(TAVIX_UNARY_OP_LOG, 1.0f, 1, 2), 2.0f);
    EXPECT_EQ(real(TAVIX_UNARY_OP_LOG, INFINITY, 1, 2), INFINITY);
  }
}

// --- frames that are hardly frames ---------------------------------------------------------------

// The portable implementation wants planes all the same. The AVX one has nothing to do, whatever
// the processor.
TEST(UnaryArithmetic, RecordsWithoutPixelsTouchNothing) {
  const Parameters p;
  for_each_record_without_pixels([&p](TavixFrameV2 *frame) {
    for (int32_t op = 0; op < kFamily.operations; ++op) {
      EXPECT_SILENT(
          EXPECT_EQ(TavixFrameUnaryArithmeticAVX(frame, op, p.scale, p.offset, frame), TAVIX_OK));
      if (frame->data[0] == nullptr) continue;
      EXPECT_SILENT(EXPECT_EQ(TavixFrameUnaryArithmeticCommonC(frame, op, p.scale, p.offset, frame),
                              TAVIX_OK));
    }
  });
}

TEST(UnaryArithmetic, TheLongestRowEnds) {
  const Parameters p;
  kFamily.expect_longest_row_ends([&p](const Implementation &implementation, TavixFrameV2 *row) {
    return implementation.entry(row, TAVIX_UNARY_OP_SQRT, p.scale, p.offset, row);
  });
}

}  // namespace
}  // namespace tavix::test
