// SPDX-License-Identifier: Apache-2.0
// Row kernels of the colour conversions with AVX-512. What fills no block is left to the AVX2 rows.
// Bytes need permutations that VBMI brings.
#include "cpu/tavix_cvt_color/float_yuv.h"
#include "cpu/tavix_cvt_color/sample_values.h"
#include "cpu/x86/cvt_color/pixel_orders_avx512.h"

#include "cpu/x86/cvt_color/samples_avx512.h"

TAVIX_AVX512_BEGIN

namespace tavix::module::avx512 {

namespace {

constexpr const FloatYuvRows &kNarrowerFloatYuv = kFloatYuvRowsAvx2;

#include "cpu/x86/cvt_color/pixels_avx512.inc"
#include "cpu/x86/cvt_color/row_blocks.inc"
// The rows take what stands above.
#include "cpu/x86/cvt_color/float_yuv.inc"

}  // namespace

}  // namespace tavix::module::avx512

TAVIX_AVX512_END

namespace tavix::module {

constinit const FloatYuvRows kFloatYuvRowsAvx512 = avx512::kFloatYuvRows;

}  // namespace tavix::module
