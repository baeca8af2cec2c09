// SPDX-License-Identifier: Apache-2.0
// The bodies of vector unary arithmetic, in single precision, for the kernels of one instruction
// set. A row is whole blocks, of 24 elements with three channels and of 8 with one or four, and
// single elements after them (or all single, with two channels), whatever the width of the vectors.
// Square root and float exponential tell the two apart; everything else agrees.
//
//   struct Kernels {
//     using ByteMaps;                        // byte_maps.h
//     template <class T, int op> using Body = UnaryArithmeticBodyAVX<Kernels, T, op>;
//     template <class T, int op, bool in_blocks> static void row(src, dst, n, UnaryParameters);
//     template <int op, bool in_blocks> static void fill_map(scale, offset, map);
//   };
#pragma once

#include <algorithm>
#include <cmath>
#include <optional>

#include "common/frame_access.h"
#include "cpu/common_c/arithmetic/channel_parameters.h"
#include "cpu/common_c/arithmetic/operation_rows.h"
#include "cpu/x86/arithmetic/byte_maps.h"
#include "tavix/video_common_cpu/arithmetic.h"

namespace tavix::module {

// Elements of a row of n that whole blocks cover.
inline int32_t in_whole_blocks(int32_t n, int32_t channels) {
  if (channels == 2) return 0;
  return n - n % (channels == 3 ? 24 : 8);
}

// The parameters of every element as the kernels take them.
struct UnaryParameters {
  explicit UnaryParameters(const UnaryJob &job)
      : scale(job.scale, job.video().channels), offset(job.offset, job.video().channels) {}

  const FloatPattern scale, offset;
};

// An operation on elements in whole blocks and on single ones: of floats, and of bytes where that
// is faster than maps.
template <class Kernels, class T, int op>
class UnaryFunction {
 public:
  explicit UnaryFunction(const UnaryJob &job) : parameters_(job) {}

  // Whether blocks and single elements may differ, and do for these parameters.
  static constexpr bool kMayDiffer = op == TAVIX_UNARY_OP_SQRT || op == TAVIX_UNARY_OP_EXP;
  static bool differs() { return kMayDiffer; }

  template <bool in_blocks>
  void run(const uint8_t *src, uint8_t *dst, int64_t n) const {
    Kernels::template row<T, op, in_blocks>(src, dst, n, parameters_);
  }

 private:
  const UnaryParameters parameters_;
};

// 8-bit functions go through maps of all samples. Whole blocks have maps of their own where a
// scaled sample may be NaN.
template <class Kernels, int op>
requires(op != TAVIX_UNARY_OP_MUL_ADD ||
         Kernels::ByteMaps::kBeatMultiplying) class UnaryFunction<Kernels, uint8_t, op> {
 public:
  explicit UnaryFunction(const UnaryJob &job) : singles_(maps<false>(job)) {
    if constexpr (kMayDiffer)
      if (!std::all_of(job.scale, job.scale + job.video().channels,
                       [](double scale) { return std::isfinite(float(scale)); }))
        blocks_.emplace(maps<true>(job));
  }

  static constexpr bool kMayDiffer = op == TAVIX_UNARY_OP_SQRT;
  bool differs() const { return blocks_.has_value(); }

  template <bool in_blocks>
  void run(const uint8_t *src, uint8_t *dst, int64_t n) const {
    (in_blocks ? *blocks_ : singles_).map_row(src, dst, n);
  }

 private:
  using ByteMaps = typename Kernels::ByteMaps;

  template <bool in_blocks>
  static ByteMaps maps(const UnaryJob &job) {
    const auto scale = [&](int32_t c) { return float(job.scale[c]); };
    const auto offset = [&](int32_t c) { return float(job.offset[c]); };
    const int32_t channels = job.video().channels;
    bool alike = true;
    for (int32_t c = 1; c < channels; ++c)
      alike = alike && scale(c) == scale(0) && offset(c) == offset(0);
    return {channels, alike, [&](int32_t c, ByteMap &map) {
              Kernels::template fill_map<op, in_blocks>(scale(c), offset(c), map);
            }};
  }

  const ByteMaps singles_;
  std::optional<ByteMaps> blocks_;
};

template <class Kernels, class T, int op>
class UnaryArithmeticBodyAVX final : public ParallelLoopBody {
 public:
  explicit UnaryArithmeticBodyAVX(const UnaryJob &job) : job_(job), function_(job) {}

  // Rows that are part blocks and part single elements stay apart.
  void operator()(const Range &rows) const override {
    const int32_t row = row_elements(job_.video());
    const int32_t whole = function_.differs() ? in_whole_blocks(row, job_.video().channels) : 0;
    const int32_t together = whole == 0 || whole == row ? rows.end - rows.start : 1;
    const auto run_row = [=, this](int32_t n, const uint8_t *src, uint8_t *dst) {
      const int32_t blocks = whole == row ? n : whole;
      const int64_t bytes = int64_t(blocks) * int64_t(sizeof(T));
      if constexpr (Function::kMayDiffer)
        if (blocks > 0) function_.template run<true>(src, dst, blocks);
      if (blocks < n) function_.template run<false>(src + bytes, dst + bytes, n - blocks);
    };
    for (int32_t y = rows.start; y < rows.end; y += together)
      job_.for_each_row<T>({y, y + together, 1}, run_row);
  }

 private:
  using Function = UnaryFunction<Kernels, T, op>;

  const UnaryJob job_;
  const Function function_;
};

}  // namespace tavix::module
