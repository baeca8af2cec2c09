// SPDX-License-Identifier: Apache-2.0
// The vector exponentials and logarithm beside the C library's functions: all floats with
// TAVIX_TEST_EFFORT=exhaustive, else an even selection of them.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <iostream>
#include <map>
#include <thread>
#include <vector>

#include "cpu/x86/arithmetic/library_math_avx2.h"
#include "cpu_dispatch/cpu_features.h"
#include "support/compare.h"
#include "support/guarded_bytes.h"
#include "support/sweep.h"
#include "vector_math_avx2.h"

namespace tavix::test {
namespace {

using RowFunction = void (*)(const float *x, float *y, int32_t n);
using LibraryFunction = float (*)(float);

// check(x, expected, actual) for floats of every exponent and both signs, on two threads.
template <class Result>
Result over_floats(RowFunction row, LibraryFunction library,
                   void (*check)(Result &result, float x, float expected, float actual)) {
  constexpr uint64_t kAll = uint64_t(1) << 32;
  constexpr int32_t kRow = 4096;
  const uint64_t step = effort() == Effort::exhaustive ? 1 : uint64_t(by_effort(61, 4099));
  const auto run = [&](uint64_t first, Result &result) {
    std::vector<float> x(kRow), y(kRow);
    for (uint64_t bits = first; bits < kAll;) {
      int32_t n = 0;
      for (; n < kRow && bits < kAll; ++n, bits += 2 * step)
        x[size_t(n)] = std::bit_cast<float>(uint32_t(bits));
      row(x.data(), y.data(), n);
      for (size_t i = 0; i < size_t(n); ++i) check(result, x[i], library(x[i]), y[i]);
    }
  };
  Result results[2];
  std::thread other(run, step, std::ref(results[1]));
  run(0, results[0]);
  other.join();
  results[0] += results[1];
  return results[0];
}

struct Mismatches {
  uint64_t count = 0, compared = 0;
  float x = 0, expected = 0, actual = 0;  // of one of them

  void operator+=(const Mismatches &other) {
    compared += other.compared;
    if (other.count > 0) x = other.x, expected = other.expected, actual = other.actual;
    count += other.count;
  }
};

// The bits of NaN results, too, are the library's.
void expect_library_bits(RowFunction row, LibraryFunction library) {
  const auto result = over_floats<Mismatches>(
      row, library, [](Mismatches &m, float x, float expected, float actual) {
        ++m.compared;
        if (std::bit_cast<uint32_t>(expected) == std::bit_cast<uint32_t>(actual)) return;
        ++m.count, m.x = x, m.expected = expected, m.actual = actual;
      });
  std::cout << result.compared << " floats compared\n";
  EXPECT_EQ(result.count, 0u) << "f(" << result.x << ") is " << result.expected << ", not "
                              << result.actual;
}

class LibraryMath : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!module::use_avx2()) GTEST_SKIP() << "no AVX2";
  }
};

TEST_F(LibraryMath, ExpfBitForBit) {
  expect_library_bits(module::expf_row_avx2, expf);
}

TEST_F(LibraryMath, LogfBitForBit) {
  expect_library_bits(module::logf_row_avx2, logf);
}

// Every length of a row, ending at a page nobody may touch.
TEST_F(LibraryMath, RowsOfEveryLength) {
  for (const auto &[row, library] :
       {std::pair<RowFunction, LibraryFunction>{module::expf_row_avx2, expf},
        {module::logf_row_avx2, logf}})
    for (int32_t n : numbers(0, 1100)) {
      const GuardedBytes in(size_t(n) * 4), out(size_t(n) * 4);
      auto *x = reinterpret_cast<float *>(in.data()), *y = reinterpret_cast<float *>(out.data());
      std::vector<float> expected;
      for (int32_t i = 0; i < n; ++i) {
        x[i] = 0.9f + 0.0003f * float(i);
        expected.push_back(library(x[i]));
      }
      row(x, y, n);
      ASSERT_TRUE(same_values<float>(expected, {y, size_t(n)})) << n;
      ASSERT_TRUE(in.intact() && out.intact());
    }
}

// Distances of the single-precision exponential from expf, in units in the last place.
using Histogram = std::map<int64_t, uint64_t>;
struct Distances {
  Histogram histogram;
  uint64_t wrong_nan = 0;

  void operator+=(const Distances &other) {
    for (const auto &[distance, count] : other.histogram) histogram[distance] += count;
    wrong_nan += other.wrong_nan;
  }
};

TEST_F(LibraryMath, SinglePrecisionExponentialIsWithinOneUnitOfExpf) {
  const auto result = over_floats<Distances>(
      exp_row_avx2, expf, [](Distances &d, float, float expected, float actual) {
        // Results are not negative: their patterns are in order.
        if (std::isnan(expected) || std::isnan(actual))
          d.wrong_nan += std::isnan(expected) != std::isnan(actual);
        else
          ++d.histogram[int64_t(std::bit_cast<int32_t>(actual)) - std::bit_cast<int32_t>(expected)];
      });
  for (const auto &[distance, count] : result.histogram)
    std::cout << distance << " units in the last place: " << count << " floats\n";
  EXPECT_EQ(result.wrong_nan, 0u);
  EXPECT_GE(result.histogram.begin()->first, -1);
  EXPECT_LE(result.histogram.rbegin()->first, 1);
  EXPECT_GT(result.histogram.at(0), 0u);
}

TEST_F(LibraryMath, SinglePrecisionExponentialOfSpecialValues) {
  const float x[] = {0.0f, -0.0f, INFINITY, -INFINITY, NAN, 88.72284f, -103.97209f, 1e-45f};
  float y[8];
  exp_row_avx2(x, y, 8);
  const float expected[] = {1, 1, INFINITY, 0, NAN, INFINITY, 0, 1};
  for (int i = 0; i < 8; ++i) EXPECT_TRUE(same_value(expf(x[i]), y[i])) << x[i];
  for (int i = 0; i < 8; ++i) EXPECT_TRUE(same_value(expected[i], y[i])) << x[i];
}

}  // namespace
}  // namespace tavix::test
