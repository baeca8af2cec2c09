// SPDX-License-Identifier: Apache-2.0
// The bodies of vector unary arithmetic, in single precision, for the kernels of one instruction
// set. A row is whole blocks, of 24 elements with three channels and of 8 with one or four, and
// single elements after them (or all single, with two channels), whatever the width of the vectors.
// Square root and float exponential tell the two apart; everything else agrees.
//
//   struct Kernels {
//     static constexpr int32_t kPeriod;      // parameters in a row, as the kernels take them
//     using ByteMaps;                        // byte_maps.h
//     template <class T, int op> using Body = UnaryBodyAVX<Kernels, T, op>;
//     static void mul_add_bytes(src, dst, n, scale, offset);
//     template <int op> static void float_blocks(src, dst, n, scale, offset);
//     static const LibraryRows<...> kLibrary;
//     template <int op, bool in_blocks> static void fill_map(scale, offset, map);
//   };
#pragma once

#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>
#include <iterator>
#include <optional>
#include <type_traits>

#include "common/frame_access.h"
#include "cpu/common_c/arithmetic/channel_parameters.h"
#include "cpu/common_c/arithmetic/operation_rows.h"
#include "cpu/x86/arithmetic/byte_maps.h"
#include "cpu/x86/arithmetic/library_math.h"
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

template <class Kernels, class T, int op>
class UnaryArithmeticBodyAVX;

// 8-bit functions go through maps of all samples. Whole blocks have maps of their own where a
// scaled sample may be NaN.
template <class Kernels, int op>
class UnaryArithmeticBodyAVX<Kernels, uint8_t, op> final : public ParallelLoopBody {
 public:
  explicit UnaryArithmeticBodyAVX(const UnaryJob &job)
      : job_(job), channels_(job.video().channels), singles_(channels_, alike(), fill<false>()) {
    if (op == TAVIX_UNARY_OP_SQRT && !finite_scales())
      blocks_.emplace(channels_, alike(), fill<true>());
  }

  void operator()(const Range &rows) const override {
    if (!blocks_)
      return job_.for_each_row<uint8_t>(rows, [this](int32_t n, const uint8_t *src, uint8_t *dst) {
        singles_.map_row(src, dst, n);
      });
    for_each_row_of_blocks<uint8_t>(job_, rows,
                                    [this](int32_t n, const uint8_t *src, uint8_t *dst) {
                                      const int32_t whole = in_whole_blocks(n, channels_);
                                      blocks_->map_row(src, dst, whole);
                                      singles_.map_row(src + whole, dst + whole, n - whole);
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

template <class Kernels>
class MulAddBytesBodyAVX final : public ParallelLoopBody {
 public:
  explicit MulAddBytesBodyAVX(const UnaryJob &job) : job_(job), parameters_(job) {}

  void operator()(const Range &rows) const override {
    job_.for_each_row<uint8_t>(rows, [this](int32_t n, const uint8_t *src, uint8_t *dst) {
      Kernels::mul_add_bytes(src, dst, n, parameters_.scale.lanes, parameters_.offset.lanes);
    });
  }

 private:
  const UnaryJob job_;
  const UnaryParameters<Kernels::kPeriod> parameters_;
};

template <class Kernels, int op>
class UnaryArithmeticBodyAVX<Kernels, float, op> final : public ParallelLoopBody {
 public:
  explicit UnaryArithmeticBodyAVX(const UnaryJob &job) : job_(job), parameters_(job) {}

  void operator()(const Range &rows) const override {
    const auto run = [this](int32_t n, const uint8_t *src, uint8_t *dst) { run_row(n, src, dst); };
    if constexpr (kBlocksDiffer)
      for_each_row_of_blocks<float>(job_, rows, run);
    else
      job_.for_each_row<float>(rows, run);
  }

 private:
  static constexpr bool kBlocksDiffer = op == TAVIX_UNARY_OP_SQRT || op == TAVIX_UNARY_OP_EXP;

  void run_row(int32_t n, const uint8_t *src, uint8_t *dst) const {
    const auto &scale = parameters_.scale.lanes, &offset = parameters_.offset.lanes;
    if constexpr (op == TAVIX_UNARY_OP_LOG)
      return Kernels::kLibrary.scaled_logf(src, dst, n, FLT_EPSILON, scale, offset, library_logf());
    const int32_t whole = kBlocksDiffer ? in_whole_blocks(n, job_.video().channels) : n;
    Kernels::template float_blocks<op>(src, dst, whole, scale, offset);
    if constexpr (kBlocksDiffer)
      run_singles(src + 4 * int64_t(whole), dst + 4 * int64_t(whole), n - whole);
  }

  // A row with two channels has nothing but single elements.
  void run_singles(const uint8_t *src, uint8_t *dst, int32_t n) const {
    constexpr int32_t kPeriod = Kernels::kPeriod;
    const auto &scale = parameters_.scale.lanes, &offset = parameters_.offset.lanes;
    for (int64_t start = 0; start < n; start += kPeriod) {
      const int32_t count = int32_t(std::min<int64_t>(kPeriod, n - start));
      float v[kPeriod], result[kPeriod];
      for (int32_t k = 0; k < count; ++k) v[k] = load<float>(src, start + k) * scale[k];
      apply(v, result, count);
      for (int32_t k = 0; k < count; ++k) store(dst, start + k, result[k] + offset[k]);
    }
  }

  // Square root and exponential as single elements take them.
  static void apply(const float *v, float *result, int32_t n) {
    if constexpr (op == TAVIX_UNARY_OP_SQRT) {
      for (int32_t i = 0; i < n; ++i) result[i] = v[i] < 0 ? 0 : std::sqrt(v[i]);
    } else {
      Kernels::kLibrary.expf(v, result, n, library_expf());
    }
  }

  const UnaryJob job_;
  const UnaryParameters<Kernels::kPeriod> parameters_;
};

template <class Kernels, class T, int op>
inline constexpr bool kMultiplies = std::is_same_v<T, uint8_t> &&op == TAVIX_UNARY_OP_MUL_ADD &&
                                    !Kernels::ByteMaps::kBeatMultiplying;

template <class Kernels, class T, int op>
using UnaryBodyAVX = std::conditional_t<kMultiplies<Kernels, T, op>, MulAddBytesBodyAVX<Kernels>,
                                        UnaryArithmeticBodyAVX<Kernels, T, op>>;

}  // namespace tavix::module
