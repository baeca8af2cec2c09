/* SPDX-License-Identifier: Apache-2.0 */
/* Conversion between pixel formats. */
#ifndef TAVIX_VIDEO_COMMON_CPU_COLOR_H
#define TAVIX_VIDEO_COMMON_CPU_COLOR_H

#include "tavix/core/api.h"
#include "tavix/core/records.h"

/**
 * Converts a frame into the pixel format of another, which the caller has allocated.
 *
 * Formats   from any of the left into any other of the right:
 *             8-bit colour  RGB24 BGR24 BGRA32 RGBA32        -> 8-bit colour, grey, 4:2:0, float
 *             grey          GRAY8                            -> 8-bit colour, 4:2:0, float
 *             4:2:0         NV12 NV21 YV12 I420              -> 8-bit colour, grey, 4:2:0, float
 *             float         RGBF32 BGRF32 RGBAF32 BGRAF32    -> 8-bit colour, grey, 4:2:0, float
 *           Every format but code 6 also converts into itself: the core's frame copy, with its
 *           checks and status. GRAYF32 does nothing else.
 * Values    8-bit 0..255 is float 0..1. Alpha is kept, or opaque where the source has none. docs/
 *           colour.md gives the arithmetic, which differs with and without AVX2 where it says so.
 * Colour    video.color_space and video.color_range choose the matrix: those of dst for colour into
 *           4:2:0, those of src for 4:2:0 into colour (always limited range) and for float into grey
 *           (space alone). 8-bit colour into grey uses the weights of ITU-R BT.601.
 * Sizes     width and height of src count, dst must be as large; every plane has a linesize of its
 *           own, the chroma planes of one frame share linesize[1]. Without pixels (a size of 0 or
 *           less) nothing is written, padding excepted. The pixel step of a packed colour frame is
 *           video.channels: 4 is possible for a three-channel format.
 * Padding   grey into 4:2:0 fills chroma to the ends of its strides; 4:2:0 into grey with equal
 *           strides copies whole strides. Both look at rows alone, whatever the width; these
 *           strides must not be negative.
 * Odd sizes of 4:2:0 frames: colour into 4:2:0 logs a warning and leaves the last column of all
 *           rows but an odd last one; 4:2:0 into colour leaves the last row and column. docs/
 *           colour.md has the table.
 * Aliasing  dst may be src where pixels keep their size: RGB24 with BGR24, BGRA32 with RGBA32, and
 *           the float formats of as many channels. Other overlap is not supported.
 * Ownership nothing is allocated, nothing is kept. Threads: any; frames must not change meanwhile.
 *           video.memory is not looked at.
 *
 * @return TAVIX_OK, the status of the copy, or, first failure wins and nothing is written:
 *         TAVIX_ERROR_INVALID_PARAM  null record; RGB24 or BGR24 into each other or into grey without
 *                                    pixels; fewer channels than the format has, or more than four;
 *                                    a row of 2^31 elements or more; a null plane; padding to fill
 *                                    or copy whose stride is negative or spans 2^31 bytes or more
 *         TAVIX_ERROR_UNSUPPORTED    a format of 16 or more or below 0; no such conversion
 */
TAVIX_API int32_t TavixFrameConvertColorByCPU(const TavixFrameV2 *src_frame,
                                              TavixFrameV2 *dst_frame);

#endif
