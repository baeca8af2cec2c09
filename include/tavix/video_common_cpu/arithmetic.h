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
 * Combines two frames element by element and channel by channel.
 *
 * @par Formula
 * dst = gamma + (alpha * src1 OP beta * src2), with the parameters of the element's channel.
 *
 * @par Formats
 * Packed formats; all three frames have the same.
 *
 * @par Sizes
 * Width, height and channels are equal; each frame has a linesize of its own. Frames without pixels
 * are left alone.
 *
 * @par In place
 * dst may be src1 or src2; partial overlap is not supported.
 *
 * @par Alignment
 * None is needed.
 *
 * @par Ownership
 * Nothing is allocated and nothing is kept.
 *
 * @par Threads
 * Any number of threads may call; the frames must not change during a call.
 *
 * @par Exceptions
 * std::bad_alloc or std::runtime_error where the workers' arena cannot be made.
 *
 * @par Precision
 * That of the implementation that runs: TavixFrameBinaryArithmeticAVX on a processor with AVX2,
 * TavixFrameBinaryArithmeticCommonC elsewhere.
 *
 * @param src1_frame        first operand
 * @param src2_frame        second operand
 * @param op                TavixBinaryArithmeticOp
 * @param alpha,beta,gamma  4 doubles each, one for each channel in the frame's order; entries
 *                          beyond the frame's channels are ignored
 * @param dst_frame         result, allocated by the caller
 * @return TAVIX_OK, or the status of the first check that fails; nothing is written then:
 *         TAVIX_ERROR_INVALID_PARAM  null record; memory not host; null plane; formats differ
 *         TAVIX_ERROR_UNSUPPORTED    format outside the RGB family
 *         TAVIX_ERROR_INVALID_PARAM  sizes differ; op above 9 (without a log line); more than four
 *                                    channels; rows of more than 2^31 - 1 elements; null parameters
 */
TAVIX_API int32_t TavixFrameBinaryArithmeticByCPU(const TavixFrameV2 *src1_frame,
                                                  const TavixFrameV2 *src2_frame, uint32_t op,
                                                  const double *alpha, const double *beta,
                                                  const double *gamma, TavixFrameV2 *dst_frame);

/**
 * Hands the call to the implementation for this processor, without a check of its own.
 *
 * @par Formula, Formats, Sizes, In place, Alignment, Ownership, Threads, Exceptions, Precision
 * As TavixFrameBinaryArithmeticByCPU, parameters included.
 *
 * @return the status of the implementation that runs
 */
TAVIX_API int32_t TavixFrameBinaryArithmeticForward(const TavixFrameV2 *src1_frame,
                                                    const TavixFrameV2 *src2_frame, uint32_t op,
                                                    const double *alpha, const double *beta,
                                                    const double *gamma, TavixFrameV2 *dst_frame);

/**
 * The portable implementation, with checks and messages of its own; it does not look at memory.
 *
 * @par Formula, Formats, Sizes, In place, Alignment, Ownership, Threads, Exceptions
 * As TavixFrameBinaryArithmeticByCPU, parameters included.
 *
 * @par Precision
 * 8-bit frames: alpha * src1 and beta * src2 are formed in double, narrowed to float, rounded half
 * to even and clamped to 0..255; so is the result of OP; then the rounded gamma is added and the
 * sum clamped again. Values of 2^31 and more and NaN become 0. A zero divisor gives 0, whatever
 * gamma is.
 * @par
 * Float frames: both products are formed in double and narrowed to float, the result of OP is a
 * float (the quotient a double), gamma is added in double and the sum narrowed once. A divisor
 * below 2^-52 in magnitude gives 2^-52, whatever gamma is.
 *
 * @return As ByCPU.
 */
TAVIX_API int32_t TavixFrameBinaryArithmeticCommonC(const TavixFrameV2 *src1_frame,
                                                    const TavixFrameV2 *src2_frame, uint32_t op,
                                                    const double *alpha, const double *beta,
                                                    const double *gamma, TavixFrameV2 *dst_frame);

/**
 * The vector implementation, with checks of its own; it does not look at memory.
 *
 * @par Formula, Formats, Sizes, In place, Alignment, Ownership, Threads, Exceptions
 * As TavixFrameBinaryArithmeticByCPU, parameters included.
 *
 * @par Precision
 * Each parameter is narrowed to float first, and every step is taken in float and rounded. 8-bit
 * frames round scaled operands, results and gamma half to even and clamp each to 0..255, so that a
 * negative gamma has no effect. Values of 2^31 and more and NaN become 0.
 * @par
 * A divisor below 2^-23 in magnitude gives (2^-23 - gamma) + gamma; in 8-bit frames both terms are
 * rounded and clamped, which gives the rounded magnitude of gamma.
 *
 * @return As ByCPU, with two differences. The refusal of a format outside the RGB family logs no
 *         line. The last check refuses a processor without AVX2: TAVIX_ERROR_UNSUPPORTED, with a
 *         log line.
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
  TAVIX_UNARY_OP_LOG = 3 /**< natural logarithm of v, of a least value when v is not above it */
};

/**
 * Applies a function to every element, with parameters of its own for each channel.
 *
 * @par Formula
 * dst = OP(scale * src) + offset, with the parameters of the element's channel.
 *
 * @par Formats
 * Packed formats; both frames have the same.
 *
 * @par Sizes
 * Width, height and channels are equal; each frame has a linesize of its own. Frames without pixels
 * are left alone.
 *
 * @par In place
 * dst may be src; partial overlap is not supported.
 *
 * @par Alignment
 * None is needed.
 *
 * @par Ownership
 * Nothing is allocated and nothing is kept.
 *
 * @par Threads
 * Any number of threads may call; the frames must not change during a call.
 *
 * @par Exceptions
 * std::bad_alloc or std::runtime_error where the workers' arena cannot be made.
 *
 * @par Precision
 * That of the implementation that runs: TavixFrameUnaryArithmeticAVX on a processor with AVX2,
 * TavixFrameUnaryArithmeticCommonC elsewhere.
 *
 * @param src           operand
 * @param op            TavixUnaryArithmeticOp
 * @param scale,offset  4 doubles each, one for each channel in the frame's order; entries beyond
 *                      the frame's channels are ignored
 * @param dst           result, allocated by the caller
 * @return TAVIX_OK, or the status of the first check that fails; nothing is written then:
 *         TAVIX_ERROR_INVALID_PARAM  null record; null plane; memory not host; formats differ
 *         TAVIX_ERROR_UNSUPPORTED    format outside the RGB family
 *         TAVIX_ERROR_INVALID_PARAM  sizes differ; op not 0 to 3 (without a log line); more than
 *                                    four channels; rows of more than 2^31 - 1 elements; null
 *                                    parameters
 */
TAVIX_API int32_t TavixFrameUnaryArithmeticByCPU(const TavixFrameV2 *src, int32_t op,
                                                 const double *scale, const double *offset,
                                                 TavixFrameV2 *dst);

/**
 * Hands the call to the implementation for this processor, without a check of its own.
 *
 * @par Formula, Formats, Sizes, In place, Alignment, Ownership, Threads, Exceptions, Precision
 * As TavixFrameUnaryArithmeticByCPU, parameters included.
 *
 * @return the status of the implementation that runs
 */
TAVIX_API int32_t TavixFrameUnaryArithmeticForward(const TavixFrameV2 *src, int32_t op,
                                                   const double *scale, const double *offset,
                                                   TavixFrameV2 *dst);

/**
 * The portable implementation, with checks and messages of its own; it does not look at memory.
 *
 * @par Formula, Formats, Sizes, In place, Alignment, Ownership, Threads, Exceptions
 * As TavixFrameUnaryArithmeticByCPU, parameters included.
 *
 * @par Precision
 * Double throughout, with the C library's functions. Float frames round the sum once; 8-bit frames
 * round it half to even and clamp it to 0..255. Values of 2^31 and more and NaN become 0 in 8-bit
 * frames. The logarithm takes 2^-52 in place of what is not above it.
 *
 * @return As ByCPU.
 */
TAVIX_API int32_t TavixFrameUnaryArithmeticCommonC(const TavixFrameV2 *src, int32_t op,
                                                   const double *scale, const double *offset,
                                                   TavixFrameV2 *dst);

/**
 * The vector implementation, with checks and messages of its own; it does not look at memory.
 *
 * @par Formula, Formats, Sizes, In place, Alignment, Ownership, Threads, Exceptions
 * As TavixFrameUnaryArithmeticByCPU, parameters included.
 *
 * @par Precision
 * Each parameter is narrowed to float first; the scaled sample v, the function and the sum are each
 * rounded to float. 8-bit frames round the sum half to even and clamp it to 0..255; values of 2^31
 * and more and NaN become 0. The logarithm takes 2^-23 in place of what is not above it, and a NaN
 * v stays NaN.
 * @par
 * Rows are whole blocks of 8 elements, of 24 with three channels, and single elements after them.
 * In whole blocks the square root of NaN is 0 and the exponential of float frames lies within one
 * unit in the last place of expf; single elements have the square root of NaN and expf itself.
 *
 * @return As ByCPU, with three differences. The refusal of a format outside the RGB family logs no
 *         line. Null planes are refused after null parameters. The last check refuses a processor
 *         without AVX2: TAVIX_ERROR_UNSUPPORTED, with a log line.
 */
TAVIX_API int32_t TavixFrameUnaryArithmeticAVX(const TavixFrameV2 *src, int32_t op,
                                               const double *scale, const double *offset,
                                               TavixFrameV2 *dst);

#endif
