// SPDX-License-Identifier: Apache-2.0
// AVX2 unary arithmetic, in single precision. A row is whole blocks, of 24 elements with three
// channels and of 8 with one or four, and single elements after them (or all single, with two
// channels). Square root and float exponential tell the two apart; everything else agrees.
#include <cfloat>
#include <cmath>
#include <type_traits>

#include "common/frame_access.h"
#include "common/log.h"
#include "common/pixel_format.h"
#include "common/rounding.h"
#include "cpu/common_c/arithmetic/channel_parameters.h"
#include "cpu/common_c/arithmetic/run_operation.h"
#include "cpu/common_c/arithmetic/unary_arithmetic.h"
#include "cpu/x86/arithmetic/byte_maps_avx2.h"
#include "cpu/x86/arithmetic/library_math_avx2.h"
#include "cpu_dispatch/cpu_features.h"
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
    float v[256], result[256];
    for (int32_t x = 0; x < 256; ++x) v[x] = float(x) * scale.lanes[c];
    apply(v, result, 256);
    for (int32_t x = 0; x < 256; ++x) maps[c][x] = round_to_u8(result[x] + offset.lanes[c]);
  }
  return ByteMapsAvx2(maps, channels);
}

template <class T, int op>
class UnaryArithmeticBodyAVX final : public ParallelLoopBody {
 public:
  explicit UnaryArithmeticBodyAVX(const UnaryJob &job)
      : src_(job.src),
        dst_(job.dst),
        scale_(copy_parameters(job.scale), job.video().channels),
        offset_(copy_parameters(job.offset), job.video().channels) {}

  void operator()(const Range &rows) const override {
    if constexpr (std::is_same_v<T, float>) {
      run_floats(rows);
    } else if constexpr (op == TAVIX_UNARY_OP_MUL_ADD) {
      for_each_row(rows, [&](int32_t n, const uint8_t *src, uint8_t *dst) {
        mul_add_bytes_avx2(src, dst, n, scale_, offset_);
      });
    } else {
      run_byte_maps(rows);
    }
  }

 private:
  static constexpr bool kBlocksDiffer =
      op == TAVIX_UNARY_OP_SQRT || (op == TAVIX_UNARY_OP_EXP && std::is_same_v<T, float>);

  // run_row(elements, src, dst). Where blocks differ from single elements, rows that end in single
  // elements stay apart.
  template <class RunRow>
  void for_each_row(const Range &rows, const RunRow &run_row) const {
    const int32_t n = row_elements(src_->video);
    const bool apart = kBlocksDiffer && in_whole_blocks(n, src_->video.channels) != n;
    const int32_t step = apart ? 1 : rows.end - rows.start;
    for (int32_t y = rows.start; y < rows.end; y += step)
      for_each_long_row<T>(y, y + step, run_row, *src_, *dst_);
  }

  void run_byte_maps(const Range &rows) const {
    const int32_t channels = src_->video.channels;
    if (!has_pixels(src_->video)) return;
    const ByteMapsAvx2 singles = byte_maps(apply_to_singles<op>, scale_, offset_, channels);
    if constexpr (kBlocksDiffer) {
      const ByteMapsAvx2 blocks = byte_maps(sqrt_in_blocks, scale_, offset_, channels);
      for_each_row(rows, [&](int32_t n, const uint8_t *src, uint8_t *dst) {
        const int32_t whole = in_whole_blocks(n, channels);
        blocks.map_row(src, dst, whole);
        singles.map_row(src + whole, dst + whole, n - whole);
      });
    } else {
      for_each_row(
          rows, [&](int32_t n, const uint8_t *src, uint8_t *dst) { singles.map_row(src, dst, n); });
    }
  }

  void run_floats(const Range &rows) const {
    for_each_row(rows, [&](int32_t n, const uint8_t *src, uint8_t *dst) {
      if constexpr (op == TAVIX_UNARY_OP_LOG)
        return scaled_logf_row_avx2(src, dst, n, FLT_EPSILON, scale_.lanes, offset_.lanes);
      const int32_t whole = kBlocksDiffer ? in_whole_blocks(n, src_->video.channels) : n;
      float_blocks_avx2<op>(src, dst, whole, scale_, offset_);
      float_singles(src + 4 * int64_t(whole), dst + 4 * int64_t(whole), n - whole);
    });
  }

  // A row with two channels has nothing but single elements.
  void float_singles(const uint8_t *src, uint8_t *dst, int32_t n) const {
    for (int64_t start = 0; start < n; start += kBlockFloats) {
      const int32_t count = int32_t(std::min<int64_t>(kBlockFloats, n - start));
      float v[kBlockFloats], result[kBlockFloats];
      for (int32_t k = 0; k < count; ++k) v[k] = load<float>(src, start + k) * scale_.lanes[k];
      apply_to_singles<op>(v, result, count);
      for (int32_t k = 0; k < count; ++k) store(dst, start + k, result[k] + offset_.lanes[k]);
    }
  }

  const TavixFrameV2 *src_;
  TavixFrameV2 *dst_;
  Pattern scale_;
  Pattern offset_;
};

struct UnaryAvx2 {
  template <class T, int op>
  using Body = UnaryArithmeticBodyAVX<T, op>;
};

}  // namespace

}  // namespace tavix::module

using namespace tavix::module;

int32_t TavixFrameUnaryArithmeticAVX(const TavixFrameV2 *src, int32_t op, const double *scale,
                                     const double *offset, TavixFrameV2 *dst) {
  constexpr auto &kUnit = kArithmeticAvxUnit;
  TAVIX_REFUSE_IF(kUnit, any_null(src, dst), TAVIX_ERROR_INVALID_PARAM,
                  "src1_frame(%p) or dst_frame(%p) is null", src, dst);
  const TavixVideoInfo &a = src->video, &b = dst->video;
  TAVIX_REFUSE_IF(kUnit, !same_shape(a, b), TAVIX_ERROR_INVALID_PARAM,
                  "src1_frame(width=%d, height=%d, channels=%d, format=%d) and "
                  "dst_frame(width=%d, height=%d, channels=%d, format=%d) dimension mismatch",
                  a.width, a.height, a.channels, a.format, b.width, b.height, b.channels, b.format);
  if (!is_rgb_family(a.format)) return TAVIX_ERROR_UNSUPPORTED;     // silent, on purpose
  if (op < 0 || op >= kUnaryOps) return TAVIX_ERROR_INVALID_PARAM;  // silent, on purpose
  const UnaryJob job = {src, dst, scale, offset};
  if (const int32_t status = guard_unary(kUnit, __func__, job); status != TAVIX_OK) return status;
  TAVIX_REFUSE_IF(kUnit, has_pixels(a) && !use_avx2(), TAVIX_ERROR_UNSUPPORTED,
                  "the processor has no AVX2");

  run_operation<UnaryAvx2>(job, uint32_t(op), UnaryOps{});
  return TAVIX_OK;
}
