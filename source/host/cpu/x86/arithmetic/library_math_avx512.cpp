// SPDX-License-Identifier: Apache-2.0
// Rows of the C library's functions with AVX-512.
#include "cpu/x86/arithmetic/library_math.h"

#include "common/frame_access.h"
#include "cpu/x86/arithmetic/kernels_avx512.h"

TAVIX_AVX512_BEGIN

namespace tavix::module::avx512 {

namespace {

#include "cpu/x86/arithmetic/library_math.inc"

}  // namespace

}  // namespace tavix::module::avx512

TAVIX_AVX512_END
