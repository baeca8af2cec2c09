/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * Operations that build or fill whole packed frames.
 *
 * A refused call logs one line. Each operation says who owns what after each failure and which
 * exceptions leave it. An exception ends a C program. In the operations on OpenCV (all but the
 * fill), a linesize[0] of 0 means packed rows.
 */
#ifndef TAVIX_VIDEO_COMMON_CPU_CHANNELS_H
#define TAVIX_VIDEO_COMMON_CPU_CHANNELS_H

#include "tavix/core/api.h"
#include "tavix/core/records.h"

/**
 * Splits a frame into new single-channel frames.
 *
 * @par Formats
 * Packed formats. New frames are GRAY8, or GRAYF32 of a float source.
 * @par Sizes
 * New frames have the size of src. Their rows are written packed, whatever linesize the core gave
 * them.
 * @par In place
 * Does not apply: the new frames have memory of their own.
 * @par Alignment
 * Rows of float frames start whole floats apart.
 * @par Ownership
 * The caller frees each frame that is stored. Channels are made in the order red, green, blue,
 * alpha. After a failure, those made before it stay stored and belong to the caller, and so does a
 * frame without a plane, which is what TAVIX_ERROR_MEMORY may mean. A channel that the core had no
 * frame for holds NULL. All other slots are left alone. The old value of a slot asked for is
 * overwritten and not freed.
 * @par Threads
 * Any thread; src must not change during the call.
 * @par Exceptions
 * cv::Exception, before anything is allocated: the stride of src lies below its row, or a size is
 * negative.
 * @par Precision
 * Samples are copied as they are.
 *
 * @param dst_frames  receives a frame in each slot asked for
 * @param mask        1 red, 2 green, 4 blue, 8 alpha, or-ed; 0 does nothing
 * @return TAVIX_OK, or, first failure wins:
 *         TAVIX_ERROR_INVALID_PARAM  null record
 *         TAVIX_ERROR_UNSUPPORTED    format of src
 *         TAVIX_ERROR_INVALID_PARAM  null plane; memory other than host; a channel that the frame
 *                                    does not have
 *         TAVIX_ERROR_MEMORY         the core has no frame or no plane
 */
TAVIX_API int32_t TavixFrameChannelSplitByCPU(const TavixFrameV2 *src_frame,
                                              TavixChannelFrames *dst_frames, uint32_t mask);

/**
 * Adds a grey mask to a frame as its alpha channel, in a new frame.
 *
 * @par Formats
 * Sources are packed, masks are GRAY8 and GRAYF32. The new frame has the format with alpha of the
 * same element type: RGBA for R-first sources, BGRA for B-first ones and for grey.
 * @par Sizes
 * The new frame has the size of src. A mask of another size is resized bilinearly. Rows are written
 * packed, whatever linesize the core gave the frame. A source that has alpha already is taken with
 * five channels, and each row is cut to the four of the new frame.
 * @par In place
 * Does not apply: the new frame has memory of its own.
 * @par Alignment
 * Rows of float frames start whole floats apart.
 * @par Ownership
 * The caller frees the new frame after TAVIX_OK. The old value of *dst_frame is overwritten and not
 * freed once the new frame is requested. After TAVIX_ERROR_MEMORY, *dst_frame is NULL, or a frame
 * without a plane that the caller frees. After a null plane, the new frame is freed already and
 * *dst_frame must not be used. Before every other failure *dst_frame stays as it was. Where an
 * exception leaves the call, *dst_frame holds the new frame, which the caller frees.
 * @par Threads
 * Any thread; frames must not change during the call.
 * @par Exceptions
 * cv::Exception: a stride lies below its row, or the mask has no pixels. std::bad_alloc: no memory.
 * @par Precision
 * Values of the mask are converted to the element type without scaling: an 8-bit mask keeps its
 * values 0 to 255 in a float frame, and a float mask is rounded half to even and saturated in an
 * 8-bit frame.
 *
 * @param dst_frame  receives the new frame
 * @return TAVIX_OK, or, first failure wins:
 *         TAVIX_ERROR_INVALID_PARAM  null record or output address; a mask not of one channel
 *         TAVIX_ERROR_UNSUPPORTED    format of the mask; format of the source
 *         TAVIX_ERROR_INVALID_PARAM  memory other than host
 *         TAVIX_ERROR_MEMORY         the core has no frame or no plane
 *         TAVIX_ERROR_INVALID_PARAM  null plane of src or mask
 */
TAVIX_API int32_t TavixFrameAddMaskByCPU(const TavixFrameV2 *src_frame,
                                         const TavixFrameV2 *mask_frame, TavixFrameV2 **dst_frame);

/**
 * Multiplies two frames element by element; 8-bit products saturate.
 *
 * @par Formats
 * Packed formats; the format of alpha_frame holds for all frames.
 * @par Sizes
 * Both frames have the same size.
 * @par In place
 * The result may go into beta_frame.
 * @par Alignment
 * Rows of float frames start whole floats apart.
 * @par Ownership
 * The caller frees a new frame, which *dst_frame holds after TAVIX_OK and after OpenCV's failure.
 * Where the core has no frame, *dst_frame is NULL.
 * @par Threads
 * Any thread; frames must not change during the call.
 * @par Exceptions
 * std::bad_alloc: no memory.
 * @par Precision
 * The result has the bits of cv::multiply, which chooses its code for the processor itself.
 *
 * @param dst_frame  holds beta_frame to write into it, or NULL to receive a frame like beta_frame
 * @return TAVIX_OK, or, first failure wins:
 *         TAVIX_ERROR_INVALID_PARAM  null record or output address; another destination; format of
 *                                    alpha_frame; memory other than host
 *         TAVIX_ERROR_MEMORY         the core has no frame; OpenCV's failure
 */
TAVIX_API int32_t TavixFrameMultiFrameByCPU(const TavixFrameV2 *alpha_frame,
                                            const TavixFrameV2 *beta_frame,
                                            TavixFrameV2 **dst_frame);

/**
 * Writes one value to every element of a frame.
 *
 * @par Formats
 * src gives the element type, one of RGB24, BGR24, GRAY8, BGRA32, RGBA32 and the five float
 * formats. The format of dst is not looked at.
 * @par Sizes
 * Width, height and channels are those of dst.
 * @par In place
 * dst may be src, of which no pixel is read.
 * @par Alignment
 * The plane of dst and its stride may have any alignment.
 * @par Ownership
 * The operation allocates nothing for the caller and keeps nothing.
 * @par Threads
 * Any thread; frames must not change during the call.
 * @par Exceptions
 * None.
 * @par Precision
 * 8-bit values are clamped to 0..255 and truncated, and NaN gives 0. Float values are stored as
 * they are. The results are the same on every processor.
 *
 * @param src    gives the element type
 * @param dst    the frame to fill
 * @param value  what every element becomes
 * @return TAVIX_OK, or TAVIX_ERROR_INVALID_PARAM: null record; format of src; null plane;
 *         memory other than host; rows of more than 2^31 - 1 elements; rows that no 32-bit product
 *         of row and linesize reaches
 */
TAVIX_API int32_t TavixFrameMemfillByCPU(const TavixFrameV2 *src, TavixFrameV2 *dst, float value);

#endif
