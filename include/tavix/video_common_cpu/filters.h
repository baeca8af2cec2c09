/* SPDX-License-Identifier: Apache-2.0 */
/*
 * Filters, morphology, threshold and normalisation of packed frames, carried out by OpenCV on views
 * of plane 0.
 *
 * Formats    RGB24 BGR24 GRAY8 BGRA32 RGBA32 and the five float formats. dst must have src's size
 * and format; only the blur checks the format. A dst that OpenCV cannot write in place (another
 *            size) stays as it was, and the call still succeeds.
 * Sizes      of kernels are floats whose fractions are dropped; the anchor is the centre.
 * Failures   of OpenCV become one logged line and a status; other exceptions leave the call.
 * Threads    any; frames must not change during a call.
 *
 * Beside what each operation lists, TAVIX_ERROR_INVALID_PARAM answers a null record and a frame
 * outside host memory. A refused call logs one line and writes nothing.
 */
#ifndef TAVIX_VIDEO_COMMON_CPU_FILTERS_H
#define TAVIX_VIDEO_COMMON_CPU_FILTERS_H

#include "tavix/core/api.h"
#include "tavix/core/records.h"

/**
 * Mean over a rectangle, borders reflected without the edge (reflect-101).
 *
 * @return TAVIX_OK, or TAVIX_ERROR_INVALID_PARAM: null plane, format, formats differ, OpenCV
 * failure
 */
TAVIX_API int32_t TavixFrameBlurByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst,
                                      TavixSize kernel_size);

/**
 * Sum over a rectangle, not its mean, saturated to the element type; borders replicated.
 *
 * @return TAVIX_OK; TAVIX_ERROR_INVALID_PARAM: null plane, OpenCV failure;
 *         TAVIX_ERROR_UNSUPPORTED: format
 */
TAVIX_API int32_t TavixFrameBoxFilterByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst,
                                           const TavixSize *kernel_size);

/**
 * Correlation with a kernel of floats, borders replicated.
 *
 * @return TAVIX_OK, or TAVIX_ERROR_INVALID_PARAM: null plane, format, kernel elements not float,
 *         OpenCV failure
 */
TAVIX_API int32_t TavixFrameFilter2DByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst,
                                          const TavixKernel *kernel);

/**
 * Maximum under a structuring element of bytes, one iteration; pixels outside do not count.
 *
 * @return TAVIX_OK; TAVIX_ERROR_INVALID_PARAM: null plane, format, OpenCV failure;
 *         TAVIX_ERROR_UNSUPPORTED: kernel elements not 8-bit unsigned
 */
TAVIX_API int32_t TavixFrameDilateBorderByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst,
                                              const TavixKernel *kernel);

/** As TavixFrameDilateBorderByCPU with the minimum. */
TAVIX_API int32_t TavixFrameErodeBorderByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst,
                                             const TavixKernel *kernel);

/**
 * Compares every element with a threshold.
 *
 * @param type  OpenCV's threshold code, passed unchanged; a computed threshold is not returned
 * @return TAVIX_OK; TAVIX_ERROR_UNSUPPORTED: format; TAVIX_ERROR_INVALID_PARAM: null plane;
 *         TAVIX_ERROR_MEMORY: OpenCV failure
 */
TAVIX_API int32_t TavixFrameThresholdBinaryByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst,
                                                 double threshold, double max_value, int32_t type);

/**
 * Maps the smallest element of all channels to alpha and the largest to beta, linearly between.
 *
 * @return TAVIX_OK, or TAVIX_ERROR_INVALID_PARAM: null plane, format, OpenCV failure
 */
TAVIX_API int32_t TavixFrameMinMaxNormByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst,
                                            int32_t alpha, int32_t beta);

#endif
