// SPDX-License-Identifier: Apache-2.0
// AVX2 unary arithmetic, in single precision. A row is whole blocks, of 24 elements with three
// channels and of 8 with one or four, and single elements after them (or all single, with two
// channels). Square root and float exponential tell the two apart; everything else agrees.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <iterator>
#include <optional>
#include <type_traits>

#include "common/frame_access.h"
#include "cpu/common_c/arithmetic/channel_parameters.h"
#include "cpu/common_c/arithmetic/unary_rows.h"
#include "cpu/x86/arithmetic/byte_maps_avx2.h"
#include "cpu/x86/arithmetic/library_math_avx2.h"
#include "tavix/video_common_cpu/arithmetic.h"

#include "cpu/x86/arithmetic/row_blocks_avx2.h"
#include "cpu/x86/arithmetic/softmax_exp_avx2.h"
#include "cpu/x86/avx2.h"

namespace tavix::module {

namespace {

using Pattern = ParameterPattern<float, kBlockFloats>;

// Elements of a row of n that whole blocks cover.
int32_t in_whole_blocks(int32_t n, int32_t channels) {
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
template <int op>
void apply_to_singles(float *v, float *result, int32_t n) {
  if constexpr (op == TAVIX_UNARY_OP_SQRT) {
    for (int32_t i = 0; i < n; ++i) result[i] = v[i] < 0 ? 0 : std::sqrt(v[i]);
  } else if constexpr (op == TAVIX_UNARY_OP_EXP) {
    expf_row_avx2(v, result, n);
  } else {
    for (int32_t i = 0; i < n; ++i) v[i] = v[i] <= FLT_EPSILON ? FLT_EPSILON : v[i];
    logf_row_avx2(v, result, n);
  }
}

// The square root as whole blocks take it: NaN counts as 0.
void sqrt_in_blocks(float *v, float *result, int32_t n) {
  for (int32_t i = 0; i < n; ++i) result[i] = std::sqrt(v[i] > 0 ? v[i] : 0);
}

}  // namespace

}  // namespace tavix::module

TAVIX_AVX2_BEGIN

namespace tavix::module {

namespace {

struct MulAddBytesAvx2 {
  BlockPattern scale, offset;

  // Eight samples from element i of a block on.
  TAVIX_INLINE __m256 eight(const uint8_t *src, int i) const {
    return load_8_bytes(src + i) * scale.lanes[i / 8 % 3] + offset.lanes[i / 8 % 3];
  }
  TAVIX_INLINE void block(uint8_t *dst, const uint8_t *src) const {
    __m256i result[3];
    for (int j = 0; j < 3; ++j)
      result[j] = round_to_bytes_avx2(eight(src, 32 * j), eight(src, 32 * j + 8),
                                      eight(src, 32 * j + 16), eight(src, 32 * j + 24));
    for (int j = 0; j < 3; ++j) store_256(dst + 32 * j, result[j]);
  }
};

void mul_add_bytes_avx2(const uint8_t *src, uint8_t *dst, int64_t n, const Pattern &scale,
                        const Pattern &offset) {
  const MulAddBytesAvx2 step = {load_pattern_avx2(scale.lanes), load_pattern_avx2(offset.lanes)};
  run_blocks_avx2<kBlockBytes>(step, n, dst, src);
}

// The bytes of 256 results with an offset.
void add_and_round_avx2(const float (&results)[256], float offset, ByteMap &bytes) {
  for (int i = 0; i < 256; i += 32)
    store_256(bytes.data() + i, round_to_bytes_avx2(load_8_floats(results + i) + offset,
                                                    load_8_floats(results + i + 8) + offset,
                                                    load_8_floats(results + i + 16) + offset,
                                                    load_8_floats(results + i + 24) + offset));
}

// The functions of a block of scaled samples, as whole blocks take them. The order of max_ps's
// operands matters: the second one is taken when either is NaN.
template <int op>
TAVIX_INLINE void apply_to_block_avx2(__m256 (&v)[3]) {
  if constexpr (op == TAVIX_UNARY_OP_SQRT) {
    for (auto &x : v) x = _mm256_sqrt_ps(_mm256_max_ps(x, _mm256_setzero_ps()));
  } else if constexpr (op == TAVIX_UNARY_OP_EXP) {
    softmax_exp_avx2(v);
  }
}

template <int op>
struct FloatsAvx2 {
  BlockPattern scale, offset;

  TAVIX_INLINE void block(uint8_t *dst, const uint8_t *src) const {
    __m256 v[3];
    for (int j = 0; j < 3; ++j) v[j] = load_8_floats(src + 32 * j) * scale.lanes[j];
    apply_to_block_avx2<op>(v);
    for (int j = 0; j < 3; ++j) v[j] += offset.lanes[j];
    store_in_order_avx2(dst, v);
  }
};

template <int op>
void float_blocks_avx2(const uint8_t *src, uint8_t *dst, int64_t n, const Pattern &scale,
                       const Pattern &offset) {
  const FloatsAvx2<op> step = {load_pattern_avx2(scale.lanes), load_pattern_avx2(offset.lanes)};
  run_blocks_avx2<kBlockBytes>(step, 4 * n, dst, src);
}

}  // namespace

}  // namespace tavix::module

TAVIX_AVX2_END

namespace tavix::module {

namespace {

// The 8-bit results of a function of scaled samples.
using ApplyRow = void (*)(float *v, float *result, int32_t n);
ByteMapsAvx2 byte_maps(ApplyRow apply, const Pattern &scale, const Pattern &offset,
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
    add_and_round_avx2(result, offset.lanes[c], maps[c]);
  }
  return ByteMapsAvx2(maps, channels);
}

bool all_finite(const Pattern &values) {
  return std::all_of(std::begin(values.lanes), std::end(values.lanes),
                     [](float v) { return std::isfinite(v); });
}

// What the bodies of all element types and operations have.
struct UnaryCall {
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

template <class T, int op>
class UnaryArithmeticBodyAVX;

// 8-bit functions go through maps of all samples. Whole blocks have maps of their own where a scaled
// sample may be NaN.
template <int op>
class UnaryArithmeticBodyAVX<uint8_t, op> final : public ParallelLoopBody {
 public:
  explicit UnaryArithmeticBodyAVX(const UnaryJob &job)
      : call_(job), singles_(maps(apply_to_singles<op>)) {
    if (op == TAVIX_UNARY_OP_SQRT && !all_finite(call_.scale))
      blocks_.emplace(maps(sqrt_in_blocks));
  }

  void operator()(const Range &rows) const override {
    if (blocks_)
      call_.for_each_row<uint8_t, true>(rows, [this](int32_t n, const uint8_t *src, uint8_t *dst) {
        const int32_t whole = in_whole_blocks(n, call_.channels);
        blocks_->map_row(src, dst, whole);
        singles_.map_row(src + whole, dst + whole, n - whole);
      });
    else
      call_.for_each_row<uint8_t, false>(rows, [this](int32_t n, const uint8_t *src, uint8_t *dst) {
        singles_.map_row(src, dst, n);
      });
  }

 private:
  ByteMapsAvx2 maps(ApplyRow apply) const {
    return byte_maps(apply, call_.scale, call_.offset, call_.channels);
  }

  const UnaryCall call_;
  const ByteMapsAvx2 singles_;
  std::optional<ByteMapsAvx2> blocks_;
};

template <>
class UnaryArithmeticBodyAVX<uint8_t, TAVIX_UNARY_OP_MUL_ADD> final : public ParallelLoopBody {
 public:
  explicit UnaryArithmeticBodyAVX(const UnaryJob &job) : call_(job) {}

  void operator()(const Range &rows) const override {
    call_.for_each_row<uint8_t, false>(rows, [this](int32_t n, const uint8_t *src, uint8_t *dst) {
      mul_add_bytes_avx2(src, dst, n, call_.scale, call_.offset);
    });
  }

 private:
  const UnaryCall call_;
};

template <int op>
class UnaryArithmeticBodyAVX<float, op> final : public ParallelLoopBody {
 public:
  explicit UnaryArithmeticBodyAVX(const UnaryJob &job) : call_(job) {}

  void operator()(const Range &rows) const override {
    call_.for_each_row<float, kBlocksDiffer>(
        rows, [this](int32_t n, const uint8_t *src, uint8_t *dst) { run_row(n, src, dst); });
  }

 private:
  static constexpr bool kBlocksDiffer = op == TAVIX_UNARY_OP_SQRT || op == TAVIX_UNARY_OP_EXP;

  void run_row(int32_t n, const uint8_t *src, uint8_t *dst) const {
    const auto &[job, channels, scale, offset] = call_;
    if constexpr (op == TAVIX_UNARY_OP_LOG)
      return scaled_logf_row_avx2(src, dst, n, FLT_EPSILON, scale.lanes, offset.lanes);
    const int32_t whole = kBlocksDiffer ? in_whole_blocks(n, channels) : n;
    float_blocks_avx2<op>(src, dst, whole, scale, offset);
    run_singles(src + 4 * int64_t(whole), dst + 4 * int64_t(whole), n - whole);
  }

  // A row with two channels has nothing but single elements.
  void run_singles(const uint8_t *src, uint8_t *dst, int32_t n) const {
    const Pattern &scale = call_.scale, &offset = call_.offset;
    for (int64_t start = 0; start < n; start += kBlockFloats) {
      const int32_t count = int32_t(std::min<int64_t>(kBlockFloats, n - start));
      float v[kBlockFloats], result[kBlockFloats];
      for (int32_t k = 0; k < count; ++k) v[k] = load<float>(src, start + k) * scale.lanes[k];
      apply_to_singles<op>(v, result, count);
      for (int32_t k = 0; k < count; ++k) store(dst, start + k, result[k] + offset.lanes[k]);
    }
  }

  const UnaryCall call_;
};

struct UnaryAvx2 {
  template <class T, int op>
  using Body = UnaryArithmeticBodyAVX<T, op>;
};

}  // namespace

constinit const UnaryRows kUnaryRowsAvx2 = UnaryRows::of<UnaryAvx2>();

}  // namespace tavix::module
