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
 * Float     a', b' and the result of OP are 32-bit floats (the quotient a double), gamma is added
 * in double and the sum rounded once. A divisor below 2^-52 in magnitude gives 2^-52. Formats RGB24
 * BGR24 GRAY8 BGRA32 RGBA32 and the five float formats; all three frames the same. Sizes     width,
 * height and channels equal; each frame has a linesize of its own. Aliasing  dst may be src1 or
 * src2; partial overlap is not supported. Ownership nothing is allocated, nothing is kept. Threads:
 * any; frames must not change meanwhile.
 *
 * @param op                TavixBinaryArithmeticOp
 * @param alpha,beta,gamma  4 doubles each, one for each channel in the frame's order; entries
 * beyond the frame's channels are ignored
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

/**
 * The AVX2 implementation, with checks of its own; does not look at memory. It computes in single
 * precision, each parameter narrowed to float first, so results may differ in the last place, and
 * keeps three rules of its own:
 *
 * Offset        the rounded gamma of 8-bit frames is clamped to 0..255 before it is added, so that
 *               a negative one has no effect
 * Zero divisor  a divisor below 2^-23 in magnitude gives (2^-23 - gamma) + gamma; in 8-bit frames
 *               both terms are rounded and clamped: |gamma|, rounded
 * Float         gamma is added to the quotient, as to every other result, in single precision
 *
 * @return As ByCPU, but formats outside the RGB family are refused without a log line, and
 *         TAVIX_ERROR_UNSUPPORTED, with one, on a processor without AVX2.
 */
TAVIX_API int32_t TavixFrameBinaryArithmeticAVX(const TavixFrameV2 *src1_frame,
                                                const TavixFrameV2 *src2_frame, uint32_t op,
                                                const double *alpha, const double *beta,
                                                const double *gamma, TavixFrameV2 *dst_frame);

/** What becomes of a scaled sample v = scale * src before the offset is added. */
enum TavixUnaryArithmeticOp {
  TAVIX_UNARY_OP_MUL_ADD = 0, /**< v */
  TAVIX_UNARY_OP_SQRT = 1,    /**< square root of v, 0 of a negative v */
  TAVIX_UNARY_OP_EXP = 2,     /**< e to the v */
  TAVIX_UNARY_OP_LOG = 3      /**< natural logarithm of v, of 2^-52 when v is not above it */
};

/**
 * Applies a function to every element: dst = OP(scale * src) + offset.
 *
 * Precision double throughout; float frames round the sum once, 8-bit frames round it half to even
 *           and clamp it to 0..255. Values of 2^31 and more and NaN become 0 in 8-bit frames.
 * Formats   RGB24 BGR24 GRAY8 BGRA32 RGBA32 and the five float formats; both frames the same.
 * Sizes     width, height and channels equal; each frame has a linesize of its own.
 * Aliasing  dst may be src; partial overlap is not supported.
 * Ownership nothing is allocated, nothing is kept. Threads: any; frames must not change meanwhile.
 *
 * @param op            TavixUnaryArithmeticOp
 * @param scale,offset  4 doubles each, one for each channel in the frame's order; entries beyond
 * the frame's channels are ignored
 * @return TAVIX_OK, or, first failure wins and nothing is written:
 *         TAVIX_ERROR_INVALID_PARAM  null record; null plane; memory not host; formats or sizes
 *                                    differ; more than four channels; null parameters; op not 0 to
 *                                    3 (the last without a log line)
 *         TAVIX_ERROR_UNSUPPORTED    format outside the RGB family
 */
TAVIX_API int32_t TavixFrameUnaryArithmeticByCPU(const TavixFrameV2 *src, int32_t op,
                                                 const double *scale, const double *offset,
                                                 TavixFrameV2 *dst);

/** As ByCPU without its checks: hands the call to the best implementation for this processor. */
TAVIX_API int32_t TavixFrameUnaryArithmeticForward(const TavixFrameV2 *src, int32_t op,
                                                   const double *scale, const double *offset,
                                                   TavixFrameV2 *dst);

/** The portable implementation, with checks and messages of its own; does not look at memory. */
TAVIX_API int32_t TavixFrameUnaryArithmeticCommonC(const TavixFrameV2 *src, int32_t op,
                                                   const double *scale, const double *offset,
                                                   TavixFrameV2 *dst);

/**
 * The AVX2 implementation, with checks and messages of its own; does not look at memory. It
 * computes in single precision, each parameter narrowed to float first: v and the sum are rounded
 * to float, and so are the functions. The logarithm's least v is 2^-23, and a NaN v stays NaN. In
 * whole blocks of 8 elements (24 with three channels) the square root of a NaN is 0, and the float
 * exponential is within one unit in the last place of expf; elsewhere they are as in C.
 *
 * @return As ByCPU, but formats outside the RGB family are refused without a log line, and
 *         TAVIX_ERROR_UNSUPPORTED, with one, on a processor without AVX2.
 */
TAVIX_API int32_t TavixFrameUnaryArithmeticAVX(const TavixFrameV2 *src, int32_t op,
                                               const double *scale, const double *offset,
                                               TavixFrameV2 *dst);

#endif
