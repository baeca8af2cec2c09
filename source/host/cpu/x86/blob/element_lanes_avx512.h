// SPDX-License-Identifier: Apache-2.0
// Vectors of sixteen elements. Include this header last.
#pragma once

#include <cstdint>
#include <type_traits>

#include "cpu/x86/past_caches.h"
#include "cpu/x86/prefetch.h"
#include "cpu/x86/vectors_avx512.h"

TAVIX_VECTORS_BEGIN

TAVIX_INLINE __m512 unsigned_as_floats(__m512i v) {
  return _mm512_cvtepu32_ps(v);
}
TAVIX_INLINE __m256 int64_as_floats(const uint8_t *p) {
  return _mm512_cvtepi64_ps(load_ints(p));
}

#include "cpu/x86/blob/element_lanes.inc"

TAVIX_VECTORS_END
