/* SPDX-License-Identifier: Apache-2.0 */
/* Conversion between pixel formats. */
#ifndef TAVIX_VIDEO_COMMON_CPU_COLOR_H
#define TAVIX_VIDEO_COMMON_CPU_COLOR_H

#include "tavix/core/api.h"
#include "tavix/core/records.h"

/**
 * Converts a frame into the pixel format of another, which the caller has allocated.
 *
 * @par Formula
 * 8-bit values of 0 to 255 are float values of 0 to 1. Alpha is kept; where the source has none,
 * the destination is opaque. `video.color_space` and `video.color_range` choose the matrix: those
 * of dst for colour into 4:2:0, the space of src for 4:2:0 into colour, which is always taken as
 * limited range, and for float into grey. 8-bit colour into grey uses the weights of ITU-R BT.601.
 * docs/colour.md gives the arithmetic.
 *
 * @par Formats
 * Any of the left converts into any other of the right:
 *
 *     8-bit colour  RGB24 BGR24 BGRA32 RGBA32        -> 8-bit colour, grey, 4:2:0, float
 *     grey          GRAY8                            -> 8-bit colour, 4:2:0, float
 *     4:2:0         NV12 NV21 YV12 I420              -> 8-bit colour, grey, 4:2:0, float
 *     float         RGBF32 BGRF32 RGBAF32 BGRAF32    -> 8-bit colour, grey, 4:2:0, float
 *
 * Every format but code 6 also converts into itself, and GRAYF32 converts into nothing else. Such a
 * conversion is the core's frame copy, with its checks and its status. The copy returns
 * TAVIX_ERROR_UNSUPPORTED for a format that the core does not know; the embedded core knows every
 * named one.
 *
 * @par Sizes
 * The width and height of src count; dst must be as large. Every plane has a `linesize` of its own,
 * but both chroma planes of a frame share `linesize[1]`. The pixel step of a packed colour frame is
 * `video.channels`: a three-channel format may have four. A destination whose `video.channels` is 0
 * has the count of its format, except for grey into float. A source whose width or height is 0 or
 * less has no pixels, and its conversion writes nothing but padding.
 *
 * Grey into 4:2:0 fills chroma to the ends of its strides. 4:2:0 into grey copies whole strides
 * when both are equal. Both depend on the number of rows alone, whatever the width; these strides
 * must not be negative.
 *
 * Conversions with 4:2:0 work on whole 2x2 blocks. 8-bit colour into 4:2:0 also converts an odd
 * last row, leaves the last column of the rows above it, and logs one warning for each call with an
 * odd size. Float colour into 4:2:0 and 4:2:0 into colour leave the last row and column without a
 * warning. docs/colour.md has the table for all conversions.
 *
 * @par In place
 * dst may be src where pixels keep their size: RGB24 with BGR24, BGRA32 with RGBA32, and the float
 * formats of as many channels. Other overlap is not supported.
 *
 * @par Alignment
 * Planes and strides may have any alignment.
 *
 * @par Ownership
 * The operation allocates nothing and keeps nothing. It does not look at `memory`.
 *
 * @par Threads
 * Any number of threads may call it. The frames must not change meanwhile.
 *
 * @par Exceptions
 * std::bad_alloc or std::runtime_error where the workers' arena cannot be made.
 *
 * @par Precision
 * Results are defined to the last bit. They differ with and without AVX2 where docs/colour.md says
 * so: in the rounding of grey, of halves and of block means.
 *
 * @param src_frame  the frame to convert
 * @param dst_frame  the frame to write; its record says the format and stays as it is
 * @return TAVIX_OK, the status of the copy, or, first failure wins and nothing is written:
 *         TAVIX_ERROR_INVALID_PARAM  null record
 *         TAVIX_ERROR_UNSUPPORTED    a format of 16 or more or below 0; no such conversion
 *         TAVIX_ERROR_INVALID_PARAM  RGB24 or BGR24 into each other or into grey: a null plane, or
 *                                    no pixels; any conversion: a channel count that it reads and
 *                                    that is below the format's or above four; a row of 2^31
 *                                    elements or more; a null plane that it touches; a stride whose
 *                                    product with a row leaves 32 bits; padding to fill or copy
 *                                    whose stride is negative or that spans 2^31 bytes or more
 */
TAVIX_API int32_t TavixFrameConvertColorByCPU(const TavixFrameV2 *src_frame,
                                              TavixFrameV2 *dst_frame);

#endif
