// SPDX-License-Identifier: Apache-2.0
// The dispatchers: no checks of their own, every argument and the status passed through unchanged.
#include "cpu_dispatch/cpu_features.h"
#include "tavix/video_common_cpu/arithmetic.h"
#include "tavix/video_common_cpu/softmax.h"
#include "tavix/video_common_cpu/statistics.h"

using tavix::module::use_avx2;

int32_t TavixFrameBinaryArithmeticForward(const TavixFrameV2 *src1_frame,
                                          const TavixFrameV2 *src2_frame, uint32_t op,
                                          const double *alpha, const double *beta,
                                          const double *gamma, TavixFrameV2 *dst_frame) {
  const auto run = use_avx2() ? TavixFrameBinaryArithmeticAVX : TavixFrameBinaryArithmeticCommonC;
  return run(src1_frame, src2_frame, op, alpha, beta, gamma, dst_frame);
}

int32_t TavixFrameUnaryArithmeticForward(const TavixFrameV2 *src, int32_t op, const double *scale,
                                         const double *offset, TavixFrameV2 *dst) {
  return use_avx2() ? TavixFrameUnaryArithmeticAVX(src, op, scale, offset, dst)
                    : TavixFrameUnaryArithmeticCommonC(src, op, scale, offset, dst);
}

int32_t TavixFrameStatisticalFunctionForward(const TavixFrameV2 *src, int32_t op,
                                             TavixArray **dst_array) {
  return use_avx2() ? TavixFrameStatisticalFunctionAVX(src, op, dst_array)
                    : TavixFrameStatisticalFunctionCommonC(src, op, dst_array);
}

int32_t TavixBlobSoftmaxForward(const TavixBlob *src_blob, int32_t axis, TavixBlob *dst_blob) {
  return use_avx2() ? TavixBlobSoftmaxAVX(src_blob, axis, dst_blob)
                    : TavixBlobSoftmaxCommonC(src_blob, axis, dst_blob);
}
