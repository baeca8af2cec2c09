// SPDX-License-Identifier: Apache-2.0
// The values of portable binary arithmetic, bit for bit against a reference written element by
// element.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <bit>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <span>

#include "support/compare.h"
#include "support/core_double.h"
#include "support/seams.h"
#include "support/sweep.h"
#include "tavix/video_common_cpu.h"

namespace tavix::test {
namespace {

struct Parameters {
  double alpha[4] = {1, 1, 1, 1};
  double beta[4] = {1, 1, 1, 1};
  double gamma[4] = {0, 0, 0, 0};
};

// --- the reference -------------------------------------------------------------------------------

// Nearest integer, ties to even; INT_MIN for what an int cannot hold and for NaN.
int64_t rounded(double value) {
  const bool fits = value >= -2147483648.5 && value < 2147483647.5;
  return fits ? std::llrint(value) : INT_MIN;
}
int64_t clamped(int64_t value) {
  return value < 0 ? 0 : value > 255 ? 255 : value;
}

// What bytes, in integers, and floats have in common.
template <class Value>
Value combined(uint32_t op, Value a, Value b) {
  switch (op) {
    case TAVIX_BINARY_OP_ADD:
      return a + b;
    case TAVIX_BINARY_OP_SUB:
      return a - b;
    case TAVIX_BINARY_OP_MUL:
      return a * b;
    case TAVIX_BINARY_OP_MIN:
      return b < a ? b : a;
    case TAVIX_BINARY_OP_MAX:
      return b > a ? b : a;
    case TAVIX_BINARY_OP_ABSDIFF:
      return std::abs(a - b);
    default:
      ADD_FAILURE() << "no operation " << op;
      return a;
  }
}

uint32_t combined_patterns(uint32_t op, uint32_t a, uint32_t b) {
  return op == TAVIX_BINARY_OP_OR ? a | b : op == TAVIX_BINARY_OP_AND ? a & b : a ^ b;
}

uint8_t reference(uint32_t op, uint8_t src1, uint8_t src2, double alpha, double beta,
                  double gamma) {
  const int64_t a = clamped(rounded(double(float(src1 * alpha))));
  const int64_t b = clamped(rounded(double(float(src2 * beta))));
  if (op == TAVIX_BINARY_OP_DIV && b == 0) return 0;
  const int64_t r = op == TAVIX_BINARY_OP_DIV  ? rounded(double(a) / double(b))
                    : op >= TAVIX_BINARY_OP_OR ? combined_patterns(op, uint32_t(a), uint32_t(b))
                                               : combined(op, a, b);
  return uint8_t(clamped(rounded(std::nearbyint(gamma) + double(clamped(r)))));
}

float reference(uint32_t op, float src1, float src2, double alpha, double beta, double gamma) {
  const float a = float(double(src1) * alpha);
  const float b = float(double(src2) * beta);
  if (op == TAVIX_BINARY_OP_DIV) {
    if (std::fabs(double(b)) < DBL_EPSILON) return std::bit_cast<float>(0x25800000u);
    return float(double(a) / double(b) + gamma);
  }
  const float r = op >= TAVIX_BINARY_OP_OR
                      ? std::bit_cast<float>(combined_patterns(op, std::bit_cast<uint32_t>(a),
                                                               std::bit_cast<uint32_t>(b)))
                      : combined(op, a, b);
  return float(double(r) + gamma);
}

template <class T>
void reference_frame(uint32_t op, const GuardedFrame &src1, const GuardedFrame &src2,
                     const Parameters &p, GuardedFrame &dst) {
  const TavixVideoInfo &video = src1->video;
  for (int32_t y = 0; y < video.height; ++y)
    for (int32_t i = 0; i < video.width * video.channels; ++i) {
      const int32_t c = i % video.channels;
      dst.set(
          i, y,
          reference(op, src1.get<T>(i, y), src2.get<T>(i, y), p.alpha[c], p.beta[c], p.gamma[c]));
    }
}

// --- parameters ----------------------------------------------------------------------------------

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Halves, values next to the limits of int, and what is not a number to speak of.
constexpr double kScales[] = {
    0.0,       -0.0,       1.0,     -1.0,   0.5,     1.5,   2.5,       -0.5,
    1e-310,    0x1p-52,    0x1p-53, 0.1,    1.0 / 3, 255.0, 8421504.5, 2147483647.0 / 255,
    0x1p31,    -0x1p31,    0x1p23,  0x1p24, 1e30,    1e38,  1e308,     -1e308,
    kInfinity, -kInfinity, kNaN};
constexpr double kOffsets[] = {
    0.0,   -0.0,   0.5,    -0.5,         1.5,          2.5,          -0.50000001, 254.5,
    255.0, -255.0, -254.5, 2147483392.0, 2147483393.0, 2147483647.0, 0x1p31,      -0x1p31,
    1e308, -1e308, 1e-310, 0x1p-52,      2147483391.5, kInfinity,    -kInfinity,  kNaN};

template <size_t n>
double pick(const double (&values)[n], Random &random) {
  return values[random.below(int32_t(n))];
}

double uniform(double low, double high, Random &random) {
  return low + (high - low) * (double(random.below(1 << 20)) / (1 << 20));
}

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

using Entry = decltype(TavixFrameBinaryArithmeticCommonC);

void expect_reference(Entry *entry, uint32_t op, const SweepCase &c) {
  const FrameLayout &layout2 = kLayouts[c.seed % 4], &dst_layout = kLayouts[c.seed / 4 % 4];
  GuardedFrame src1(c.shape, c.layout), src2(c.shape, layout2), dst(c.shape, dst_layout),
      expected(c.shape);
  src1.fill(c.fill, c.seed);
  src2.fill(kFills[c.seed % 6], c.seed + 1);
  const auto before1 = src1.payload(), before2 = src2.payload();
  Parameters p = parameters(c.seed);
  const bool floats = is_float_format(c.shape.format);
  if (floats && op >= TAVIX_BINARY_OP_OR) avoid_nan_scales(p);
  (floats ? reference_frame<float> : reference_frame<uint8_t>)(op, src1, src2, p, expected);

  EXPECT_SILENT(ASSERT_EQ(entry(src1, src2, op, p.alpha, p.beta, p.gamma, dst), TAVIX_OK));
  EXPECT_TRUE(same_pixels(*expected, *dst)) << "operation " << op;
  EXPECT_TRUE(src1.intact() && src2.intact() && dst.intact());
  EXPECT_TRUE(src1.payload() == before1 && src2.payload() == before2);
}

// Each of the ten operations, on the caller's thread and on eight workers.
void for_each_op(const std::function<void(uint32_t op)> &run) {
  for (const int workers : {1, 8}) {
    const ScopedWorkers count(workers);
    for (uint32_t op = 0; op < 10 && !::testing::Test::HasFailure(); ++op) {
      SCOPED_TRACE(::testing::Message() << "operation " << op << ", " << workers << " workers");
      run(op);
    }
  }
}

TEST(BinaryArithmetic, BytesOfEveryShape) {
  for_each_op([](uint32_t op) {
    sweep({.formats = kByteFormats}, 400,
          [op](const SweepCase &c) { expect_reference(TavixFrameBinaryArithmeticCommonC, op, c); });
  });
}

TEST(BinaryArithmetic, FloatsOfEveryShape) {
  for_each_op([](uint32_t op) {
    sweep({.formats = kFloatFormats}, 400,
          [op](const SweepCase &c) { expect_reference(TavixFrameBinaryArithmeticCommonC, op, c); });
  });
}

TEST(BinaryArithmetic, AnyChannelCountInAnyFormat) {
  for_each_op([](uint32_t op) {
    sweep({.formats = kRgbFormats, .widths = numbers(1, 40), .heights = {2}}, 100,
          [op](SweepCase c) {
            for (c.shape.channels = 1; c.shape.channels <= 4; ++c.shape.channels)
              expect_reference(TavixFrameBinaryArithmeticCommonC, op, c);
          });
  });
}

TEST(BinaryArithmetic, WideFrames) {
  for_each_op([](uint32_t op) {
    sweep({.formats = kRgbFormats,
           .widths = {767, 768, 769, 1023, 1024, 1025, 3071, 3072, 3073, 6145},
           .heights = {1, 3}},
          60,
          [op](const SweepCase &c) { expect_reference(TavixFrameBinaryArithmeticCommonC, op, c); });
  });
}

TEST(BinaryArithmetic, EntryAndDispatcherGiveThePortableValuesWithoutAvx2) {
  const WithoutAvx2 portable;
  for_each_op([](uint32_t op) {
    sweep({.formats = kRgbFormats}, 60, [op](const SweepCase &c) {
      expect_reference(TavixFrameBinaryArithmeticByCPU, op, c);
      expect_reference(TavixFrameBinaryArithmeticForward, op, c);
    });
  });
}

TEST(BinaryArithmetic, EveryPairOfBytes) {
  const FrameShape shape{TAVIX_PIX_FMT_GRAY8, 256, 256};
  GuardedFrame src1(shape), src2(shape), dst(shape), expected(shape);
  for (int32_t y = 0; y < 256; ++y)
    for (int32_t x = 0; x < 256; ++x) src1.set(x, y, uint8_t(x)), src2.set(x, y, uint8_t(y));
  constexpr struct {
    double alpha, beta, gamma;
  } kSets[] = {{1, 1, 0}, {1, 1, 10}, {0.5, 1, 0}, {1, 0.5, -3}, {1.5, 0.1, 0.5}, {-1, 1, 1.5}};
  for (uint32_t op = 0; op < 10; ++op) {
    for (const auto &set : std::span(kSets).first(size_t(by_effort(6, 1)))) {
      Parameters p;
      p.alpha[0] = set.alpha, p.beta[0] = set.beta, p.gamma[0] = set.gamma;
      reference_frame<uint8_t>(op, src1, src2, p, expected);
      ASSERT_EQ(TavixFrameBinaryArithmeticCommonC(src1, src2, op, p.alpha, p.beta, p.gamma, dst),
                TAVIX_OK);
      ASSERT_TRUE(same_pixels(*expected, *dst))
          << "operation " << op << ", " << set.alpha << ' ' << set.beta << ' ' << set.gamma;
    }
  }
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
  for_each_op([](uint32_t op) {
    sweep({.formats = kRgbFormats, .widths = {1, 5, 12, 31, 1100}, .heights = {1, 9}}, 50,
          [op](const SweepCase &c) {
            Parameters p = parameters(c.seed);
            if (op >= TAVIX_BINARY_OP_OR) avoid_nan_scales(p);
            const auto reference_of =
                is_float_format(c.shape.format) ? reference_frame<float> : reference_frame<uint8_t>;
            const auto call = [&](GuardedFrame &a, GuardedFrame &b, GuardedFrame &dst) {
              return TavixFrameBinaryArithmeticCommonC(a, b, op, p.alpha, p.beta, p.gamma, dst);
            };
            GuardedFrame first(c.shape, c.layout), second(c.shape), expected(c.shape);
            const auto refill = [&] {
              first.fill(c.fill, c.seed);
              second.fill(Fill::noise, c.seed + 1);
            };
            refill();
            reference_of(op, first, second, p, expected);
            EXPECT_EQ(call(first, second, first), TAVIX_OK);
            EXPECT_TRUE(same_pixels(*expected, *first)) << "dst is src1";
            refill();
            reference_of(op, second, first, p, expected);
            EXPECT_EQ(call(second, first, first), TAVIX_OK);
            EXPECT_TRUE(same_pixels(*expected, *first)) << "dst is src2";
            refill();
            reference_of(op, first, first, p, expected);
            EXPECT_EQ(call(first, first, first), TAVIX_OK);
            EXPECT_TRUE(same_pixels(*expected, *first)) << "dst is both";
            EXPECT_TRUE(first.intact() && second.intact());
          });
  });
}

TEST(BinaryArithmetic, RecordsWithoutPixelsTouchNothing) {
  constexpr struct {
    int32_t width, height, channels;
  } kSizes[] = {{0, 3, 3},       {3, 0, 3},       {-1, 3, 3},      {3, -1, 3},
                {3, INT_MIN, 3}, {INT_MIN, 3, 3}, {3, 3, 0},       {3, 3, -1},
                {3, 3, INT_MIN}, {1 << 30, 3, 4}, {1 << 29, 3, 4}, {1 << 30, 3, 3},
                {INT_MAX, 3, 4}, {INT_MAX, 3, 2}, {INT_MIN, 3, 4}, {INT_MIN, 3, -1},
                {-1, 3, -4}};
  const Parameters p;
  for (const int workers : {1, 8}) {
    const ScopedWorkers count(workers);
    for (const auto &[width, height, channels] : kSizes) {
      for (const int32_t format : {TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_BGRF32}) {
        SCOPED_TRACE(::testing::Message() << width << 'x' << height << 'x' << channels);
        GuardedFrame frame({format, 4, 0});  // any access crashes
        frame->video.width = width, frame->video.height = height;
        frame->video.channels = channels;
        for (uint32_t op = 0; op < 10; ++op)
          EXPECT_SILENT(EXPECT_EQ(
              TavixFrameBinaryArithmeticCommonC(frame, frame, op, p.alpha, p.beta, p.gamma, frame),
              TAVIX_OK));
        frame->data[0] = nullptr;
        EXPECT_EQ(
            TavixFrameBinaryArithmeticCommonC(frame, frame, 0, p.alpha, p.beta, p.gamma, frame),
            TAVIX_OK);
      }
    }
  }
}

// A row as long as a record can say: the same few pages, mapped again and again.
TEST(BinaryArithmetic, TheLongestRowEnds) {
  if (effort() == Effort::quick) GTEST_SKIP() << "two gigabytes of addresses";
  constexpr size_t kPiece = size_t(1) << 21, kPieces = 1024;
  const int file = memfd_create("row", 0);
  ASSERT_EQ(ftruncate(file, kPiece), 0);
  void *row = mmap(nullptr, kPiece * kPieces, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(row, MAP_FAILED);
  for (size_t i = 0; i < kPieces; ++i)
    ASSERT_NE(mmap(static_cast<uint8_t *>(row) + i * kPiece, kPiece, PROT_READ | PROT_WRITE,
                   MAP_SHARED | MAP_FIXED, file, 0),
              MAP_FAILED);
  TavixFrameV2 frame = {};
  frame.video = {1, INT_MAX, 1, TAVIX_PIX_FMT_GRAY8, 0, 0};
  frame.data[0] = static_cast<uint8_t *>(row);
  frame.data[0][kPiece - 2] = 77;
  const Parameters p;
  EXPECT_EQ(TavixFrameBinaryArithmeticCommonC(&frame, &frame, TAVIX_BINARY_OP_AND, p.alpha, p.beta,
                                              p.gamma, &frame),
            TAVIX_OK);
  EXPECT_EQ(frame.data[0][kPiece - 2], 77);
  munmap(row, kPiece * kPieces);
  close(file);
}

}  // namespace
}  // namespace tavix::test
