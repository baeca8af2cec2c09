// SPDX-License-Identifier: Apache-2.0
// The kernel families of the library: the same row functions for each level of processor, one
// record of them a level. Who runs rows asks the family's accessor, which is declared with its row
// functions, once for each call; nothing else asks about the processor. Tests force levels and add
// records.
#pragma once

#include "cpu/common_c/arithmetic/operation_rows.h"
#include "cpu/common_c/arithmetic/softmax_rows.h"
#include "cpu/common_c/arithmetic/statistics_rows.h"
#include "cpu/common_c/blob/normalize_rows.h"
#include "cpu/common_c/blob/tensor_rows.h"
#include "cpu/tavix_cvt_color/float_yuv.h"
#include "cpu/tavix_cvt_color/rgb_rows.h"
#include "cpu/tavix_cvt_color/rgb_to_yuv.h"
#include "cpu/tavix_cvt_color/yuv_repack.h"
#include "cpu/tavix_cvt_color/yuv_to_rgb.h"
#include "cpu_dispatch/cpu_features.h"

namespace tavix::module {

template <class Rows>
struct KernelFamily {
  // By level. The portable record is always there; null where a level has no record of its own.
  const Rows *records[kCpuLevels];

  // The record of a level, or of the next one below that has one.
  const Rows &at(CpuLevel level) const {
    int i = int(level);
    while (records[i] == nullptr) --i;
    return *records[i];
  }

  const Rows &best() const { return at(cpu_level()); }
};

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
