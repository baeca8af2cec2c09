// SPDX-License-Identifier: Apache-2.0
// The exponential and the logarithm of rows beside the C library's functions: all floats with
// TAVIX_TEST_EFFORT=exhaustive, else an even selection of them.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <iostream>
#include <thread>
#include <vector>

#include "cpu/x86/arithmetic/library_math_avx2.h"
#include "cpu_dispatch/cpu_features.h"
#include "support/compare.h"
#include "support/guarded_bytes.h"
#include "support/sweep.h"

namespace tavix::test {
namespace {

using RowFunction = void (*)(const float *x, float *y, int32_t n);
void expf_row(const float *x, float *y, int32_t n) {
  module::expf_row_avx2(x, y, n);
}
void logf_row(const float *x, float *y, int32_t n) {
  module::logf_row_avx2(x, y, n);
}
void expf_row_of_any_library(const float *x, float *y, int32_t n) {
  module::expf_row_avx2(x, y, n, {expf, false});
}
void logf_row_of_any_library(const float *x, float *y, int32_t n) {
  module::logf_row_avx2(x, y, n, {logf, false});
}
using LibraryFunction = float (*)(float);

struct Mismatches {
  uint64_t count = 0, compared = 0;
  float x = 0;  // one of them
};

// Floats of every exponent and both signs, on two threads. The bits of NaN results, too, are the
// library's.
void expect_library_bits(RowFunction row, LibraryFunction library) {
  constexpr uint64_t kAll = uint64_t(1) << 32;
  constexpr int32_t kRow = 4096;
  const uint64_t step = effort() == Effort::exhaustive ? 1 : uint64_t(by_effort(61, 4099));
  const auto run = [&](uint64_t first, Mismatches &mismatches) {
    std::vector<float> x(kRow), y(kRow);
    for (uint64_t bits = first; bits < kAll;) {
      size_t n = 0;
      for (; n < kRow && bits < kAll; ++n, bits += 2 * step)
        x[n] = std::bit_cast<float>(uint32_t(bits));
      row(x.data(), y.data(), int32_t(n));
      for (size_t i = 0; i < n; ++i)
        if (std::bit_cast<uint32_t>(library(x[i])) != std::bit_cast<uint32_t>(y[i]))
          ++mismatches.count, mismatches.x = x[i];
      mismatches.compared += n;
    }
  };
  Mismatches even, odd;
  std::thread other(run, step, std::ref(odd));
  run(0, even);
  other.join();
  std::cout << even.compared + odd.compared << " floats compared\n";
  EXPECT_EQ(even.count, 0u) << "for example " << even.x;
  EXPECT_EQ(odd.count, 0u) << "for example " << odd.x;
}

class LibraryMath : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!module::use_avx2()) GTEST_SKIP() << "no AVX2";
  }
};

TEST_F(LibraryMath, ExpfBitForBit) {
  expect_library_bits(expf_row, expf);
}

TEST_F(LibraryMath, LogfBitForBit) {
  expect_library_bits(logf_row, logf);
}

// Those of another library: rounded once, which the one at hand does not always do, and one unit up.
float rounded_log(float x) {
  return float(std::log(double(x)));
}
float upper_exp(float x) {
  return std::nextafter(expf(x), INFINITY);
}

TEST_F(LibraryMath, LibrariesAreToldApart) {
  EXPECT_TRUE(module::library_expf().known) << "slow on this machine";
  EXPECT_TRUE(module::library_logf().known) << "slow on this machine";
  EXPECT_FALSE(module::examined_expf(upper_exp).known);
  EXPECT_FALSE(module::examined_logf(rounded_log).known);
}

// Rows stay right with a library that is not known, and every element keeps its own parameters.
TEST_F(LibraryMath, RowsOfAnotherLibrary) {
  constexpr float kLeast = 0.25f;
  const module::LibraryFunction other_log = module::examined_logf(rounded_log);
  for (const int32_t channels : {1, 2, 3, 4}) {
    float scale[24], offset[24];
    for (int32_t k = 0; k < 24; ++k)
      scale[k] = 1.0f + 0.5f * float(k % channels), offset[k] = float(k % channels);
    for (const int32_t n : numbers(0, 130)) {
      std::vector<float> x(size_t(n) + 1), y(size_t(n) + 1), expected(size_t(n) + 1);
      for (int32_t i = 0; i < n; ++i) {
        x[size_t(i)] = i % 17 == 5 ? NAN : 0.01f * float(i * i);
        const float v = x[size_t(i)] * scale[i % 24];
        expected[size_t(i)] = rounded_log(v <= kLeast ? kLeast : v) + offset[i % 24];
      }
      module::scaled_logf_row_avx2(reinterpret_cast<const uint8_t *>(x.data()),
                                   reinterpret_cast<uint8_t *>(y.data()), n, kLeast, scale, offset,
                                   other_log);
      ASSERT_TRUE(same_values<float>(expected, y)) << n << " elements, " << channels << " channels";
    }
  }

  std::vector<float> x, y(100), expected;
  for (int32_t i = 0; i < 100; ++i) {
    x.push_back(0.3f * float(i - 50));
    expected.push_back(upper_exp(x.back()));
  }
  module::expf_row_avx2(x.data(), y.data(), 100, module::examined_expf(upper_exp));
  EXPECT_TRUE(same_values<float>(expected, y));
}

// Every length of a row, ending at a page nobody may touch.
TEST_F(LibraryMath, RowsOfEveryLength) {
  for (const auto &[row, library] : {std::pair<RowFunction, LibraryFunction>{expf_row, expf},
                                     {expf_row_of_any_library, expf},
                                     {logf_row, logf},
                                     {logf_row_of_any_library, logf}})
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

}  // namespace
}  // namespace tavix::test
