// SPDX-License-Identifier: Apache-2.0
// The mistake that scripts/check-isa-leak must find: an inline function in a target region. The
// linker keeps one copy of it, perhaps this one.
#include "cpu/x86/avx2.h"

TAVIX_AVX2_BEGIN
inline void planted_isa_leak(float *values) {
  _mm256_storeu_ps(values, _mm256_setzero_ps());
}
TAVIX_AVX2_END

void (*planted_user)(float *) = planted_isa_leak;
