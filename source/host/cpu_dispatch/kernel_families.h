// SPDX-License-Identifier: Apache-2.0
// The kernel families of the library. Each accessor is declared with its row functions; the
// families themselves are named here for the tests, which force levels and add records.
#pragma once

#include "cpu/common_c/arithmetic/binary_rows.h"
#include "cpu/common_c/arithmetic/softmax_rows.h"
#include "cpu/common_c/arithmetic/statistics_rows.h"
#include "cpu/common_c/arithmetic/unary_rows.h"
#include "cpu/common_c/blob/normalize_rows.h"
#include "cpu/common_c/blob/tensor_rows.h"
#include "cpu/tavix_cvt_color/float_yuv.h"
#include "cpu/tavix_cvt_color/rgb_rows.h"
#include "cpu/tavix_cvt_color/rgb_to_yuv.h"
#include "cpu/tavix_cvt_color/yuv_repack.h"
#include "cpu/tavix_cvt_color/yuv_to_rgb.h"
#include "cpu_dispatch/kernel_family.h"

namespace tavix::module {

extern constinit KernelFamily<BinaryRows> binary_family;
extern constinit KernelFamily<FloatYuvRows> float_yuv_family;
extern constinit KernelFamily<NormalizeRows> normalize_family;
extern constinit KernelFamily<RepackRows> repack_family;
extern constinit KernelFamily<RgbRows> rgb_family;
extern constinit KernelFamily<RgbToYuvRows> rgb_to_yuv_family;
extern constinit KernelFamily<SoftmaxRows> softmax_family;
extern constinit KernelFamily<StatisticsRows> statistics_family;
extern constinit KernelFamily<TensorRows> tensor_family;
extern constinit KernelFamily<UnaryRows> unary_family;
extern constinit KernelFamily<YuvToRgbRows> yuv_to_rgb_family;

}  // namespace tavix::module
