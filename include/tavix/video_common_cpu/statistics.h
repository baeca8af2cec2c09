/* SPDX-License-Identifier: Apache-2.0 */
/* One statistic of every channel of a packed frame. */
#ifndef TAVIX_VIDEO_COMMON_CPU_STATISTICS_H
#define TAVIX_VIDEO_COMMON_CPU_STATISTICS_H

#include "tavix/core/api.h"
#include "tavix/core/records.h"

/** What is computed for each channel; N = width * height. */
enum TavixStatisticalFunctionOp {
  TAVIX_STAT_OP_MEAN = 0,   /**< sum / N */
  TAVIX_STAT_OP_STDDEV = 1, /**< population standard deviation: sqrt(max(sumsq / N - mean^2, 0)) */
  TAVIX_STAT_OP_SUM = 2,
  TAVIX_STAT_OP_MAX = 3,
  TAVIX_STAT_OP_MIN = 4
};

/**
 * Computes a statistic over all pixels, one double for each channel in the frame's order.
 *
 * @par Formula
 * Those of TavixStatisticalFunctionOp. Without pixels the mean is NaN, deviation and sum are 0. The
 * maximum is -DBL_MAX where no sample is above it, as in a frame of NaN or of -infinity. The
 * minimum is DBL_MAX where no sample is below it.
 *
 * @par Formats
 * Packed formats.
 *
 * @par Sizes
 * Any. An array that is given is filled as far as its count goes; then its count becomes the number
 * of channels, whatever it was, so that an array of count 0 gets no element written.
 *
 * @par In place
 * Does not apply: src is only read.
 *
 * @par Alignment
 * None is needed.
 *
 * @par Ownership
 * A null *dst_array receives a new array of one element for each channel. The array belongs to the
 * caller, who frees it with TavixArrayFree.
 *
 * @par Threads
 * Any number of threads may call; the frame must not change during a call.
 *
 * @par Exceptions
 * std::bad_alloc or std::runtime_error where the workers' arena cannot be made.
 *
 * @par Precision
 * 8-bit frames: sums, sums of squares, maxima and minima are exact below 2^53. Float frames: sums
 * are accumulated in double, in an order that depends on the stripes and may differ in the last
 * bits from call to call. NaN samples make mean and sum NaN and the deviation 0, and are never a
 * maximum or minimum. The sign of a zero maximum or minimum is that of any of the zeros.
 *
 * @param src        frame
 * @param op         TavixStatisticalFunctionOp
 * @param dst_array  address of an array pointer, which may be null
 * @return TAVIX_OK, or the status of the first check that fails; neither array nor pointer is
 *         touched then:
 *         TAVIX_ERROR_INVALID_PARAM  null record or plane; memory not host
 *         TAVIX_ERROR_UNSUPPORTED    format outside the RGB family
 *         TAVIX_ERROR_INVALID_PARAM  null array address; op out of range; more than four channels;
 *                                    rows of more than 2^31 - 1 elements; array without elements
 *         TAVIX_ERROR_MEMORY         no memory for the array
 */
TAVIX_API int32_t TavixFrameStatisticalFunctionByCPU(const TavixFrameV2 *src, int32_t op,
                                                     TavixArray **dst_array);

/**
 * Hands the call to the entry for this processor, without a check of its own.
 *
 * @par Formula, Formats, Sizes, In place, Alignment, Ownership, Threads, Exceptions, Precision
 * As TavixFrameStatisticalFunctionByCPU, parameters included.
 *
 * @return the status of the implementation that runs
 */
TAVIX_API int32_t TavixFrameStatisticalFunctionForward(const TavixFrameV2 *src, int32_t op,
                                                       TavixArray **dst_array);

/**
 * The portable entry, with checks and messages of its own; it does not look at memory.
 *
 * @par Formula, Formats, Sizes, In place, Alignment, Ownership, Threads, Exceptions, Precision
 * As TavixFrameStatisticalFunctionByCPU, parameters included.
 *
 * @return As ByCPU, but a null array address is refused together with a null record.
 */
TAVIX_API int32_t TavixFrameStatisticalFunctionCommonC(const TavixFrameV2 *src, int32_t op,
                                                       TavixArray **dst_array);

/**
 * As CommonC with messages of its own; both run the same kernels and give the same results.
 *
 * @par Formula, Formats, Sizes, In place, Alignment, Ownership, Threads, Exceptions, Precision
 * As TavixFrameStatisticalFunctionByCPU, parameters included.
 *
 * @return As CommonC.
 */
TAVIX_API int32_t TavixFrameStatisticalFunctionAVX(const TavixFrameV2 *src, int32_t op,
                                                   TavixArray **dst_array);

#endif
