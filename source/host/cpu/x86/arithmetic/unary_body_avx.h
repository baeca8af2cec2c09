// SPDX-License-Identifier: Apache-2.0
// The bodies of vector unary arithmetic, in single precision, for the kernels of one instruction
// set. A row is whole blocks, of 24 elements with three channels and of 8 with one or four, and
// single elements after them (or all single, with two channels), whatever the width of the vectors.
// Square root and float exponential tell the two apart; everything else agrees.
//
//   struct Kernels {
//     static constexpr int32_t kPeriod;      // parameters in a row, as the kernels take them
//     using ByteMaps;                        // byte_maps.h
//     template <class T, int op> using Body = UnaryArithmeticBodyAVX<Kernels, T, op>;
//     template <class T, int op, bool in_blocks> static void row(src, dst, n, UnaryParameters);
//     template <int op, bool in_blocks> static void fill_map(scale, offset, map);
//   };
#pragma once

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

// run_row(elements, src, dst) where blocks differ from single elements: rows that end in single
// elements stay apart.
template <class T, class RunRow>
void for_each_row_of_blocks(const UnaryJob &job, const Range &rows, const RunRow &run_row) {
  const int32_t n = row_elements(job.video());
  const bool apart = in_whole_blocks(n, job.video().channels) != n;
  const int32_t step = apart ? 1 : rows.end - rows.start;
  for (int32_t y = rows.start; y < rows.end; y += step)
    job.for_each_row<T>({y, y + step, 1}, run_row);
}

// The parameters of every element as the kernels take them.
template <int32_t period>
struct UnaryParameters {
  explicit UnaryParameters(const UnaryJob &job)
      : scale(copy_parameters(job.scale), job.video().channels),
        offset(copy_parameters(job.offset), job.video().channels) {}

  const ParameterPattern<float, period> scale, offset;
};

// Rows of floats, and of bytes where that is faster than maps.
template <class Kernels, class T, int op>
class UnaryArithmeticBodyAVX final : public ParallelLoopBody {
 public:
  explicit UnaryArithmeticBodyAVX(const UnaryJob &job) : job_(job), parameters_(job) {}

  void operator()(const Range &rows) const override {
    if constexpr (op == TAVIX_UNARY_OP_SQRT || op == TAVIX_UNARY_OP_EXP)
      for_each_row_of_blocks<T>(job_, rows, [this](int32_t n, const uint8_t *src, uint8_t *dst) {
        const int32_t whole = in_whole_blocks(n, job_.video().channels);
        const int64_t bytes = int64_t(whole) * int64_t(sizeof(T));
        Kernels::template row<T, op, true>(src, dst, whole, parameters_);
        Kernels::template row<T, op, false>(src + bytes, dst + bytes, n - whole, parameters_);
      });
    else
      job_.for_each_row<T>(rows, [this](int32_t n, const uint8_t *src, uint8_t *dst) {
        Kernels::template row<T, op, true>(src, dst, n, parameters_);
      });
  }

 private:
  const UnaryJob job_;
  const UnaryParameters<Kernels::kPeriod> parameters_;
};

// 8-bit functions go through maps of all samples. Whole blocks have maps of their own where a
// scaled sample may be NaN.
template <class Kernels, int op>
requires(
    op != TAVIX_UNARY_OP_MUL_ADD ||
    Kernels::ByteMaps::kBeatMultiplying) class UnaryArithmeticBodyAVX<Kernels, uint8_t, op> final
    : public ParallelLoopBody {
 public:
  explicit UnaryArithmeticBodyAVX(const UnaryJob &job)
      : job_(job), channels_(job.video().channels), singles_(channels_, alike(), fill<false>()) {
    if constexpr (op == TAVIX_UNARY_OP_SQRT)
      if (!finite_scales()) blocks_.emplace(channels_, alike(), fill<true>());
  }

  void operator()(const Range &rows) const override {
    if constexpr (op == TAVIX_UNARY_OP_SQRT)
      if (blocks_)
        return for_each_row_of_blocks<uint8_t>(
            job_, rows, [this](int32_t n, const uint8_t *src, uint8_t *dst) {
              const int32_t whole = in_whole_blocks(n, channels_);
              blocks_->map_row(src, dst, whole);
              singles_.map_row(src + whole, dst + whole, n - whole);
            });
    job_.for_each_row<uint8_t>(rows, [this](int32_t n, const uint8_t *src, uint8_t *dst) {
      singles_.map_row(src, dst, n);
    });
  }

 private:
  float scale(int32_t c) const { return float(job_.scale[c]); }
  float offset(int32_t c) const { return float(job_.offset[c]); }

  bool alike() const {
    bool all = true;
    for (int32_t c = 1; c < channels_; ++c)
      all = all && scale(c) == scale(0) && offset(c) == offset(0);
    return all;
  }
  bool finite_scales() const {
    bool all = true;
    for (int32_t c = 0; c < channels_; ++c) all = all && std::isfinite(scale(c));
    return all;
  }
  template <bool in_blocks>
  auto fill() const {
    return [this](int32_t c, ByteMap &map) {
      Kernels::template fill_map<op, in_blocks>(scale(c), offset(c), map);
    };
  }

  using ByteMaps = typename Kernels::ByteMaps;

  const UnaryJob job_;
  const int32_t channels_;
  const ByteMaps singles_;
  std::optional<ByteMaps> blocks_;
};

}  // namespace tavix::module
