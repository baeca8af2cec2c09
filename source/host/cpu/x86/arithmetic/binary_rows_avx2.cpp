// SPDX-License-Identifier: Apache-2.0
// AVX2 binary arithmetic: scaling and offsets in single precision, 8-bit operations on packed
// bytes. Whole vectors and single elements agree for every operand, so a row is cut as is fastest.
#include <algorithm>
#include <cfloat>
#include <iterator>
#include <type_traits>

#include "common/frame_access.h"
#include "common/rounding.h"
#include "cpu/common_c/arithmetic/binary_rows.h"
#include "cpu/common_c/arithmetic/channel_parameters.h"
#include "tavix/video_common_cpu/arithmetic.h"

#include "cpu/x86/arithmetic/row_blocks_avx2.h"
#include "cpu/x86/avx2.h"

namespace tavix::module {

namespace {

using Pattern = ParameterPattern<float, kBlockFloats>;

Pattern pattern_of(const double *values, const BinaryJob &job) {
  return {copy_parameters(values), job.video().channels};
}

// The parameters of float frames.
struct FloatParameters {
  explicit FloatParameters(const BinaryJob &job)
      : alpha(pattern_of(job.alpha, job)),
        beta(pattern_of(job.beta, job)),
        gamma(pattern_of(job.gamma, job)) {}

  Pattern alpha, beta, gamma;
};

// The parameters of 8-bit frames, as they act on the bytes of a block.
struct ByteParameters {
  explicit ByteParameters(const BinaryJob &job);

  Pattern alpha, beta;
  bool scaled1, scaled2;              // whether a scale changes anything
  uint8_t offset[kBlockBytes];        // sat(round(gamma)), added to every result
  uint8_t zero_divisor[kBlockBytes];  // the result in place of a quotient by zero
};

bool is_neutral(const Pattern &scale) {
  return std::all_of(std::begin(scale.lanes), std::end(scale.lanes),
                     [](float s) { return s == 1.0f; });
}

ByteParameters::ByteParameters(const BinaryJob &job)
    : alpha(pattern_of(job.alpha, job)),
      beta(pattern_of(job.beta, job)),
      scaled1(!is_neutral(alpha)),
      scaled2(!is_neutral(beta)) {
  const Pattern gamma = pattern_of(job.gamma, job);
  for (int32_t k = 0; k < kBlockFloats; ++k)
    for (int32_t i = k; i < kBlockBytes; i += kBlockFloats) {
      offset[i] = round_to_u8(gamma.lanes[k]);
      zero_divisor[i] = round_to_u8(FLT_EPSILON - gamma.lanes[k]);
    }
}

}  // namespace

}  // namespace tavix::module

TAVIX_AVX2_BEGIN

namespace tavix::module {

namespace {

// The operations on 32 scaled bytes, the result clamped to 0..255, and on eight scaled floats.
template <int op>
struct BinaryOpAvx2;

template <>
struct BinaryOpAvx2<TAVIX_BINARY_OP_ADD> {
  static TAVIX_INLINE __m256i run(__m256i a, __m256i b) { return _mm256_adds_epu8(a, b); }
  static TAVIX_INLINE __m256 run(__m256 a, __m256 b) { return a + b; }
};
template <>
struct BinaryOpAvx2<TAVIX_BINARY_OP_SUB> {
  static TAVIX_INLINE __m256i run(__m256i a, __m256i b) { return _mm256_subs_epu8(a, b); }
  static TAVIX_INLINE __m256 run(__m256 a, __m256 b) { return a - b; }
};
template <>
struct BinaryOpAvx2<TAVIX_BINARY_OP_MUL> {
  static TAVIX_INLINE __m256i run(__m256i a, __m256i b) {
    const __m256i even = _mm256_set1_epi16(0x00FF), odd = _mm256_set1_epi16(int16_t(0xFF00));
    const __m256i low = _mm256_mullo_epi16(a & even, b & even);
    const __m256i high = _mm256_mulhi_epu16(a & odd, b & odd);
    return _mm256_min_epu16(low, even) | _mm256_slli_epi16(_mm256_min_epu16(high, even), 8);
  }
  static TAVIX_INLINE __m256 run(__m256 a, __m256 b) { return a * b; }
};
// A divisor that counts as zero is replaced by one that does no harm; its result is replaced later.
template <>
struct BinaryOpAvx2<TAVIX_BINARY_OP_DIV> {
  // Byte k of every 32-bit lane. Quotients of bytes stay in 0..255.
  template <int k>
  static TAVIX_INLINE __m256i quotients(__m256i a, __m256i b) {
    const __m256i byte = _mm256_set1_epi32(255);
    const __m256 x = _mm256_cvtepi32_ps(_mm256_and_si256(_mm256_srli_epi32(a, 8 * k), byte));
    const __m256 y = _mm256_cvtepi32_ps(_mm256_and_si256(_mm256_srli_epi32(b, 8 * k), byte));
    return _mm256_slli_epi32(_mm256_cvtps_epi32(x / y), 8 * k);
  }
  static TAVIX_INLINE __m256i run(__m256i a, __m256i b) {
    const __m256i divisor = _mm256_max_epu8(b, _mm256_set1_epi8(1));
    return (quotients<0>(a, divisor) | quotients<1>(a, divisor)) |
           (quotients<2>(a, divisor) | quotients<3>(a, divisor));
  }
  static TAVIX_INLINE __m256i zero(__m256i b) {
    return _mm256_cmpeq_epi8(b, _mm256_setzero_si256());
  }

  static TAVIX_INLINE __m256 run(__m256 a, __m256 b) {
    return a / _mm256_blendv_ps(b, _mm256_set1_ps(1.0f), zero(b));
  }
  static TAVIX_INLINE __m256 zero(__m256 b) {
    const __m256 magnitude = _mm256_andnot_ps(_mm256_set1_ps(-0.0f), b);
    return _mm256_cmp_ps(magnitude, _mm256_set1_ps(FLT_EPSILON), _CMP_LT_OQ);
  }
};
// min_ps and max_ps give their second operand when either is NaN: the first operand of the
// operation.
template <>
struct BinaryOpAvx2<TAVIX_BINARY_OP_MIN> {
  static TAVIX_INLINE __m256i run(__m256i a, __m256i b) { return _mm256_min_epu8(a, b); }
  static TAVIX_INLINE __m256 run(__m256 a, __m256 b) { return _mm256_min_ps(b, a); }
};
template <>
struct BinaryOpAvx2<TAVIX_BINARY_OP_MAX> {
  static TAVIX_INLINE __m256i run(__m256i a, __m256i b) { return _mm256_max_epu8(a, b); }
  static TAVIX_INLINE __m256 run(__m256 a, __m256 b) { return _mm256_max_ps(b, a); }
};
template <>
struct BinaryOpAvx2<TAVIX_BINARY_OP_ABSDIFF> {
  static TAVIX_INLINE __m256i run(__m256i a, __m256i b) {
    asm("" : "+x"(a), "+x"(b));  // loads each once, not for each use
    return _mm256_subs_epu8(a, b) | _mm256_subs_epu8(b, a);
  }
  static TAVIX_INLINE __m256 run(__m256 a, __m256 b) {
    return _mm256_andnot_ps(_mm256_set1_ps(-0.0f), a - b);
  }
};
template <>
struct BinaryOpAvx2<TAVIX_BINARY_OP_OR> {
  static TAVIX_INLINE __m256i run(__m256i a, __m256i b) { return a | b; }
  static TAVIX_INLINE __m256 run(__m256 a, __m256 b) { return _mm256_or_ps(a, b); }
};
template <>
struct BinaryOpAvx2<TAVIX_BINARY_OP_AND> {
  static TAVIX_INLINE __m256i run(__m256i a, __m256i b) { return a & b; }
  static TAVIX_INLINE __m256 run(__m256 a, __m256 b) { return _mm256_and_ps(a, b); }
};
template <>
struct BinaryOpAvx2<TAVIX_BINARY_OP_XOR> {
  static TAVIX_INLINE __m256i run(__m256i a, __m256i b) { return a ^ b; }
  static TAVIX_INLINE __m256 run(__m256 a, __m256 b) { return _mm256_xor_ps(a, b); }
};

// Vector j of a block of bytes, scaled, rounded and clamped.
template <int j>
TAVIX_INLINE __m256i scale_bytes_avx2(const uint8_t *p, const BlockPattern &scale) {
  return round_to_bytes_avx2(load_8_bytes(p) * scale.lanes[(4 * j) % 3],
                             load_8_bytes(p + 8) * scale.lanes[(4 * j + 1) % 3],
                             load_8_bytes(p + 16) * scale.lanes[(4 * j + 2) % 3],
                             load_8_bytes(p + 24) * scale.lanes[(4 * j + 3) % 3]);
}

// scaled: whether either operand is.
template <int op, bool scaled>
struct ByteBlockAvx2 {
  const ByteParameters &parameters;
  BlockPattern alpha, beta;
  __m256i offset[3];

  template <int j>
  TAVIX_INLINE void vector(uint8_t *dst, const uint8_t *src1, const uint8_t *src2) const {
    constexpr int at = 32 * j;
    const __m256i a =
        scaled && parameters.scaled1 ? scale_bytes_avx2<j>(src1 + at, alpha) : load_256(src1 + at);
    const __m256i b =
        scaled && parameters.scaled2 ? scale_bytes_avx2<j>(src2 + at, beta) : load_256(src2 + at);
    __m256i r = BinaryOpAvx2<op>::run(a, b);
    if constexpr (op == TAVIX_BINARY_OP_DIV)
      r = _mm256_blendv_epi8(r, load_256(parameters.zero_divisor + at), BinaryOpAvx2<op>::zero(b));
    store_256(dst + at, _mm256_adds_epu8(r, offset[j]));
  }
  TAVIX_INLINE void block(uint8_t *dst, const uint8_t *src1, const uint8_t *src2) const {
    vector<0>(dst, src1, src2);
    vector<1>(dst, src1, src2);
    vector<2>(dst, src1, src2);
  }
};

template <int op>
struct FloatBlockAvx2 {
  BlockPattern alpha, beta, gamma;

  TAVIX_INLINE void block(uint8_t *dst, const uint8_t *src1, const uint8_t *src2) const {
    __m256 result[3];
    for (int j = 0; j < 3; ++j) {
      const __m256 a = load_8_floats(src1 + 32 * j) * alpha.lanes[j];
      const __m256 b = load_8_floats(src2 + 32 * j) * beta.lanes[j];
      __m256 r = BinaryOpAvx2<op>::run(a, b);
      if constexpr (op == TAVIX_BINARY_OP_DIV)
        r = _mm256_blendv_ps(r, FLT_EPSILON - gamma.lanes[j], BinaryOpAvx2<op>::zero(b));
      result[j] = r + gamma.lanes[j];
    }
    store_in_order_avx2(dst, result);
  }
};

template <int op, bool scaled>
TAVIX_INLINE void byte_row_avx2(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int64_t n,
                                const ByteParameters &p) {
  const ByteBlockAvx2<op, scaled> step = {
      p,
      load_pattern_avx2(p.alpha.lanes),
      load_pattern_avx2(p.beta.lanes),
      {load_256(p.offset), load_256(p.offset + 32), load_256(p.offset + 64)}};
  constexpr bool computes = scaled || op == TAVIX_BINARY_OP_MUL || op == TAVIX_BINARY_OP_DIV;
  run_blocks_avx2<kBlockBytes, computes ? kPage : kBeyondCaches>(step, n, dst, src1, src2);
}

template <int op>
void binary_row_avx2(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int64_t n,
                     const ByteParameters &p) {
  if (p.scaled1 || p.scaled2) {
    byte_row_avx2<op, true>(src1, src2, dst, n, p);
  } else {
    byte_row_avx2<op, false>(src1, src2, dst, n, p);
  }
}

template <int op>
void binary_row_avx2(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int64_t n,
                     const FloatParameters &p) {
  const FloatBlockAvx2<op> step = {load_pattern_avx2(p.alpha.lanes),
                                   load_pattern_avx2(p.beta.lanes),
                                   load_pattern_avx2(p.gamma.lanes)};
  run_blocks_avx2<kBlockBytes>(step, 4 * n, dst, src1, src2);
}

}  // namespace

}  // namespace tavix::module

TAVIX_AVX2_END

namespace tavix::module {

namespace {

template <class T, int op>
class BinaryArithmeticBodyAVX final : public ParallelLoopBody {
 public:
  explicit BinaryArithmeticBodyAVX(const BinaryJob &job) : job_(job), parameters_(job) {}

  void operator()(const Range &rows) const override {
    job_.for_each_row<T>(rows,
                         [this](int32_t n, const uint8_t *src1, const uint8_t *src2, uint8_t *dst) {
                           binary_row_avx2<op>(src1, src2, dst, n, parameters_);
                         });
  }

 private:
  const BinaryJob job_;
  const std::conditional_t<std::is_same_v<T, uint8_t>, ByteParameters, FloatParameters> parameters_;
};

struct BinaryAvx2 {
  template <class T, int op>
  using Body = BinaryArithmeticBodyAVX<T, op>;
};

}  // namespace

constinit const BinaryRows kBinaryRowsAvx2 = BinaryRows::of<BinaryAvx2>();

}  // namespace tavix::module
