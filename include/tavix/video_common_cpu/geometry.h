/* SPDX-License-Identifier: Apache-2.0 */
/*
 * Geometry of packed frames, carried out by OpenCV on views of plane 0.
 *
 * Formats     RGB24 BGR24 GRAY8 BGRA32 RGBA32 and the five float formats.
 * Codes       interpolation: 0 nearest, 1 linear, 2 cubic, 3 area, 4 Lanczos, 5 exact linear, 7, 8
 *             and 16 as OpenCV reads them; border: 0 constant, 1 replicate, 2 reflect, 3 wrap, 4
 *             reflect-101, 5 transparent, 16 isolated. Every other code, combinations included,
 *             means 0.
 * Exceptions  cv::Exception leaves these calls (a stride below the row, an empty picture).
 * Threads     any; frames must not change during a call.
 *
 * Beside what each operation lists, TAVIX_ERROR_INVALID_PARAM answers a null record, matrix or
 * output address and a frame outside host memory. A refused call logs one line.
 */
#ifndef TAVIX_VIDEO_COMMON_CPU_GEOMETRY_H
#define TAVIX_VIDEO_COMMON_CPU_GEOMETRY_H

#include "tavix/core/api.h"
#include "tavix/core/records.h"

/**
 * Resizes src into dst, which must be exactly width x height in src's format: otherwise dst stays
 * as it was and the call still succeeds.
 *
 * @param width,height   pixels of the result
 * @return TAVIX_OK, or TAVIX_ERROR_INVALID_PARAM: null record, format, null source plane
 */
TAVIX_API int32_t TavixFrameResizeByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst, int32_t width,
                                        int32_t height, int32_t interpolation);

/**
 * Resizes src into a new frame of width * fx by height * fy pixels, each taken to the nearest
 * integer, halves to the even one. The new frame carries src's times and flags.
 *
 * @param dst  receives the frame, the caller's to free; its old value is overwritten, not freed
 * @return TAVIX_OK; TAVIX_ERROR_INVALID_PARAM: null record, format, null source plane (dst
 * untouched); TAVIX_ERROR_MEMORY: no frame (dst holds NULL)
 */
TAVIX_API int32_t TavixFrameResizeByScaleByCPU(const TavixFrameV2 *src, TavixFrameV2 **dst,
                                               double fx, double fy, int32_t interpolation);

/**
 * Warps src by a 2x3 matrix into dst, whose size is the size of the result. The destination comes
 * first.
 *
 * @param matrix        6 floats, row-major; maps source to destination unless interpolation is 16
 * @param border_value  for every channel
 * @return TAVIX_OK, or, dst untouched: TAVIX_ERROR_UNSUPPORTED: either format;
 *         TAVIX_ERROR_INVALID_PARAM: null plane, stride not above 0, formats of different types
 */
TAVIX_API int32_t TavixFrameWarpAffineByCPU(TavixFrameV2 *dst, const TavixFrameV2 *src,
                                            const float *matrix, int32_t interpolation,
                                            int32_t border, double border_value);

/** As TavixFrameWarpAffineByCPU with a 3x3 matrix of 9 floats. */
TAVIX_API int32_t TavixFrameWarpPerspectiveByCPU(TavixFrameV2 *dst, const TavixFrameV2 *src,
                                                 const float *matrix, int32_t interpolation,
                                                 int32_t border, double border_value);

/**
 * Copies a rectangle of src over a rectangle of dst. Fractions of the rectangles are dropped;
 * OpenCV raises when they differ in size or leave their picture.
 *
 * @return TAVIX_OK; TAVIX_ERROR_UNSUPPORTED: format of src; TAVIX_ERROR_INVALID_PARAM: null plane
 */
TAVIX_API int32_t TavixFrameRoiByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst, TavixRect src_rect,
                                     TavixRect dst_rect);

/**
 * Copies src into dst with a border around it. dst must be (width + left + right) x (height + top +
 * bottom) in src's format: otherwise it stays as it was and the call still succeeds.
 *
 * @param border_value  for every channel, with a constant border
 * @return TAVIX_OK; TAVIX_ERROR_UNSUPPORTED: format of src; TAVIX_ERROR_INVALID_PARAM: null source
 *         plane, sides that no picture has, or an empty source to repeat
 */
TAVIX_API int32_t TavixFrameCopyMakeBorderByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst,
                                                int32_t top, int32_t bottom, int32_t left,
                                                int32_t right, int32_t border, double border_value);

#endif
