// SPDX-License-Identifier: Apache-2.0
// Target regions: functions between the two macros are compiled for AVX2, everything else for the
// baseline. Include this header last and open a region after it, so that no template of another
// header is compiled for AVX2. Regions use no standard containers, no lambdas and do not throw.
#pragma once

#include <immintrin.h>

#if defined(__clang__)
#define TAVIX_AVX2_BEGIN \
  _Pragma("clang attribute push(__attribute__((target(\"avx2\"))), apply_to = function)")
#define TAVIX_AVX2_END _Pragma("clang attribute pop")
#else
#define TAVIX_AVX2_BEGIN _Pragma("GCC push_options") _Pragma("GCC target(\"avx2\")")
#define TAVIX_AVX2_END _Pragma("GCC pop_options")
#endif

// The namespace of one width of vectors. Each source file has one of its own.
// clang-format off
#define TAVIX_OPEN_NAMESPACE(vectors) namespace tavix::module::vectors { namespace {
#define TAVIX_CLOSE_NAMESPACE }}
// clang-format on

// A build that counts coverage leaves calls as calls: each branch counts where it is written.
#ifndef TAVIX_INLINE
#define TAVIX_INLINE inline __attribute__((always_inline))
#endif

// For each of some vectors that go through a step together: one dependency chain alone leaves the
// multipliers waiting.
#define TAVIX_EACH(count) for (int i = 0; i < (count); ++i)
