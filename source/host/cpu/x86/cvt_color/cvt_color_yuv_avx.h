// SPDX-License-Identifier: Apache-2.0
// Drivers of the conversions into and out of 4:2:0 and among its formats: each takes the row
// kernels of this processor once and runs them over the row pairs of a job.
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

// 4:2:0 to 8-bit RGB, and between float RGB and 4:2:0. Odd last rows and columns are left alone.
void yuv_to_rgb(const YuvToRgbJob &job);
void rgbf32_to_yuv(const RgbF32ToYuvJob &job);
void yuv_to_rgbf32(const YuvToRgbF32Job &job);

// Among the 4:2:0 formats; with portable rows in the calling thread. An odd last row is left alone,
// an odd last column has luma only.
void repack_yuv(const YuvRepackJob &job);

// Grey to 4:2:0, chroma 128 up to the ends of its strides. An odd last row is left alone. To planar
// formats, and with portable rows, in the calling thread.
void Gray2NV12(const YuvRepackJob &job);
void Gray2YV12(const YuvRepackJob &job);

// The conversions by name.
inline constexpr auto &NV122BGR = yuv_to_rgb, &YV122BGR = yuv_to_rgb, &YV122BGRA = yuv_to_rgb;
inline constexpr auto &RGBF322NVAvx = rgbf32_to_yuv, &RGBF322YUVAvx = rgbf32_to_yuv;
inline constexpr auto &NV2BGRF32Avx = yuv_to_rgbf32, &YUV2BGRF32Avx = yuv_to_rgbf32;
inline constexpr auto &NV122NV21 = repack_yuv, &NV122YV12 = repack_yuv, &YVU122NV = repack_yuv,
                      &YVU122YVU12 = repack_yuv;

}  // namespace tavix::module
