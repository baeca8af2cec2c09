// SPDX-License-Identifier: Apache-2.0
// Drivers of the conversions into and out of 4:2:0: each picks the vector or the portable body once
// for each call and runs it over the chroma rows.
#pragma once

#include "cpu/tavix_cvt_color/float_yuv.h"
#include "cpu/tavix_cvt_color/rgb_to_yuv.h"
#include "cpu/tavix_cvt_color/yuv_repack.h"
#include "cpu/tavix_cvt_color/yuv_to_rgb.h"

namespace tavix::module {

// 8-bit RGB to 4:2:0. Odd sizes are warned of once for each call; then the last row of an odd
// height is converted, an odd last column in that row only.
void BGR2NV12Avx(const RgbToYuvJob &job);
void BGR2YV12Avx(const RgbToYuvJob &job);
void BGRA2NV12Avx(const RgbToYuvJob &job);
void BGRA2YV12Avx(const RgbToYuvJob &job);

// 4:2:0 to 8-bit RGB. Odd last rows and columns are left alone.
void NV122BGR(const YuvToRgbJob &job);
void YV122BGR(const YuvToRgbJob &job);
void YV122BGRA(const YuvToRgbJob &job);

// Float RGB to and from 4:2:0, always in parallel. Odd last rows and columns are left alone.
void RGBF322NVAvx(const RgbF32ToYuvJob &job);
void RGBF322YUVAvx(const RgbF32ToYuvJob &job);
void NV2BGRF32Avx(const YuvToRgbF32Job &job);
void YUV2BGRF32Avx(const YuvToRgbF32Job &job);

// Among the 4:2:0 formats; without AVX2 in the calling thread. An odd last row is left alone, an
// odd last column has luma only.
void NV122NV21(const YuvRepackJob &job);
void NV122YV12(const YuvRepackJob &job);
void YVU122NV(const YuvRepackJob &job);
void YVU122YVU12(const YuvRepackJob &job);

// Grey to 4:2:0, chroma 128 up to the ends of its strides. An odd last row is left alone. To planar
// formats, and without AVX2, in the calling thread.
void Gray2NV12(const GrayToYuvJob &job);
void Gray2YV12(const GrayToYuvJob &job);

}  // namespace tavix::module
