// SPDX-License-Identifier: Apache-2.0
// The bodies of vector unary arithmetic, in single precision, for the kernels of one instruction set.
// A row is whole blocks, of 24 elements with three channels and of 8 with one or four, and single
// elements after them (or all single, with two channels), whatever the width of the vectors. Square
// root and float exponential tell the two apart; everything else agrees.
//
//   struct Kernels {
//     static constexpr int32_t kPeriod;      // parameters in a row, as the kernels take them
//     using ByteMaps;                        // byte_maps.h
//     template <class T, int op> using Body = UnaryBodyAVX<Kernels, T, op>;
//     static void mul_add_bytes(src, dst, n, scale, offset);
//     template <int op> static void float_blocks(src, dst, n, scale, offset);
//     static LibraryRows<...> expf_row, logf_row, scaled_logf_row;
//     static void add_and_round(results, offset, map);
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
#include "cpu/common_c/arithmetic/unary_rows.h"
#include "cpu/x86/arithmetic/byte_maps.h"
#include "cpu/x86/arithmetic/library_math.h"
#include "tavix/video_common_cpu/arithmetic.h"

namespace tavix::module {

// Elements of a row of n that whole blocks cover.
inline int32_t in_whole_blocks(int32_t n, int32_t channels) {
  switch (channels) {
    case 1:
    case 4:
      return n - n % 8;
    case 3:
      return n - n % 24;
    default:
      return 0;
  }
}

// The functions of scaled samples, as single elements take them. result is not v, which may change.
template <class Kernels, int op>
void apply_to_singles(float *v, float *result, int32_t n) {
  if constexpr (op == TAVIX_UNARY_OP_SQRT) {
    for (int32_t i = 0; i < n; ++i) result[i] = v[i] < 0 ? 0 : std::sqrt(v[i]);
  } else if constexpr (op == TAVIX_UNARY_OP_EXP) {
    Kernels::expf_row(v, result, n, library_expf());
  } else if constexpr (op == TAVIX_UNARY_OP_LOG) {
    for (int32_t i = 0; i < n; ++i) v[i] = v[i] <= FLT_EPSILON ? FLT_EPSILON : v[i];
    Kernels::logf_row(v, result, n, library_logf());
  } else {
    std::copy_n(v, n, result);
  }
}

// The square root as whole blocks take it: NaN counts as 0.
inline void sqrt_in_blocks(float *v, float *result, int32_t n) {
  for (int32_t i = 0; i < n; ++i) result[i] = std::sqrt(v[i] > 0 ? v[i] : 0);
}

// The 8-bit results of a function of scaled samples.
using ApplyRow = void (*)(float *v, float *result, int32_t n);
template <class Kernels, class Pattern>
typename Kernels::ByteMaps byte_maps(ApplyRow apply, const Pattern &scale, const Pattern &offset,
                                     int32_t channels) {
  std::array<ByteMap, kMaxChannels> maps = {};
  for (int32_t c = 0; c < channels; ++c) {
    if (scale.lanes[c] == scale.lanes[0] && offset.lanes[c] == offset.lanes[0] && c > 0) {
      maps[c] = maps[0];
      continue;
    }
    float v[256], result[256];
    for (int32_t x = 0; x < 256; ++x) v[x] = float(x) * scale.lanes[c];
    apply(v, result, 256);
    Kernels::add_and_round(result, offset.lanes[c], maps[c]);
  }
  return {maps, channels};
}

template <class Pattern>
bool all_finite(const Pattern &values) {
  return std::all_of(std::begin(values.lanes), std::end(values.lanes),
                     [](float v) { return std::isfinite(v); });
}

// What the bodies of all element types and operations have.
template <class Kernels>
struct UnaryCall {
  using Pattern = ParameterPattern<float, Kernels::kPeriod>;

  explicit UnaryCall(const UnaryJob &call)
      : job(call),
        channels(call.video().channels),
        scale(copy_parameters(call.scale), channels),
        offset(copy_parameters(call.offset), channels) {}

  // run_row(elements, src, dst). Where blocks differ from single elements, rows that end in single
  // elements stay apart.
  template <class T, bool blocks_differ, class RunRow>
  void for_each_row(const Range &rows, const RunRow &run_row) const {
    const int32_t n = row_elements(job.video());
    const bool apart = blocks_differ && in_whole_blocks(n, channels) != n;
    const int32_t step = apart ? 1 : rows.end - rows.start;
    for (int32_t y = rows.start; y < rows.end; y += step)
      job.for_each_row<T>({y, y + step, 1}, run_row);
  }

  const UnaryJob job;
  const int32_t channels;
  const Pattern scale, offset;
};

template <class Kernels, class T, int op>
class UnaryArithmeticBodyAVX;

// 8-bit functions go through maps of all samples. Whole blocks have maps of their own where a scaled
// sample may be NaN.
template <class Kernels, int op>
class UnaryArithmeticBodyAVX<Kernels, uint8_t, op> final : public ParallelLoopBody {
 public:
  explicit UnaryArithmeticBodyAVX(const UnaryJob &job)
      : call_(job), singles_(maps(apply_to_singles<Kernels, op>)) {
    if (op == TAVIX_UNARY_OP_SQRT && !all_finite(call_.scale))
      blocks_.emplace(maps(sqrt_in_blocks));
  }

  void operator()(const Range &rows) const override {
    if (!blocks_)
      return call_.template for_each_row<uint8_t, false>(
          rows,
          [this](int32_t n, const uint8_t *src, uint8_t *dst) { singles_.map_row(src, dst, n); });
    call_.template for_each_row<uint8_t, true>(
        rows, [this](int32_t n, const uint8_t *src, uint8_t *dst) {
          const int32_t whole = in_whole_blocks(n, call_.channels);
          blocks_->map_row(src, dst, whole);
          singles_.map_row(src + whole, dst + whole, n - whole);
        });
  }

 private:
  using ByteMaps = typename Kernels::ByteMaps;

  ByteMaps maps(ApplyRow apply) const {
    return byte_maps<Kernels>(apply, call_.scale, call_.offset, call_.channels);
  }

  const UnaryCall<Kernels> call_;
  const ByteMaps singles_;
  std::optional<ByteMaps> blocks_;
};

template <class Kernels>
class MulAddBytesBodyAVX final : public ParallelLoopBody {
 public:
  explicit MulAddBytesBodyAVX(const UnaryJob &job) : call_(job) {}

  void operator()(const Range &rows) const override {
    call_.template for_each_row<uint8_t, false>(
        rows, [this](int32_t n, const uint8_t *src, uint8_t *dst) {
          Kernels::mul_add_bytes(src, dst, n, call_.scale.lanes, call_.offset.lanes);
        });
  }

 private:
  const UnaryCall<Kernels> call_;
};

template <class Kernels, int op>
class UnaryArithmeticBodyAVX<Kernels, float, op> final : public ParallelLoopBody {
 public:
  explicit UnaryArithmeticBodyAVX(const UnaryJob &job) : call_(job) {}

  void operator()(const Range &rows) const override {
    call_.template for_each_row<float, kBlocksDiffer>(
        rows, [this](int32_t n, const uint8_t *src, uint8_t *dst) { run_row(n, src, dst); });
  }

 private:
  static constexpr bool kBlocksDiffer = op == TAVIX_UNARY_OP_SQRT || op == TAVIX_UNARY_OP_EXP;

  void run_row(int32_t n, const uint8_t *src, uint8_t *dst) const {
    const auto &scale = call_.scale.lanes, &offset = call_.offset.lanes;
    if constexpr (op == TAVIX_UNARY_OP_LOG)
      return Kernels::scaled_logf_row(src, dst, n, FLT_EPSILON, scale, offset, library_logf());
    const int32_t whole = kBlocksDiffer ? in_whole_blocks(n, call_.channels) : n;
    Kernels::template float_blocks<op>(src, dst, whole, scale, offset);
    run_singles(src + 4 * int64_t(whole), dst + 4 * int64_t(whole), n - whole);
  }

  // A row with two channels has nothing but single elements.
  void run_singles(const uint8_t *src, uint8_t *dst, int32_t n) const {
    constexpr int32_t kPeriod = Kernels::kPeriod;
    const auto &scale = call_.scale.lanes, &offset = call_.offset.lanes;
    for (int64_t start = 0; start < n; start += kPeriod) {
      const int32_t count = int32_t(std::min<int64_t>(kPeriod, n - start));
      float v[kPeriod], result[kPeriod];
      for (int32_t k = 0; k < count; ++k) v[k] = load<float>(src, start + k) * scale[k];
      apply_to_singles<Kernels, op>(v, result, count);
      for (int32_t k = 0; k < count; ++k) store(dst, start + k, result[k] + offset[k]);
    }
  }

  const UnaryCall<Kernels> call_;
};

template <class Kernels, class T, int op>
inline constexpr bool kMultiplies = std::is_same_v<T, uint8_t> &&op == TAVIX_UNARY_OP_MUL_ADD &&
                                    !Kernels::ByteMaps::kBeatMultiplying;

template <class Kernels, class T, int op>
using UnaryBodyAVX = std::conditional_t<kMultiplies<Kernels, T, op>, MulAddBytesBodyAVX<Kernels>,
                                        UnaryArithmeticBodyAVX<Kernels, T, op>>;

}  // namespace tavix::module
