// SPDX-License-Identifier: Apache-2.0
// The exponential and the logarithm of rows beside the C library's functions: all floats with
// TAVIX_TEST_EFFORT=exhaustive, else an even selection of them.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <iostream>
#include <thread>
#include <vector>

#include "cpu/x86/arithmetic/library_math.h"
#include "cpu_dispatch/cpu_features.h"
#include "support/compare.h"
#include "support/guarded_bytes.h"
#include "support/sweep.h"

namespace tavix::test {
namespace {

// Those that this processor can run.
template <class Run>
void for_each_width(const Run &run) {
  if (module::cpu_level() >= module::CpuLevel::kAvx2) run(module::kLibraryRowsAvx2);
  if (module::cpu_level() >= module::CpuLevel::kAvx512) run(module::kLibraryRowsAvx512);
}

using Row = void(const float *x, float *y, int32_t n, const module::LibraryFunction &function);

struct Mismatches {
  uint64_t count = 0, compared = 0;
  float x = 0;  // one of them
};

// Floats of every exponent and both signs, on two threads. The bits of NaN results, too, are the
// library's.
void expect_library_bits(Row *row, const module::LibraryFunction &library) {
  constexpr uint64_t kAll = uint64_t(1) << 32;
  constexpr int32_t kRow = 4096;
  const uint64_t step = uint64_t(by_effort(61, 4099, 1));
  const auto run = [&](uint64_t first, Mismatches &mismatches) {
    std::vector<float> x(kRow), y(kRow);
    for (uint64_t bits = first; bits < kAll;) {
      size_t n = 0;
      for (; n < kRow && bits < kAll; ++n, bits += 2 * step)
        x[n] = std::bit_cast<float>(uint32_t(bits));
      row(x.data(), y.data(), int32_t(n), library);
      for (size_t i = 0; i < n; ++i)
        if (std::bit_cast<uint32_t>(library.call(x[i])) != std::bit_cast<uint32_t>(y[i]))
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
  for_each_width([](const auto &rows) { expect_library_bits(rows.expf, module::library_expf()); });
}

TEST_F(LibraryMath, LogfBitForBit) {
  for_each_width([](const auto &rows) { expect_library_bits(rows.logf, module::library_logf()); });
}

// Those of another library: rounded once, which the one at hand does not always do, and one unit
// up.
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

// Every length of a row, ending at a page nobody may touch, with a library that is known or is not.
TEST_F(LibraryMath, RowsOfEveryLength) {
  const auto expect_row = [](Row *row, const module::LibraryFunction &library, int32_t n) {
    const GuardedBytes in(size_t(n) * 4), out(size_t(n) * 4);
    auto *x = reinterpret_cast<float *>(in.data()), *y = reinterpret_cast<float *>(out.data());
    std::vector<float> expected;
    for (int32_t i = 0; i < n; ++i) {
      x[i] = 0.9f + 0.0003f * float(i);
      expected.push_back(library.call(x[i]));
    }
    row(x, y, n, library);
    ASSERT_TRUE(same_values<float>(expected, {y, size_t(n)})) << n;
    ASSERT_TRUE(in.intact() && out.intact());
  };
  for_each_width([&](const auto &rows) {
    for (const int32_t n : numbers(0, 1100)) {
      expect_row(rows.expf, module::library_expf(), n);
      expect_row(rows.expf, module::examined_expf(upper_exp), n);
      expect_row(rows.logf, module::library_logf(), n);
      expect_row(rows.logf, module::examined_logf(rounded_log), n);
    }
  });
}

}  // namespace
}  // namespace tavix::test
