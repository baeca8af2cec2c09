// SPDX-License-Identifier: Apache-2.0
// The records of the colour conversions with AVX2.
#include "cpu/x86/cvt_color/gathers_avx2.h"
#include "cpu/x86/cvt_color/rgb_to_yuv_avx2.h"
#include "cpu/x86/packed_pixels_avx2.h"

// What fills no block is left to portable rows, of packed pixels to those with this arithmetic.
#define TAVIX_NARROWER(Rows) k##Rows##C
#define TAVIX_NARROWER_RGB kRgbRowsTails

#include "cpu/x86/cvt_color/float_yuv.inc"
#include "cpu/x86/cvt_color/rgb_rows.inc"
#include "cpu/x86/cvt_color/rgb_to_yuv.inc"
#include "cpu/x86/cvt_color/yuv_repack.inc"
#include "cpu/x86/cvt_color/yuv_to_rgb.inc"

namespace tavix::module {

constinit const FloatYuvRows kFloatYuvRowsAvx2 = avx2::kFloatYuvRows;
constinit const RepackRows kRepackRowsAvx2 = avx2::kRepackRows;
constinit const RgbRows kRgbRowsAvx2 = avx2::kRgbRows;
constinit const RgbToYuvRows kRgbToYuvRowsAvx2 = avx2::kRgbToYuvRows;
constinit const YuvToRgbRows kYuvToRgbRowsAvx2 = avx2::kYuvToRgbRows;

}  // namespace tavix::module
