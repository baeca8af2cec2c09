// SPDX-License-Identifier: Apache-2.0
#include "cpu/common_c/blob/normalize_row.h"

#include "cpu/x86/blob/lanes_avx2.h"

TAVIX_AVX2_BEGIN

namespace tavix::module {

namespace {

constexpr int kVectors = NormalizeParameters::kPeriod / kLanes;

struct ParameterVectors {
  __m256 mean[kVectors], scale[kVectors];
};

// Vector number k of a block. Subtracting +0 changes no bit of a product.
template <class From, bool centred>
TAVIX_INLINE __m256 normalize_vector(const uint8_t *src, int k, const ParameterVectors &p) {
  __m256 samples = load_floats<From>(src + k * kLanes * int(sizeof(From)));
  if constexpr (centred) samples = _mm256_sub_ps(samples, p.mean[k % kVectors]);
  return _mm256_mul_ps(samples, p.scale[k % kVectors]);
}

// Rounded in single precision. Adding the float below 1/2 and truncating gives for every float of
// 0..255 what adding 1/2 in double does: a value less than a half by one unit stays below the next
// integer, and a half reaches it because the sum is rounded. The clamp is left to the packing, but
// for what int32 cannot hold; the minimum passes NaN on, which becomes the least integer.
TAVIX_INLINE __m256i round_to_bytes(__m256 v) {
  const __m256 limited = _mm256_min_ps(_mm256_set1_ps(255), v);
  return _mm256_cvttps_epi32(_mm256_add_ps(limited, _mm256_set1_ps(0x1.fffffep-2f)));
}

// A block is the least number of whole periods and of whole vectors of bytes.
constexpr int kBlockVectors = 4 * kVectors;

template <class From, class To, bool centred>
TAVIX_INLINE void normalize_block(const uint8_t *src, uint8_t *dst, const ParameterVectors &p) {
#pragma GCC unroll 12
  for (int k = 0; k < kBlockVectors; k += 4) {
    const __m256 a = normalize_vector<From, centred>(src, k, p),
                 b = normalize_vector<From, centred>(src, k + 1, p);
    const __m256 c = normalize_vector<From, centred>(src, k + 2, p),
                 d = normalize_vector<From, centred>(src, k + 3, p);
    uint8_t *out = dst + k * kLanes * int(sizeof(To));
    prefetch_elements<From, 4 * kLanes>(src + k * kLanes * int(sizeof(From)));
    prefetch_elements<To, 4 * kLanes>(out);
    if constexpr (std::is_same_v<To, uint8_t>) {
      store_256(out, pack_clamped(round_to_bytes(a), round_to_bytes(b), round_to_bytes(c),
                                  round_to_bytes(d)));
    } else {
      store_256(out, _mm256_castps_si256(a));
      store_256(out + 32, _mm256_castps_si256(b));
      store_256(out + 64, _mm256_castps_si256(c));
      store_256(out + 96, _mm256_castps_si256(d));
    }
  }
}

// Returns the number of elements in whole blocks.
template <class From, class To, bool centred>
int64_t normalize_blocks(const uint8_t *src, uint8_t *dst, int64_t n, const ParameterVectors &p) {
  constexpr int64_t kBlock = kBlockVectors * kLanes;
  int64_t i = 0;
  for (; i <= n - kBlock; i += kBlock)
    normalize_block<From, To, centred>(src + i * int64_t(sizeof(From)),
                                       dst + i * int64_t(sizeof(To)), p);
  return i;
}

struct NormalizeFamilyAvx2 {
  template <class From, class To>
  static void run(const uint8_t *src, uint8_t *dst, int64_t n,
                  const NormalizeParameters &parameters) {
    ParameterVectors p;
    __m256i mean_bits = _mm256_setzero_si256();
    for (int k = 0; k < kVectors; ++k) {
      p.mean[k] = _mm256_loadu_ps(parameters.mean + k * kLanes);
      p.scale[k] = _mm256_loadu_ps(parameters.scale + k * kLanes);
      mean_bits = _mm256_or_si256(mean_bits, _mm256_castps_si256(p.mean[k]));
    }
    const bool centred = !_mm256_testz_si256(mean_bits, mean_bits);
    int64_t i = centred ? normalize_blocks<From, To, true>(src, dst, n, p)
                        : normalize_blocks<From, To, false>(src, dst, n, p);
    for (int k = 0; i < n; ++i, k = (k + 1) % NormalizeParameters::kPeriod)
      store(dst, i, normalized<To>(load<From>(src, i), parameters.mean[k], parameters.scale[k]));
  }
};

}  // namespace

constinit const NormalizeRows kNormalizeRowsAvx2 = normalize_rows_of<NormalizeFamilyAvx2>();

}  // namespace tavix::module

TAVIX_AVX2_END
