// SPDX-License-Identifier: Apache-2.0
// The dispatchers: no checks of their own, every argument and the status passed through unchanged.
#include "tavix/video_common_cpu/arithmetic.h"

int32_t TavixFrameBinaryArithmeticForward(const TavixFrameV2 *src1_frame,
                                          const TavixFrameV2 *src2_frame, uint32_t op,
                                          const double *alpha, const double *beta,
                                          const double *gamma, TavixFrameV2 *dst_frame) {
  return TavixFrameBinaryArithmeticCommonC(src1_frame, src2_frame, op, alpha, beta, gamma,
                                           dst_frame);
}
