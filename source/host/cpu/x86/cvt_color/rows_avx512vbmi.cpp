// SPDX-License-Identifier: Apache-2.0
// The records of the colour conversions with AVX-512 and VBMI, with the arithmetic of the AVX2
// rows.
#include "cpu/x86/cvt_color/gathers_avx512vbmi.h"

// What fills no block is left to those.
#define TAVIX_NARROWER(Rows) k##Rows##Avx2
#define TAVIX_NARROWER_RGB kRgbRowsAvx2

#include "cpu/x86/cvt_color/rgb_rows.inc"
#include "cpu/x86/cvt_color/rgb_to_yuv.inc"
#include "cpu/x86/cvt_color/yuv_repack.inc"
#include "cpu/x86/cvt_color/yuv_to_rgb.inc"

namespace tavix::module {

constinit const RepackRows kRepackRowsAvx512Vbmi = avx512vbmi::kRepackRows;
constinit const RgbRows kRgbRowsAvx512Vbmi = avx512vbmi::kRgbRows;
constinit const RgbToYuvRows kRgbToYuvRowsAvx512Vbmi = avx512vbmi::kRgbToYuvRows;
constinit const YuvToRgbRows kYuvToRgbRowsAvx512Vbmi = avx512vbmi::kYuvToRgbRows;

}  // namespace tavix::module
