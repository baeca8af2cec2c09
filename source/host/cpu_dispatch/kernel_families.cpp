// SPDX-License-Identifier: Apache-2.0
// Which record serves which level: one line for each family, with its records of AVX-512 and VBMI.
// Every family has a portable record and one of AVX2.
#include "cpu_dispatch/kernel_families.h"

#if defined(__x86_64__)
#define TAVIX_RECORDS(Rows, ...) \
  { &k##Rows##C, &k##Rows##Avx2, __VA_ARGS__ }
#else
#define TAVIX_RECORDS(Rows, ...) \
  { &k##Rows##C }
#endif

// The family of such rows, and its accessor.
#define TAVIX_FAMILY(Rows, name, ...)                                              \
  constinit KernelFamily<Rows> name##_family = {TAVIX_RECORDS(Rows, __VA_ARGS__)}; \
  const Rows &name##_rows() {                                                      \
    return name##_family.best();                                                   \
  }

namespace tavix::module {

TAVIX_FAMILY(BinaryRows, binary, &kBinaryRowsAvx512)
TAVIX_FAMILY(FloatYuvRows, float_yuv, &kFloatYuvRowsAvx512)
TAVIX_FAMILY(NormalizeRows, normalize, &kNormalizeRowsAvx512)
TAVIX_FAMILY(RepackRows, repack, nullptr, &kRepackRowsAvx512Vbmi)
TAVIX_FAMILY(RgbRows, rgb, nullptr, &kRgbRowsAvx512Vbmi)
TAVIX_FAMILY(RgbToYuvRows, rgb_to_yuv, nullptr, &kRgbToYuvRowsAvx512Vbmi)
TAVIX_FAMILY(SoftmaxRows, softmax, &kSoftmaxRowsAvx512)
TAVIX_FAMILY(StatisticsRows, statistics, &kStatisticsRowsAvx512)
TAVIX_FAMILY(TensorRows, tensor, nullptr, &kTensorRowsAvx512Vbmi)
TAVIX_FAMILY(UnaryRows, unary, &kUnaryRowsAvx512, &kUnaryRowsAvx512Vbmi)
TAVIX_FAMILY(YuvToRgbRows, yuv_to_rgb, nullptr, &kYuvToRgbRowsAvx512Vbmi)

}  // namespace tavix::module
