/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * Filters, morphology, threshold and normalisation of packed frames, carried out by OpenCV on views
 * of plane 0.
 *
 * A refused call logs one line and writes nothing. OpenCV's own failures become one logged line,
 * which ends with OpenCV's text, and a status. In these operations a linesize[0] of 0 means packed
 * rows. Every kernel is anchored at its centre.
 */
#ifndef TAVIX_VIDEO_COMMON_CPU_FILTERS_H
#define TAVIX_VIDEO_COMMON_CPU_FILTERS_H

#include "tavix/core/api.h"
#include "tavix/core/records.h"

/**
 * Takes the mean over a rectangle around each pixel; borders are reflected without the edge
 * (reflect-101).
 *
 * @par Formats
 * Packed formats; both frames the same.
 * @par Sizes
 * dst must have the size of src. A dst of another size stays as it was, and the call still
 * succeeds.
 * @par In place
 * dst may be src. Other overlap is not supported.
 * @par Alignment
 * Rows of float frames start whole floats apart.
 * @par Ownership
 * The operation allocates nothing for the caller and keeps nothing.
 * @par Threads
 * Any thread; frames must not change during the call.
 * @par Exceptions
 * std::bad_alloc: no memory.
 * @par Precision
 * The result has the bits of cv::blur, which chooses its code for the processor itself.
 *
 * @param kernel_size  pixels of the rectangle; fractions are dropped. The time of a call grows with
 *                     the square of a side that reaches far beyond the frame.
 * @return TAVIX_OK, or TAVIX_ERROR_INVALID_PARAM: null record; null plane; format of src; formats
 *         that differ; memory other than host; a kernel that OpenCV cannot count (rows with their
 *         border of 2^31 bytes or more, or a side above 2^28); OpenCV's failure
 */
TAVIX_API int32_t TavixFrameBlurByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst,
                                      TavixSize kernel_size);

/**
 * Sums, not averages, over a rectangle around each pixel, saturated to the element type; borders
 * are replicated.
 *
 * @par Formats
 * Packed formats; the format of src holds for both.
 * @par Sizes
 * dst must have the size of src. A dst of another size stays as it was, and the call still
 * succeeds.
 * @par In place
 * dst may be src. Other overlap is not supported.
 * @par Alignment
 * Rows of float frames start whole floats apart.
 * @par Ownership
 * The operation allocates nothing for the caller and keeps nothing.
 * @par Threads
 * Any thread; frames must not change during the call.
 * @par Exceptions
 * std::bad_alloc: no memory.
 * @par Precision
 * The result has the bits of cv::boxFilter, which chooses its code for the processor itself.
 *
 * @param kernel_size  pixels of the rectangle; fractions are dropped
 * @return TAVIX_OK, or, first failure wins:
 *         TAVIX_ERROR_INVALID_PARAM  null record; null plane
 *         TAVIX_ERROR_UNSUPPORTED    format of src
 *         TAVIX_ERROR_INVALID_PARAM  memory other than host; null kernel_size; a kernel that OpenCV
 *                                    cannot count; OpenCV's failure
 */
TAVIX_API int32_t TavixFrameBoxFilterByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst,
                                           const TavixSize *kernel_size);

/**
 * Correlates a frame with a kernel of floats; borders are replicated.
 *
 * @par Formats
 * Packed formats; the format of src holds for both.
 * @par Sizes
 * dst must have the size of src. A dst of another size stays as it was, and the call still
 * succeeds.
 * @par In place
 * dst may be src. Other overlap is not supported.
 * @par Alignment
 * Rows of float frames start whole floats apart.
 * @par Ownership
 * The operation allocates nothing for the caller and keeps nothing.
 * @par Threads
 * Any thread; frames must not change during the call.
 * @par Exceptions
 * std::bad_alloc: no memory.
 * @par Precision
 * The result has the bits of cv::filter2D, which chooses its code for the processor itself.
 *
 * @param kernel  elements of TAVIX_DATA_TYPE_FLOAT32; fractions of its sides are dropped
 * @return TAVIX_OK, or TAVIX_ERROR_INVALID_PARAM: null record; null plane; format of src; null
 *         kernel; another element type; memory other than host; a kernel that OpenCV cannot count;
 *         OpenCV's failure
 */
TAVIX_API int32_t TavixFrameFilter2DByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst,
                                          const TavixKernel *kernel);

/**
 * Takes the maximum under a structuring element, in one iteration; pixels outside do not count.
 *
 * @par Formats
 * Packed formats; the format of src holds for both.
 * @par Sizes
 * dst must have the size of src. A dst of another size stays as it was, and the call still
 * succeeds.
 * @par In place
 * dst may be src. Other overlap is not supported.
 * @par Alignment
 * Rows of float frames start whole floats apart.
 * @par Ownership
 * The operation allocates nothing for the caller and keeps nothing.
 * @par Threads
 * Any thread; frames must not change during the call.
 * @par Exceptions
 * std::bad_alloc: no memory.
 * @par Precision
 * The result has the bits of cv::dilate, which chooses its code for the processor itself.
 *
 * @param kernel  elements of TAVIX_DATA_TYPE_UINT8, of which those other than 0 count; fractions of
 *                its sides are dropped, and a kernel without elements means 3 x 3 ones
 * @return TAVIX_OK, or, first failure wins:
 *         TAVIX_ERROR_INVALID_PARAM  null record; null plane; format of src; null kernel
 *         TAVIX_ERROR_UNSUPPORTED    another element type
 *         TAVIX_ERROR_INVALID_PARAM  memory other than host; a kernel that OpenCV cannot count;
 *                                    OpenCV's failure
 */
TAVIX_API int32_t TavixFrameDilateBorderByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst,
                                              const TavixKernel *kernel);

/**
 * Takes the minimum under a structuring element, in one iteration; pixels outside do not count.
 *
 * @par Formats, Sizes, In place, Alignment, Ownership, Threads, Exceptions
 * As TavixFrameDilateBorderByCPU, parameters included.
 * @par Precision
 * The result has the bits of cv::erode, which chooses its code for the processor itself.
 *
 * @return as TavixFrameDilateBorderByCPU
 */
TAVIX_API int32_t TavixFrameErodeBorderByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst,
                                             const TavixKernel *kernel);

/**
 * Compares every element with a threshold.
 *
 * @par Formats
 * Packed formats; the format of src holds for both.
 * @par Sizes
 * dst must have the size of src. A dst of another size stays as it was, and the call still
 * succeeds.
 * @par In place
 * dst may be src. Other overlap is not supported.
 * @par Alignment
 * Rows of float frames start whole floats apart.
 * @par Ownership
 * The operation allocates nothing for the caller and keeps nothing.
 * @par Threads
 * Any thread; frames must not change during the call.
 * @par Exceptions
 * std::bad_alloc: no memory.
 * @par Precision
 * The result has the bits of cv::threshold, which chooses its code for the processor itself.
 *
 * @param threshold  what elements are compared with
 * @param max_value  what the binary types store
 * @param type       OpenCV's threshold code, passed unchanged; a computed threshold is not returned
 * @return TAVIX_OK, or, first failure wins:
 *         TAVIX_ERROR_INVALID_PARAM  null record
 *         TAVIX_ERROR_UNSUPPORTED    format of src
 *         TAVIX_ERROR_INVALID_PARAM  null plane; memory other than host
 *         TAVIX_ERROR_MEMORY         OpenCV's failure
 */
TAVIX_API int32_t TavixFrameThresholdBinaryByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst,
                                                 double threshold, double max_value, int32_t type);

/**
 * Maps the smallest element of all channels to alpha and the largest to beta, linearly between.
 *
 * @par Formats
 * Packed formats; the format of src holds for both.
 * @par Sizes
 * dst must have the size of src. A dst of another size stays as it was, and the call still
 * succeeds.
 * @par In place
 * dst may be src. Other overlap is not supported.
 * @par Alignment
 * Rows of float frames start whole floats apart.
 * @par Ownership
 * The operation allocates nothing for the caller and keeps nothing.
 * @par Threads
 * Any thread; frames must not change during the call.
 * @par Exceptions
 * std::bad_alloc: no memory.
 * @par Precision
 * The result has the bits of cv::normalize, which chooses its code for the processor itself.
 *
 * @param alpha  what the smallest element becomes
 * @param beta   what the largest element becomes
 * @return TAVIX_OK, or TAVIX_ERROR_INVALID_PARAM: null record; null plane; format of src; memory
 *         other than host; OpenCV's failure
 */
TAVIX_API int32_t TavixFrameMinMaxNormByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst,
                                            int32_t alpha, int32_t beta);

#endif
