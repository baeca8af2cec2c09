/* SPDX-License-Identifier: Apache-2.0 */
/*
 * Operations that build or fill whole packed frames.
 *
 * Formats  RGB24 BGR24 GRAY8 BGRA32 RGBA32 and the five float formats.
 * Threads  any; frames must not change during a call.
 *
 * Beside what each operation lists, TAVIX_ERROR_INVALID_PARAM answers a null record or output
 * address and a frame outside host memory. A refused call logs one line.
 */
#ifndef TAVIX_VIDEO_COMMON_CPU_CHANNELS_H
#define TAVIX_VIDEO_COMMON_CPU_CHANNELS_H

#include "tavix/core/api.h"
#include "tavix/core/records.h"

/**
 * Splits a frame into new single-channel frames (GRAY8 or GRAYF32) with packed rows. cv::Exception
 * leaves the call.
 *
 * @param dst_frames  receives a frame in each slot asked for, the caller's to free; the other slots
 *                    are left alone
 * @param mask        1 red, 2 green, 4 blue, 8 alpha, or-ed; 0 does nothing
 * @return TAVIX_OK; TAVIX_ERROR_UNSUPPORTED: format; TAVIX_ERROR_INVALID_PARAM: null plane, or a
 *         channel the frame does not have; TAVIX_ERROR_MEMORY: no frame. Channels go in the order
 *         red, green, blue, alpha; those stored before a failure stay.
 */
TAVIX_API int32_t TavixFrameChannelSplitByCPU(const TavixFrameV2 *src_frame,
                                              TavixChannelFrames *dst_frames, uint32_t mask);

/**
 * Adds a grey mask as alpha channel: a new frame in the format with alpha of the same element type
 * (grey becomes BGRA), with packed rows. A mask of another size is resized bilinearly; its values
 * are converted without scaling. A source that has alpha already is taken with five channels, and
 * each row cut to the output's width. cv::Exception leaves the call.
 *
 * @param dst_frame  receives the frame, the caller's to free after TAVIX_OK; do not use it
 * otherwise
 * @return TAVIX_OK; TAVIX_ERROR_INVALID_PARAM: mask channels not 1, no format with alpha, null
 * plane; TAVIX_ERROR_UNSUPPORTED: mask not GRAY8 or GRAYF32, source format; TAVIX_ERROR_MEMORY: no
 *         frame
 */
TAVIX_API int32_t TavixFrameAddMaskByCPU(const TavixFrameV2 *src_frame,
                                         const TavixFrameV2 *mask_frame, TavixFrameV2 **dst_frame);

/**
 * Multiplies two frames element by element, saturating 8-bit products.
 *
 * @param dst_frame  holds beta_frame to write into it, or NULL to receive a new frame like
 * beta_frame, the caller's to free
 * @return TAVIX_OK; TAVIX_ERROR_INVALID_PARAM: another destination, format of alpha_frame;
 *         TAVIX_ERROR_MEMORY: no frame, or OpenCV failure (a new frame stays stored)
 */
TAVIX_API int32_t TavixFrameMultiFrameByCPU(const TavixFrameV2 *alpha_frame,
                                            const TavixFrameV2 *beta_frame,
                                            TavixFrameV2 **dst_frame);

/**
 * Writes one value to every element of dst. The element type is that of src's format; the geometry
 * is dst's own. 8-bit values are clamped to 0..255 and truncated, NaN gives 0.
 *
 * @return TAVIX_OK, or TAVIX_ERROR_INVALID_PARAM: format of src, null plane
 */
TAVIX_API int32_t TavixFrameMemfillByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst, float value);

#endif
