/* SPDX-License-Identifier: Apache-2.0 */
/* Softmax of a float tensor along one of its axes. */
#ifndef TAVIX_VIDEO_COMMON_CPU_SOFTMAX_H
#define TAVIX_VIDEO_COMMON_CPU_SOFTMAX_H

#include "tavix/core/api.h"
#include "tavix/core/records.h"

/**
 * Replaces every line of values along an axis, all other indices fixed, by its softmax.
 *
 * @par Formula
 * y[k] = exp(x[k] - max x) / sum over j of exp(x[j] - max x). A line that holds NaN or +infinity,
 * or nothing but -infinity, becomes NaN; large values do not overflow.
 *
 * @par Formats
 * Both blobs are TAVIX_DATA_TYPE_FLOAT32 and row-major; the layout code is not looked at.
 *
 * @par Sizes
 * Both blobs have the same dimensions. The products of the dimensions before and after the axis,
 * and the number of lines, wrap in 32 bits. dst is left alone where the number of lines or their
 * length is not positive.
 *
 * @par In place
 * src and dst may share one buffer; partial overlap is not supported.
 *
 * @par Alignment
 * That of float.
 *
 * @par Ownership
 * Nothing is allocated and nothing is kept.
 *
 * @par Threads
 * Any number of threads may call; the blobs must not change during a call.
 *
 * @par Exceptions
 * std::bad_alloc or std::runtime_error where the workers' arena cannot be made.
 *
 * @par Precision
 * That of the implementation that runs: TavixBlobSoftmaxAVX on a processor with AVX2,
 * TavixBlobSoftmaxCommonC elsewhere.
 *
 * @param src_blob  values
 * @param axis      0 to dims_size - 1, or negative, counting from the end: -1 is the last axis
 * @param dst_blob  result, allocated by the caller
 * @return TAVIX_OK, or the status of the first check that fails; nothing is written then:
 *         TAVIX_ERROR_INVALID_PARAM  null record; dimensions differ
 *         TAVIX_ERROR_UNSUPPORTED    element type not float
 *         TAVIX_ERROR_INVALID_PARAM  null buffer; no such axis; null storage; more than
 *                                    TAVIX_BLOB_MAX_DIMS dimensions; two negative dimensions or
 *                                    products
 */
TAVIX_API int32_t TavixBlobSoftmaxByCPU(const TavixBlob *src_blob, int32_t axis,
                                        TavixBlob *dst_blob);

/**
 * Hands the call to the implementation for this processor, without a check of its own.
 *
 * @par Formula, Formats, Sizes, In place, Alignment, Ownership, Threads, Exceptions, Precision
 * As TavixBlobSoftmaxByCPU, parameters included.
 *
 * @return the status of the implementation that runs
 */
TAVIX_API int32_t TavixBlobSoftmaxForward(const TavixBlob *src_blob, int32_t axis,
                                          TavixBlob *dst_blob);

/**
 * The portable implementation, with checks and messages of its own.
 *
 * @par Formula, Formats, Sizes, In place, Alignment, Ownership, Threads, Exceptions
 * As TavixBlobSoftmaxByCPU, parameters included.
 *
 * @par Precision
 * Single precision: the C library's expf, with the sum taken in order.
 *
 * @return As ByCPU, but the axis is looked at before the element type.
 */
TAVIX_API int32_t TavixBlobSoftmaxCommonC(const TavixBlob *src_blob, int32_t axis,
                                          TavixBlob *dst_blob);

/**
 * The vector implementation, with checks and messages of its own; missing storage is not logged.
 *
 * @par Formula, Formats, Sizes, In place, Alignment, Ownership, Threads, Exceptions
 * As TavixBlobSoftmaxByCPU, parameters included.
 *
 * @par Precision
 * Along the last axis it adds in eight lanes, with an exponential of its own in whole blocks of 8
 * values, and agrees with CommonC to within a few units in the last place. Along every other axis
 * it gives the bits of CommonC.
 *
 * @return As CommonC, with one difference. The last check refuses a processor without AVX2:
 *         TAVIX_ERROR_UNSUPPORTED, with a log line.
 */
TAVIX_API int32_t TavixBlobSoftmaxAVX(const TavixBlob *src_blob, int32_t axis, TavixBlob *dst_blob);

#endif
