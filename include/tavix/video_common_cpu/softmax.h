/* SPDX-License-Identifier: Apache-2.0 */
/* Softmax of a float tensor along one of its axes. */
#ifndef TAVIX_VIDEO_COMMON_CPU_SOFTMAX_H
#define TAVIX_VIDEO_COMMON_CPU_SOFTMAX_H

#include "tavix/core/api.h"
#include "tavix/core/records.h"

/**
 * Replaces every line x of values along an axis, all other indices fixed, by
 * y[k] = exp(x[k] - max x) / sum over j of exp(x[j] - max x), in single precision.
 *
 * Shapes    both blobs TAVIX_DATA_TYPE_FLOAT32 of equal dimensions, row-major.
 * Results   those of the C library's expf with the sum taken in order; along the last axis the AVX
 *           implementation adds in eight lanes with an exponential of its own and agrees to within a
 *           few units in the last place. A line holding NaN or +infinity, or -infinity only, becomes
 *           NaN; large values do not overflow.
 * Empty     dst is left alone where the number of lines or their length is not positive; the number
 *           of lines is a 32-bit product that wraps.
 * Aliasing  src and dst may share one buffer; partial overlap is not supported.
 * Ownership nothing is allocated, nothing is kept. Threads: any; blobs must not change meanwhile.
 *
 * @param axis  0 to dims_size - 1, or negative, counting from the end: -1 is the last axis
 * @return TAVIX_OK, or, first failure wins and nothing is written:
 *         TAVIX_ERROR_INVALID_PARAM  null record, buffer or storage; dimensions differ, or are more
 *                                    than TAVIX_BLOB_MAX_DIMS, or two are negative; no such axis
 *         TAVIX_ERROR_UNSUPPORTED    element type not float; AVX called on a processor without AVX2
 */
TAVIX_API int32_t TavixBlobSoftmaxByCPU(const TavixBlob *src_blob, int32_t axis,
                                        TavixBlob *dst_blob);

/** As ByCPU without its checks: hands the call to the best implementation for this processor. */
TAVIX_API int32_t TavixBlobSoftmaxForward(const TavixBlob *src_blob, int32_t axis,
                                          TavixBlob *dst_blob);

/** The portable implementation, with checks and messages of its own. */
TAVIX_API int32_t TavixBlobSoftmaxCommonC(const TavixBlob *src_blob, int32_t axis,
                                          TavixBlob *dst_blob);

/** The AVX2 implementation, with checks and messages of its own; missing storage is not logged. */
TAVIX_API int32_t TavixBlobSoftmaxAVX(const TavixBlob *src_blob, int32_t axis, TavixBlob *dst_blob);

#endif
