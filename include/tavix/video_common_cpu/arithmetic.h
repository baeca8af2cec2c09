/* SPDX-License-Identifier: Apache-2.0 */
/* Element-wise arithmetic on packed frames, with parameters of their own for each channel. */
#ifndef TAVIX_VIDEO_COMMON_CPU_ARITHMETIC_H
#define TAVIX_VIDEO_COMMON_CPU_ARITHMETIC_H

#include "tavix/core/api.h"
#include "tavix/core/records.h"

/** How two scaled operands a' = alpha * src1 and b' = beta * src2 combine. */
enum TavixBinaryArithmeticOp {
  TAVIX_BINARY_OP_ADD = 0,     /**< a' + b' */
  TAVIX_BINARY_OP_SUB = 1,     /**< a' - b' */
  TAVIX_BINARY_OP_MUL = 2,     /**< a' * b' */
  TAVIX_BINARY_OP_DIV = 3,     /**< a' / b' */
  TAVIX_BINARY_OP_MIN = 4,     /**< b' if b' < a', else a' */
  TAVIX_BINARY_OP_MAX = 5,     /**< b' if b' > a', else a' */
  TAVIX_BINARY_OP_ABSDIFF = 6, /**< |a' - b'| */
  TAVIX_BINARY_OP_OR = 7,      /**< bits of a' or b' (32-bit patterns of floats) */
  TAVIX_BINARY_OP_AND = 8,     /**< bits of a' and b' */
  TAVIX_BINARY_OP_XOR = 9      /**< bits of a' exclusive-or b' */
};

/**
 * Combines two frames element by element: dst = gamma + (alpha * src1 OP beta * src2).
 *
 * 8-bit     a' and b' are rounded half to even and clamped to 0..255, so is the result of OP, then
 *           the rounded gamma is added and the sum clamped again. Values of 2^31 and more and NaN
 *           become 0. A zero divisor gives 0, whatever gamma is.
 * Float     a', b' and the result of OP are 32-bit floats (the quotient a double), gamma is added in
 *           double and the sum rounded once. A divisor below 2^-52 in magnitude gives 2^-52.
 * Formats   RGB24 BGR24 GRAY8 BGRA32 RGBA32 and the five float formats; all three frames the same.
 * Sizes     width, height and channels equal; each frame has a linesize of its own.
 * Aliasing  dst may be src1 or src2; partial overlap is not supported.
 * Ownership nothing is allocated, nothing is kept. Threads: any; frames must not change meanwhile.
 *
 * @param op                TavixBinaryArithmeticOp
 * @param alpha,beta,gamma  4 doubles each, one for each channel in the frame's order; entries beyond
 *                          the frame's channels are ignored
 * @return TAVIX_OK, or, first failure wins and nothing is written:
 *         TAVIX_ERROR_INVALID_PARAM  null record; memory not host; null plane; formats or sizes
 *                                    differ; more than four channels; null parameters; op above 9
 *                                    (the last without a log line)
 *         TAVIX_ERROR_UNSUPPORTED    format outside the RGB family
 */
TAVIX_API int32_t TavixFrameBinaryArithmeticByCPU(const TavixFrameV2 *src1_frame,
                                                  const TavixFrameV2 *src2_frame, uint32_t op,
                                                  const double *alpha, const double *beta,
                                                  const double *gamma, TavixFrameV2 *dst_frame);

/** As ByCPU without its checks: hands the call to the best implementation for this processor. */
TAVIX_API int32_t TavixFrameBinaryArithmeticForward(const TavixFrameV2 *src1_frame,
                                                    const TavixFrameV2 *src2_frame, uint32_t op,
                                                    const double *alpha, const double *beta,
                                                    const double *gamma, TavixFrameV2 *dst_frame);

/** The portable implementation, with checks and messages of its own; does not look at memory. */
TAVIX_API int32_t TavixFrameBinaryArithmeticCommonC(const TavixFrameV2 *src1_frame,
                                                    const TavixFrameV2 *src2_frame, uint32_t op,
                                                    const double *alpha, const double *beta,
                                                    const double *gamma, TavixFrameV2 *dst_frame);

#endif
