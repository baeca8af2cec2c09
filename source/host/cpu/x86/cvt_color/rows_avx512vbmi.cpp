// SPDX-License-Identifier: Apache-2.0
// Row kernels of the colour conversions with AVX-512 and VBMI, with the arithmetic of the AVX2 rows.
// What fills no block is left to those.
#include "cpu/tavix_cvt_color/sample_values.h"
#include "cpu/tavix_cvt_color/yuv_repack.h"
#include "cpu/x86/cvt_color/rgb_to_yuv_lanes.h"
#include "cpu/x86/cvt_color/yuv_to_rgb_lanes.h"

#include "cpu/x86/cvt_color/gathers_avx512vbmi.h"

TAVIX_AVX512VBMI_BEGIN

namespace tavix::module::avx512vbmi {

namespace {

constexpr const RepackRows &kNarrowerRepack = kRepackRowsAvx2;
constexpr const RgbToYuvRows &kNarrowerRgbToYuv = kRgbToYuvRowsAvx2;
constexpr const YuvToRgbRows &kNarrowerYuvToRgb = kYuvToRgbRowsAvx2;

#include "cpu/x86/cvt_color/rgb_rows.inc"
#include "cpu/x86/cvt_color/rgb_to_yuv.inc"
#include "cpu/x86/cvt_color/yuv_repack.inc"
#include "cpu/x86/cvt_color/yuv_to_rgb.inc"

}  // namespace

}  // namespace tavix::module::avx512vbmi

TAVIX_AVX512_END

namespace tavix::module {

constinit const RepackRows kRepackRowsAvx512Vbmi = avx512vbmi::kRepackRows;
constinit const RgbRows kRgbRowsAvx512Vbmi = avx512vbmi::kRgbRows;
constinit const RgbToYuvRows kRgbToYuvRowsAvx512Vbmi = avx512vbmi::kRgbToYuvRows;
constinit const YuvToRgbRows kYuvToRgbRowsAvx512Vbmi = avx512vbmi::kYuvToRgbRows;

}  // namespace tavix::module
