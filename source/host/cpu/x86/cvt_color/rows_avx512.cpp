// SPDX-License-Identifier: Apache-2.0
// The records of the colour conversions with AVX-512. Bytes need permutations that VBMI brings.
#include "cpu/x86/cvt_color/pixels_avx512.h"

// What fills no block is left to the AVX2 rows.
#define TAVIX_NARROWER(Rows) k##Rows##Avx2

#include "cpu/x86/cvt_color/float_yuv.inc"

namespace tavix::module {

constinit const FloatYuvRows kFloatYuvRowsAvx512 = avx512::kFloatYuvRows;

}  // namespace tavix::module
