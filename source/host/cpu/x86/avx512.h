// SPDX-License-Identifier: Apache-2.0
// Target regions of the AVX-512 levels, as those of avx2.h: F, BW, DQ and VL, and VBMI besides.
// Include this header last. The compiler takes FMA for part of AVX-512; that no multiplication and
// addition become one is a matter of -ffp-contract=off.
#pragma once

#include "cpu/x86/avx2.h"

#define TAVIX_PRAGMA(...) _Pragma(#__VA_ARGS__)

#if defined(__clang__)
#define TAVIX_REGION_BEGIN(features) \
  TAVIX_PRAGMA(clang attribute push(__attribute__((target(features))), apply_to = function))
#define TAVIX_AVX512_END TAVIX_PRAGMA(clang attribute pop)
#else
// What g++ 12's own headers leave undefined on purpose, it warns of where they are inlined.
#define TAVIX_REGION_BEGIN(features)                     \
  TAVIX_PRAGMA(GCC push_options)                         \
  TAVIX_PRAGMA(GCC target(features))                     \
  TAVIX_PRAGMA(GCC diagnostic push)                      \
  TAVIX_PRAGMA(GCC diagnostic ignored "-Wuninitialized") \
  TAVIX_PRAGMA(GCC diagnostic ignored "-Wmaybe-uninitialized")
#define TAVIX_AVX512_END TAVIX_PRAGMA(GCC diagnostic pop) TAVIX_PRAGMA(GCC pop_options)
#endif

#define TAVIX_AVX512_BEGIN TAVIX_REGION_BEGIN("avx512f,avx512bw,avx512dq,avx512vl")
#define TAVIX_AVX512VBMI_BEGIN TAVIX_REGION_BEGIN("avx512f,avx512bw,avx512dq,avx512vl,avx512vbmi")
