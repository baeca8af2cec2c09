// SPDX-License-Identifier: Apache-2.0
// Every place where the portable and the AVX2 implementation give different numbers. The rows are
// those of docs/numbers.md, word for word; each is pinned by values of both implementations.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <string>
#include <vector>

#include "arithmetic_cases.h"
#include "softmax_exp.h"
#include "support/compare.h"
#include "support/guarded_blob.h"
#include "support/guarded_frame.h"
#include "support/seams.h"
#include "tavix/video_common_cpu.h"

namespace tavix::test {
namespace {

constexpr float kFloatEpsilon = 0x1p-23f, kDoubleEpsilon = 0x1p-52f;
const float kLogOfLeast = float(std::log(0x1p-52)), kAvxLogOfLeast = logf(0x1p-23f);

// What one element becomes in either implementation; for the AVX2 one in a whole block of its row
// and as a single element after it.
template <class T>
struct Values {
  T portable, block, single;
};

template <class T>
GuardedFrame grey_row(T value) {
  GuardedFrame frame({sizeof(T) == 1 ? TAVIX_PIX_FMT_GRAY8 : TAVIX_PIX_FMT_GRAYF32, 9, 1});
  for (int32_t i = 0; i < 9; ++i) frame.set(i, 0, value);
  return frame;
}

template <class T, class Run>
Values<T> values_of(const Run &run) {
  GuardedFrame portable = grey_row(T(0)), avx = grey_row(T(0));
  run(portable, false), run(avx, true);
  return {portable.get<T>(0, 0), avx.get<T>(0, 0), avx.get<T>(8, 0)};
}

template <class T>
Values<T> binary(uint32_t op, T a, T b, double alpha, double beta, double gamma) {
  GuardedFrame src1 = grey_row(a), src2 = grey_row(b);
  return values_of<T>([&](TavixFrameV2 *dst, bool avx) {
    const auto entry = avx ? TavixFrameBinaryArithmeticAVX : TavixFrameBinaryArithmeticCommonC;
    EXPECT_EQ(entry(src1, src2, op, std::vector(4, alpha).data(), std::vector(4, beta).data(),
                    std::vector(4, gamma).data(), dst),
              TAVIX_OK);
  });
}

template <class T>
Values<T> unary(int32_t op, T x, double scale, double offset) {
  GuardedFrame src = grey_row(x);
  return values_of<T>([&](TavixFrameV2 *dst, bool avx) {
    const auto entry = avx ? TavixFrameUnaryArithmeticAVX : TavixFrameUnaryArithmeticCommonC;
    EXPECT_EQ(entry(src, op, std::vector(4, scale).data(), std::vector(4, offset).data(), dst),
              TAVIX_OK);
  });
}

template <class T>
void expect_values(const Values<T> &actual, T portable, T block, T single) {
  EXPECT_TRUE(same_value(portable, actual.portable)) << +actual.portable << ", portable";
  EXPECT_TRUE(same_value(block, actual.block)) << +actual.block << ", in a block";
  EXPECT_TRUE(same_value(single, actual.single)) << +actual.single << ", single";
}
void expect_bytes(const Values<uint8_t> &actual, int portable, int block, int single) {
  expect_values<uint8_t>(actual, uint8_t(portable), uint8_t(block), uint8_t(single));
}
void expect_bytes(const Values<uint8_t> &actual, int portable, int avx) {
  expect_bytes(actual, portable, avx, avx);
}
void expect_floats(const Values<float> &actual, float portable, float avx) {
  expect_values(actual, portable, avx, avx);
}

using Line = std::vector<float>;

Line softmax(decltype(TavixBlobSoftmaxAVX) *entry, const Line &x) {
  const std::vector<int32_t> dims = {1, int32_t(x.size())};
  GuardedBlob src(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NCHW, dims),
      dst(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NCHW, dims);
  std::copy(x.begin(), x.end(), src.elements<float>().begin());
  EXPECT_EQ(entry(src, -1, dst), TAVIX_OK);
  return Line(dst.elements<float>().begin(), dst.elements<float>().end());
}

struct Difference {
  const char *operation, *where, *portable, *avx;
  void (*pin)();

  std::string line() const {
    return std::string("| ") + operation + " | " + where + " | " + portable + " | " + avx + " |";
  }
};

const Difference kDifferences[] = {
    {"binary, 8-bit", "scaled operand", "product in double, narrowed to float, rounded",
     "scale narrowed to float, product in float, rounded",
     [] {
       expect_bytes(binary<uint8_t>(TAVIX_BINARY_OP_ADD, 95, 0, 0.3, 1, 0), 28, 29);
       expect_bytes(binary<uint8_t>(TAVIX_BINARY_OP_ADD, 50, 0, 0.59, 1, 0), 30, 29);
     }},
    {"binary, 8-bit", "offset", "rounded and added, the sum clamped",
     "rounded and clamped to 0..255, then added: a negative one has no effect",
     [] {
       expect_bytes(binary<uint8_t>(TAVIX_BINARY_OP_ADD, 10, 20, 1, 1, -5), 25, 30);
       expect_bytes(binary<uint8_t>(TAVIX_BINARY_OP_ADD, 10, 20, 1, 1, 5), 35, 35);
       expect_bytes(binary<uint8_t>(TAVIX_BINARY_OP_ADD, 1, 0, 1, 1, 2147483647.0), 0, 1);
     }},
    {"binary, 8-bit divide", "zero divisor", "0, without the offset",
     "2^-23 - offset, rounded and clamped, and the offset, rounded and clamped",
     [] {
       for (const int gamma : {10, -10})
         expect_bytes(binary<uint8_t>(TAVIX_BINARY_OP_DIV, 9, 0, 1, 1, gamma), 0, 10);
       expect_bytes(binary<uint8_t>(TAVIX_BINARY_OP_DIV, 9, 0, 1, 1, 0), 0, 0);
       expect_bytes(binary<uint8_t>(TAVIX_BINARY_OP_DIV, 9, 0, 1, 1, -0.5), 0, 1);
       expect_bytes(binary<uint8_t>(TAVIX_BINARY_OP_DIV, 9, 0, 1, 1, 300), 0, 255);
     }},
    {"binary, float", "scaled operand", "product in double, narrowed to float",
     "scale narrowed to float, product in float",
     [] {
       expect_floats(binary(TAVIX_BINARY_OP_ADD, 9.0f, 0.0f, 0.1, 1, 0), 0x1.ccccccp-1f,
                     0x1.ccccccp-1f + 0x1p-24f);
     }},
    {"binary, float", "offset", "added in double, the sum narrowed to float",
     "narrowed to float, added in float",
     [] {
       expect_floats(binary(TAVIX_BINARY_OP_ADD, 4.0f, 0.0f, 0.1, 1, 0.3), 0x1.666666p-1f,
                     0x1.666668p-1f);
       expect_floats(binary(TAVIX_BINARY_OP_ADD, 16777216.0f, 0.0f, 1, 1, 1.00000001), 16777218.0f,
                     16777216.0f);
     }},
    {"binary, float divide", "quotient", "a double until the offset is added", "a float",
     [] {
       expect_floats(binary(TAVIX_BINARY_OP_DIV, 1.0f, 7.0f, 1, 1, 0.1), 0x1.f15f16p-3f,
                     0x1.f15f18p-3f);
     }},
    {"binary, float divide", "zero divisor", "below 2^-52 in magnitude: 2^-52",
     "below 2^-23 in magnitude: (2^-23 - offset) + offset",
     [] {
       expect_floats(binary(TAVIX_BINARY_OP_DIV, 5.0f, 0.0f, 1, 1, 0), kDoubleEpsilon,
                     kFloatEpsilon);
       expect_floats(binary(TAVIX_BINARY_OP_DIV, 5.0f, -0.0f, 1, 1, 10), kDoubleEpsilon, 0.0f);
       expect_floats(binary(TAVIX_BINARY_OP_DIV, 1.0f, 0x1p-24f, 1, 1, 0), 0x1p24f, kFloatEpsilon);
       expect_floats(binary(TAVIX_BINARY_OP_DIV, 1.0f, 0x1p-23f, 1, 1, 0), 0x1p23f, 0x1p23f);
     }},
    {"binary and unary", "parameter that no float can hold", "as it is", "infinity or 0",
     [] {
       expect_bytes(binary<uint8_t>(TAVIX_BINARY_OP_ADD, 0, 7, 1e39, 1, 0), 7, 7);
       expect_floats(binary(TAVIX_BINARY_OP_ADD, 0.0f, 7.0f, 1e39, 1, 0), 7.0f, NAN);
       expect_floats(binary(TAVIX_BINARY_OP_ADD, 1e38f, 7.0f, 1e-50, 1, 0), 7.0f, 7.0f);
       expect_floats(unary(TAVIX_UNARY_OP_MUL_ADD, 0x1p127f, 0x1p-200, 0), 0x1p-73f, 0.0f);
     }},
    {"unary, 8-bit", "scaled sample, function and sum", "in double", "in float",
     [] {
       expect_bytes(unary<uint8_t>(TAVIX_UNARY_OP_MUL_ADD, 90, 0.7, 0.5), 63, 64);
       expect_bytes(unary<uint8_t>(TAVIX_UNARY_OP_MUL_ADD, 85, 0.7, 2), 61, 62);
     }},
    {"unary, float", "scaled sample, function and sum", "in double, narrowed to float once",
     "in float, each step rounded",
     [] {
       expect_floats(unary(TAVIX_UNARY_OP_MUL_ADD, 4.0f, 0.1, 0.3), 0x1.666666p-1f, 0x1.666668p-1f);
       expect_floats(unary(TAVIX_UNARY_OP_SQRT, 16777216.0f * 16777216.0f, 1, 1.00000001),
                     16777218.0f, 16777216.0f);
     }},
    {"unary square root", "NaN, in a whole block of 8 elements (24 with three channels)",
     "NaN; 0 in 8-bit frames", "square root 0: the offset",
     [] {
       expect_values<float>(unary(TAVIX_UNARY_OP_SQRT, NAN, 1, 3), NAN, 3.0f, NAN);
       expect_bytes(unary<uint8_t>(TAVIX_UNARY_OP_SQRT, 4, kNaN, 7), 0, 7, 0);
     }},
    {"unary square root, float", "-0, in a whole block", "-0", "0",
     [] { expect_values<float>(unary(TAVIX_UNARY_OP_SQRT, -0.0f, 1, -0.0), -0.0f, 0.0f, -0.0f); }},
    {"unary exponential, float", "in a whole block", "exp",
     "within one unit in the last place of expf",
     [] {
       float farthest = 0;
       for (float x = -2; x < 2; x += 0x1p-9f) {
         const Values<float> values = unary(TAVIX_UNARY_OP_EXP, x, 1, 0);
         EXPECT_EQ(values.portable, float(std::exp(double(x))));
         EXPECT_EQ(values.single, expf(x));
         const float ulp = std::nextafter(expf(x), INFINITY) - expf(x);
         farthest = std::max(farthest, std::fabs(values.block - expf(x)) / ulp);
       }
       EXPECT_EQ(farthest, 1.0f);
     }},
    {"unary logarithm", "least sample value", "2^-52: its logarithm is -36.04",
     "2^-23: its logarithm is -15.94",
     [] {
       expect_floats(unary(TAVIX_UNARY_OP_LOG, 0.0f, 1, 0), kLogOfLeast, kAvxLogOfLeast);
       expect_floats(unary(TAVIX_UNARY_OP_LOG, 0x1p-30f, 1, 0), float(-30 * std::log(2.0)),
                     kAvxLogOfLeast);
       expect_bytes(unary<uint8_t>(TAVIX_UNARY_OP_LOG, 0, 1, 100), 64, 84);
     }},
    {"unary logarithm", "NaN", "counts as the least value", "NaN; 0 in 8-bit frames",
     [] {
       expect_floats(unary(TAVIX_UNARY_OP_LOG, NAN, 1, 0), kLogOfLeast, NAN);
       expect_bytes(unary<uint8_t>(TAVIX_UNARY_OP_LOG, 5, kNaN, 100), 64, 0);
     }},
    {"softmax, last axis", "exponential, in a whole block of 8", "expf",
     "within one unit in the last place of expf",
     [] {
       int others = 0;  // where the two exponentials differ
       for (float d = -4; d < 0; d += 0x1p-9f) {
         const float e = expf(d), block = softmax_exp(d);
         const Line in_block = {d, 0, -200, -200, -200, -200, -200, -200};
         EXPECT_EQ(softmax(TavixBlobSoftmaxCommonC, in_block)[0], e / (1.0f + e));
         EXPECT_EQ(softmax(TavixBlobSoftmaxAVX, in_block)[0], block / (1.0f + block));
         const Line after_block = {0, -200, -200, -200, -200, -200, -200, -200, d};
         EXPECT_EQ(softmax(TavixBlobSoftmaxAVX, after_block)[8], e / (1.0f + e));
         others += e != block;
       }
       EXPECT_GT(others, 0);
     }},
    {"softmax, last axis", "sum", "in order",
     "eight lanes; upper plus lower half, neighbours twice, then the rest in order",
     [] {
       // Each exponential but the first is too small to change 1; eight of them together are not.
       Line x(64, -16.7f);
       x[0] = 0;
       EXPECT_EQ(softmax(TavixBlobSoftmaxCommonC, x)[0], 1.0f);
       float lane = 0;
       for (int k = 0; k < 8; ++k) lane += softmax_exp(-16.7f);
       const float quarter = lane + lane;
       const float sum = ((1.0f + lane) + quarter) + (quarter + quarter);
       EXPECT_EQ(softmax(TavixBlobSoftmaxAVX, x)[0], 1.0f / sum);
       EXPECT_GT(sum, 1.0f);
     }},
};

TEST(PathDifferences, ArePinned) {
  if (!module::use_avx2()) GTEST_SKIP() << "one path only";
  for (const Difference &difference : kDifferences) {
    SCOPED_TRACE(difference.line());
    difference.pin();
  }
}

// The rows of the table, in this order and none besides.
TEST(PathDifferences, AreDocumented) {
  std::ifstream document(TAVIX_DOCS "/numbers.md");
  std::vector<std::string> documented, expected;
  for (std::string line; std::getline(document, line);)
    if (line.starts_with("| ") && !line.starts_with("| operation")) documented.push_back(line);
  for (const Difference &difference : kDifferences) expected.push_back(difference.line());
  EXPECT_EQ(documented, expected);
}

}  // namespace
}  // namespace tavix::test
