// SPDX-License-Identifier: Apache-2.0
// Row kernels of the colour conversions with AVX2. What fills no block is left to portable rows.
#include "cpu/tavix_cvt_color/float_yuv.h"
#include "cpu/tavix_cvt_color/sample_values.h"
#include "cpu/tavix_cvt_color/yuv_repack.h"
#include "cpu/x86/cvt_color/yuv_to_rgb_lanes.h"

#include "cpu/x86/cvt_color/gathers_avx2.h"
#include "cpu/x86/cvt_color/pixels_avx2.h"
#include "cpu/x86/cvt_color/rgb_to_yuv_avx2.h"

TAVIX_AVX2_BEGIN

namespace tavix::module::avx2 {

namespace {

constexpr const FloatYuvRows &kNarrowerFloatYuv = kFloatYuvRowsC;
constexpr const RepackRows &kNarrowerRepack = kRepackRowsC;
constexpr const RgbToYuvRows &kNarrowerRgbToYuv = kRgbToYuvRowsC;
constexpr const YuvToRgbRows &kNarrowerYuvToRgb = kYuvToRgbRowsC;

#include "cpu/x86/cvt_color/float_yuv.inc"
#include "cpu/x86/cvt_color/rgb_rows.inc"
#include "cpu/x86/cvt_color/rgb_to_yuv.inc"
#include "cpu/x86/cvt_color/yuv_repack.inc"
#include "cpu/x86/cvt_color/yuv_to_rgb.inc"

}  // namespace

}  // namespace tavix::module::avx2

TAVIX_AVX2_END

namespace tavix::module {

constinit const FloatYuvRows kFloatYuvRowsAvx2 = avx2::kFloatYuvRows;
constinit const RepackRows kRepackRowsAvx2 = avx2::kRepackRows;
constinit const RgbRows kRgbRowsAvx2 = avx2::kRgbRows;
constinit const RgbToYuvRows kRgbToYuvRowsAvx2 = avx2::kRgbToYuvRows;
constinit const YuvToRgbRows kYuvToRgbRowsAvx2 = avx2::kYuvToRgbRows;

}  // namespace tavix::module
