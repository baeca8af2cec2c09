// SPDX-License-Identifier: Apache-2.0
#include "support/sleef_avx2.h"

#include "cpu/common_c/arithmetic/channel_parameters.h"

#include "cpu/x86/vectors_avx2.h"

#include "cpu/x86/arithmetic/arithmetic_blocks.inc"

TAVIX_AVX2_BEGIN

// SLEEF's header declares them only to files that are compiled for AVX2 as a whole.
extern "C" {
__m256 Sleef_expf8_u10avx2(__m256 x);
__m256 Sleef_logf8_u10avx2(__m256 x);
}

namespace tavix::benchmarks {

namespace {

namespace avx2 = module::avx2;

using Pattern = module::FloatPattern;

template <auto function>
struct SleefBlock {
  avx2::BlockPattern scale, offset;

  TAVIX_INLINE void block(uint8_t *dst, const uint8_t *src) const {
    for (int j = 0; j < 3; ++j)
      avx2::store(dst + 32 * j,
                  function(avx2::load(src + 32 * j) * scale.lanes[j]) + offset.lanes[j]);
  }
};

template <auto function>
void run_row(const uint8_t *src, uint8_t *dst, int64_t n, const Pattern &scale,
             const Pattern &offset) {
  const SleefBlock<function> step = {avx2::load_pattern(scale), avx2::load_pattern(offset)};
  avx2::run_blocks<avx2::kBlockBytes>(step, 4 * n, dst, src);
}

}  // namespace

void sleef_exp_row_avx2(const uint8_t *src, uint8_t *dst, int64_t n, const double (&scale)[4],
                        const double (&offset)[4], int32_t channels) {
  run_row<Sleef_expf8_u10avx2>(src, dst, n, Pattern(scale, channels), Pattern(offset, channels));
}
void sleef_log_row_avx2(const uint8_t *src, uint8_t *dst, int64_t n, const double (&scale)[4],
                        const double (&offset)[4], int32_t channels) {
  run_row<Sleef_logf8_u10avx2>(src, dst, n, Pattern(scale, channels), Pattern(offset, channels));
}

}  // namespace tavix::benchmarks

TAVIX_AVX2_END
