// SPDX-License-Identifier: Apache-2.0
// The implementations of element-wise arithmetic, and the sweeps that each of them goes through.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "arithmetic_cases.h"
#include "support/longest_row.h"
#include "support/seams.h"
#include "support/sweep.h"

namespace tavix::test {

// A function and what it makes of one element.
template <class Function, class ByteElement, class FloatElement>
struct ArithmeticImplementation {
  const char *name;
  Function *entry;
  ByteElement *byte;
  FloatElement *real;

  ArithmeticImplementation with_entry(Function *other) const { return {name, other, byte, real}; }
};

enum class SweepOf {
  implementations,
  entries,       // ByCPU and Forward, which take the best implementation
  any_channels,  // of the implementations: 1 to 4 channels, whatever the format has
};
struct ArithmeticSweep {
  const char *name;
  SweepAxes axes;
  int budget;
  SweepOf of = SweepOf::implementations;
};
inline std::ostream &operator<<(std::ostream &out, const ArithmeticSweep &sweep) {
  return out << sweep.name;
}
inline const ArithmeticSweep kArithmeticSweeps[] = {
    {"BytesOfEveryShape", {.formats = kByteFormats}, 500},
    {"FloatsOfEveryShape", {.formats = kFloatFormats}, 500},
    {"EntryAndDispatcher", {.formats = kRgbFormats}, 60, SweepOf::entries},
    {"AnyChannelCountInAnyFormat",
     {.formats = kRgbFormats, .widths = numbers(1, 40), .heights = {2}},
     150,
     SweepOf::any_channels},
    {"WideFrames",
     {.formats = kRgbFormats,
      .widths = {319, 320, 321, 767, 768, 769, 959, 960, 961, 1023, 1024, 1025, 3071, 3072, 3073,
                 6145},
      .heights = {1, 3}},
     90},
    // Rows that no second cache holds.
    {"LongRows", {.formats = {TAVIX_PIX_FMT_GRAY8}, .widths = {300001}, .heights = {1}}, 2},
};

// Of these, a suite has one test for each.
using ArithmeticSweeps = ::testing::TestWithParam<ArithmeticSweep>;
inline const auto kEverySweep = ::testing::ValuesIn(kArithmeticSweeps);
inline std::string sweep_name(const ::testing::TestParamInfo<ArithmeticSweep> &info) {
  return info.param.name;
}

// The two implementations of a family, and its operations by name: the codes 0 to operations - 1.
template <class Implementation, class Op>
struct ArithmeticFamily {
  Implementation portable, vector;
  decltype(Implementation::entry) by_cpu, forward;
  Op operations;
  std::string (*op_name)(Op op);

  // Those that this processor can run.
  std::vector<Implementation> implementations() const {
    if (!module::use_avx2()) return {portable};
    return {portable, vector};
  }

  // Each operation on every level of processor, on the caller's thread and on eight workers.
  template <class Run>
  void for_each_op(const Run &run) const {
    for_each_path([&](const Path &path) {
      for (Op op = 0; op < operations && !::testing::Test::HasFailure(); ++op) {
        SCOPED_TRACE(op_name(op));
        run(path.vector ? vector : portable, op);
      }
    });
  }

  template <class Expect>
  void run(const ArithmeticSweep &cases, const Expect &expect) const {
    for_each_op([&](const Implementation &best, Op op) {
      const auto expect_case = [&](const SweepCase &c) {
        if (cases.of != SweepOf::entries) return expect(best, op, c);
        expect(best.with_entry(by_cpu), op, c);
        expect(best.with_entry(forward), op, c);
      };
      sweep(cases.axes, cases.budget, [&](SweepCase c) {
        if (cases.of != SweepOf::any_channels) return expect_case(c);
        for (c.shape.channels = 1; c.shape.channels <= 4; ++c.shape.channels) expect_case(c);
      });
    });
  }

  // Each implementation works through the longest row. The call maps the last sample to itself.
  template <class Run>
  void expect_longest_row_ends(const Run &run) const {
    if (effort() == Effort::quick) GTEST_SKIP() << "two gigabytes of addresses";
    LongestRow row;
    for (const Implementation &implementation : implementations()) {
      row.last() = 1;
      EXPECT_EQ(run(implementation, row), TAVIX_OK);
      EXPECT_EQ(row.last(), 1);
    }
  }
};

}  // namespace tavix::test
