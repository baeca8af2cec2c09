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
 * 8-bit     sums, sums of squares, maxima and minima are exact (below 2^53).
 * Float     sums are accumulated in double, in an order that may differ from run to run. NaN samples
 *           make mean and sum NaN and the deviation 0, and are never a maximum or minimum. The sign
 *           of a zero maximum or minimum is that of any of the zeros.
 * Empty     without pixels the mean is NaN, deviation and sum are 0. The maximum is -DBL_MAX where no
 *           sample is above it (all NaN or -infinity too), the minimum DBL_MAX likewise.
 * Formats   RGB24 BGR24 GRAY8 BGRA32 RGBA32 and the five float formats.
 * Result    a null *dst_array receives a new array of one element for each channel. An array given is
 *           filled as far as its count goes; its count becomes the number of channels whatever it
 *           was, so that one of count 0 gets no element written.
 * Ownership the array belongs to the caller (TavixArrayFree). Threads: any; the frame must not
 *           change meanwhile.
 *
 * @param op         TavixStatisticalFunctionOp
 * @param dst_array  address of an array pointer, which may be null
 * @return TAVIX_OK, or, first failure wins and neither array nor pointer is touched:
 *         TAVIX_ERROR_INVALID_PARAM  null record, plane or array address; memory not host; op out of
 *                                    range; more than four channels; array without elements
 *         TAVIX_ERROR_UNSUPPORTED    format outside the RGB family
 *         TAVIX_ERROR_MEMORY         no memory for the array
 */
TAVIX_API int32_t TavixFrameStatisticalFunctionByCPU(const TavixFrameV2 *src, int32_t op,
                                                     TavixArray **dst_array);

/** As ByCPU without its checks: hands the call to the best implementation for this processor. */
TAVIX_API int32_t TavixFrameStatisticalFunctionForward(const TavixFrameV2 *src, int32_t op,
                                                       TavixArray **dst_array);

/** The portable entry, with checks and messages of its own; does not look at memory. */
TAVIX_API int32_t TavixFrameStatisticalFunctionCommonC(const TavixFrameV2 *src, int32_t op,
                                                       TavixArray **dst_array);

/** As CommonC with messages of its own; both run the same kernels and give the same results. */
TAVIX_API int32_t TavixFrameStatisticalFunctionAVX(const TavixFrameV2 *src, int32_t op,
                                                   TavixArray **dst_array);

#endif
