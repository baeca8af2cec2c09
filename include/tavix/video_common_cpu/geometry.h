/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * Geometry of packed frames, carried out by OpenCV on views of plane 0.
 *
 * A refused call logs one line and writes nothing. A linesize[0] of 0 means packed rows, except in
 * the warps, which refuse it. Each operation lists the exceptions that leave it. An exception ends
 * a C program.
 *
 * Interpolation codes are OpenCV's: 0 nearest, 1 linear, 2 cubic, 3 area, 4 Lanczos, 5 exact
 * linear, 7, 8 and 16 as OpenCV reads them. Border codes are OpenCV's too: 0 constant, 1 replicate,
 * 2 reflect, 3 wrap, 4 reflect-101, 5 transparent, 16 isolated. Every other code, combinations
 * included, means 0.
 */
#ifndef TAVIX_VIDEO_COMMON_CPU_GEOMETRY_H
#define TAVIX_VIDEO_COMMON_CPU_GEOMETRY_H

#include "tavix/core/api.h"
#include "tavix/core/records.h"

/**
 * Resizes a frame to a given size.
 *
 * @par Formats
 * Packed formats; the format of src holds for both.
 * @par Sizes
 * dst must be exactly width x height. A dst of another size stays as it was, and the call still
 * succeeds.
 * @par In place
 * dst may be src where the size does not change. Other overlap is not supported.
 * @par Alignment
 * Rows of float frames start whole floats apart.
 * @par Ownership
 * The operation allocates nothing for the caller and keeps nothing.
 * @par Threads
 * Any thread; frames must not change during the call.
 * @par Exceptions
 * cv::Exception: src has no pixels, a stride lies below its row, or width or height is not
 * positive. std::bad_alloc: no memory.
 * @par Precision
 * The result has the bits of cv::resize, which chooses its code for the processor itself.
 *
 * @param width          pixels of the result
 * @param height         rows of the result
 * @param interpolation  see the top of this file
 * @return TAVIX_OK, or TAVIX_ERROR_INVALID_PARAM: null record; format of src; null plane of src;
 *         memory other than host; a result of 2^64 bytes or more
 */
TAVIX_API int32_t TavixFrameResizeByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst, int32_t width,
                                        int32_t height, int32_t interpolation);

/**
 * Resizes a frame by two factors into a new frame.
 *
 * @par Formats
 * Packed formats. The new frame has the format, times and flags of src.
 * @par Sizes
 * width * fx by height * fy pixels, each taken to the nearest integer, halves to the even one.
 * @par In place
 * Does not apply: the new frame has memory of its own.
 * @par Alignment
 * Rows of float frames start whole floats apart.
 * @par Ownership
 * The caller frees the new frame. The old value of *dst is overwritten and not freed. *dst stays as
 * it was where the status is TAVIX_ERROR_INVALID_PARAM or an exception leaves the call, and is NULL
 * where the status is TAVIX_ERROR_MEMORY.
 * @par Threads
 * Any thread; src must not change during the call.
 * @par Exceptions
 * cv::Exception: src has no pixels, its stride lies below its row, or the result has no pixels.
 * std::bad_alloc: no memory.
 * @par Precision
 * The result has the bits of cv::resize, which chooses its code for the processor itself.
 *
 * @param dst            receives the new frame
 * @param fx             factor of the width
 * @param fy             factor of the height
 * @param interpolation  see the top of this file
 * @return TAVIX_OK, or, first failure wins:
 *         TAVIX_ERROR_INVALID_PARAM  null src; format of src; null plane of src; memory other than
 *                                    host; null dst; a result of 2^64 bytes or more
 *         TAVIX_ERROR_MEMORY         the core has no frame or no plane
 */
TAVIX_API int32_t TavixFrameResizeByScaleByCPU(const TavixFrameV2 *src, TavixFrameV2 **dst,
                                               double fx, double fy, int32_t interpolation);

/**
 * Warps a frame by a 2x3 matrix. The destination comes first.
 *
 * @par Formula
 * dst(m0 x + m1 y + m2, m3 x + m4 y + m5) = src(x, y). With interpolation code 16 the matrix maps
 * the other way, from the destination to the source.
 * @par Formats
 * Packed formats; both frames need the same element type and channel count.
 * @par Sizes
 * The size of dst is the size of the result.
 * @par In place
 * dst may be src: the result is copied once it is complete.
 * @par Alignment
 * Rows of float frames start whole floats apart.
 * @par Ownership
 * The operation allocates nothing for the caller and keeps nothing.
 * @par Threads
 * Any thread; frames must not change during the call.
 * @par Exceptions
 * cv::Exception: src has no pixels, a stride lies below its row, or OpenCV does not know the
 * combination of codes. std::bad_alloc: no memory.
 * @par Precision
 * The result has the bits of cv::warpAffine, which chooses its code for the processor itself.
 *
 * @param matrix         6 floats, row-major
 * @param interpolation  see the top of this file
 * @param border         see the top of this file; a transparent border leaves zeros
 * @param border_value   for every channel, with a constant border
 * @return TAVIX_OK, or, first failure wins:
 *         TAVIX_ERROR_INVALID_PARAM  null frame
 *         TAVIX_ERROR_UNSUPPORTED    format of either frame
 *         TAVIX_ERROR_INVALID_PARAM  null plane; a stride of 0 or less; memory other than host;
 *                                    null matrix; a result of 2^64 bytes or more; result and dst
 *                                    differ in element type, channel count or size
 */
TAVIX_API int32_t TavixFrameWarpAffineByCPU(TavixFrameV2 *dst, const TavixFrameV2 *src,
                                            const float *matrix, int32_t interpolation,
                                            int32_t border, double border_value);

/**
 * Warps a frame by a 3x3 matrix. The destination comes first.
 *
 * @par Formula
 * dst((m0 x + m1 y + m2) / w, (m3 x + m4 y + m5) / w) = src(x, y), where w = m6 x + m7 y + m8. With
 * interpolation code 16 the matrix maps the other way, from the destination to the source.
 * @par Formats
 * As TavixFrameWarpAffineByCPU.
 * @par Sizes
 * The size of dst is the size of the result.
 * @par In place
 * dst may be src: the result is copied once it is complete.
 * @par Alignment
 * Rows of float frames start whole floats apart.
 * @par Ownership
 * The operation allocates nothing for the caller and keeps nothing.
 * @par Threads
 * Any thread; frames must not change during the call.
 * @par Exceptions
 * As TavixFrameWarpAffineByCPU.
 * @par Precision
 * The result has the bits of cv::warpPerspective, which chooses its code for the processor itself.
 *
 * @param matrix         9 floats, row-major
 * @param interpolation  see the top of this file
 * @param border         as TavixFrameWarpAffineByCPU
 * @param border_value   for every channel, with a constant border
 * @return as TavixFrameWarpAffineByCPU
 */
TAVIX_API int32_t TavixFrameWarpPerspectiveByCPU(TavixFrameV2 *dst, const TavixFrameV2 *src,
                                                 const float *matrix, int32_t interpolation,
                                                 int32_t border, double border_value);

/**
 * Copies a rectangle of one frame over a rectangle of another.
 *
 * @par Formats
 * Packed formats; the format of src holds for both.
 * @par Sizes
 * Fractions of the rectangles are dropped. Both rectangles have the same size and lie within their
 * frames.
 * @par In place
 * dst may be src where the rectangles do not overlap.
 * @par Alignment
 * Rows of float frames start whole floats apart.
 * @par Ownership
 * The operation allocates nothing for the caller and keeps nothing.
 * @par Threads
 * Any thread; frames must not change during the call.
 * @par Exceptions
 * cv::Exception: the rectangles differ in size or leave their frames, or a stride lies below its
 * row.
 * @par Precision
 * Samples are copied as they are.
 *
 * @param src_rect  what to copy, in pixels of src
 * @param dst_rect  where it goes, in pixels of dst
 * @return TAVIX_OK, or, first failure wins:
 *         TAVIX_ERROR_INVALID_PARAM  null record
 *         TAVIX_ERROR_UNSUPPORTED    format of src
 *         TAVIX_ERROR_INVALID_PARAM  null plane; memory other than host
 */
TAVIX_API int32_t TavixFrameRoiByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst, TavixRect src_rect,
                                     TavixRect dst_rect);

/**
 * Copies a frame into a larger one with a border around it.
 *
 * @par Formats
 * Packed formats; the format of src holds for both.
 * @par Sizes
 * dst must be (width + left + right) x (height + top + bottom). A dst of another size stays as it
 * was, and the call still succeeds.
 * @par In place
 * Not supported, unless the border has no rows and no columns.
 * @par Alignment
 * Rows of float frames start whole floats apart.
 * @par Ownership
 * The operation allocates nothing for the caller and keeps nothing.
 * @par Threads
 * Any thread; frames must not change during the call.
 * @par Exceptions
 * cv::Exception: a stride lies below its row, a side is negative, the code is 5, or a border is
 * wrapped around a frame without pixels. std::bad_alloc: no memory.
 * @par Precision
 * The result has the bits of cv::copyMakeBorder, which chooses its code for the processor itself.
 *
 * @param top           rows
 * @param bottom        rows
 * @param left          pixels
 * @param right         pixels
 * @param border        see the top of this file
 * @param border_value  for every channel, with a constant border
 * @return TAVIX_OK, or, first failure wins:
 *         TAVIX_ERROR_INVALID_PARAM  null record
 *         TAVIX_ERROR_UNSUPPORTED    format of src
 *         TAVIX_ERROR_INVALID_PARAM  null plane of src; memory other than host; a result of 2^31
 *                                    rows or columns or of 2^64 bytes; nothing to replicate or
 *                                    reflect
 */
TAVIX_API int32_t TavixFrameCopyMakeBorderByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst,
                                                int32_t top, int32_t bottom, int32_t left,
                                                int32_t right, int32_t border, double border_value);

#endif
