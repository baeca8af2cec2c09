/* SPDX-License-Identifier: Apache-2.0 */
/* Packed frames into tensors and back, and the conversion between 8-bit and float frames with
 * normalisation. */
#ifndef TAVIX_VIDEO_COMMON_CPU_BLOB_H
#define TAVIX_VIDEO_COMMON_CPU_BLOB_H

#include "tavix/core/api.h"
#include "tavix/core/records.h"

/**
 * Copies the top left part of a frame into every image of an NCHW or NHWC tensor.
 *
 * Elements  the frame's are floats in the formats RGBF32 to GRAYF32, else bytes; the blob's are
 *           FLOAT32 INT8 UINT8 INT16 UINT16 INT32 UINT32 INT64. Values are cast: bytes as they are;
 *           floats truncated towards zero to 32 bits (UINT32 and INT64: to 64), of which the blob
 *           keeps the low ones: 300.7 as 8 bits is 44, -1.5 is 255. Floats out of the range of the
 *           32 or 64 bits, infinities and NaN count as their least integer.
 * Sizes     dims are N,C,H,W or N,H,W,C as data_format says. The blob takes the left W columns, the
 *           upper H rows and the first C channels of the frame, in the frame's channel order. A
 *           frame that is larger is noted in a debug line.
 * Batch     each of the N images is a copy of the frame.
 * Aliasing  the blob's storage must not overlap the frame.
 * Ownership nothing is allocated for the caller, nothing is kept. Threads: runs on the caller's;
 *           calls on different blobs are independent.
 *
 * @param dst_blob  data_format is taken as a slot of the table of layouts: 0 and 1 are NCHW and
 *                  NHWC, 2 to 14 are layouts no blob is converted to, other codes have no slot
 * @return TAVIX_OK, or, first failure wins and nothing is written:
 *         TAVIX_ERROR_INVALID_PARAM  null blob or frame; null data[0]; blob larger than the frame;
 *                                    memory not host
 *         TAVIX_ERROR_UNSUPPORTED    layout or element type not supported
 *         TAVIX_ERROR_INVALID_DATA   dims_size not 4; no storage; dims beyond what memory can hold
 *         TAVIX_ERROR_MEMORY         no memory for a list of one frame
 *         A failed conversion logs two error lines: the converter's reason, then this function's.
 */
TAVIX_API int32_t TavixFrameToBlobByCPU(const TavixFrameV2 *src_frame, TavixBlob *dst_blob);

/**
 * As TavixFrameToBlobByCPU, from a list, which must have exactly one frame.
 *
 * @param dst_blob  data_format is a TavixDataFormat
 * @return as TavixFrameToBlobByCPU; TAVIX_ERROR_INVALID_PARAM also for a null list or array and for
 *         a frame_num other than 1; never TAVIX_ERROR_MEMORY
 */
TAVIX_API int32_t TavixFramesToBlobByCPU(const TavixFrames *src_frames, TavixBlob *dst_blob);

/**
 * Copies the last image of an NCHW or NHWC tensor into the top left part of a frame.
 *
 * Elements  types as in TavixFrameToBlobByCPU. Into floats: the value, rounded once. Into bytes:
 * the lowest byte of an integer; of a float, that of its truncation towards zero to 32 bits.
 *           Nothing saturates: 256.0 is 0, -1.0 is 255, the 16-bit 0x134 is 0x34.
 * Sizes     dims are N,C,H,W or N,H,W,C as data_format says. The left W columns, the upper H rows
 *           and the first C channels of the frame are written, all else keeps its contents. A frame
 *           that is larger is noted in a warning.
 * Batch     the images overwrite each other in turn, so that the last one stays.
 * Aliasing, Ownership, Threads  as TavixFrameToBlobByCPU.
 *
 * @param src_blob   data_format is taken as a slot, as in TavixFrameToBlobByCPU
 * @param dst_frame  has planes to write to
 * @return TAVIX_OK, or, first failure wins and nothing is written:
 *         TAVIX_ERROR_INVALID_PARAM  null blob or frame; null data[0]; dims_size not 4; blob larger
 *                                    than the frame; memory not host; dims beyond what memory can
 *                                    hold
 *         TAVIX_ERROR_UNSUPPORTED    layout or element type not supported
 *         TAVIX_ERROR_INVALID_DATA   no storage
 *         TAVIX_ERROR_MEMORY         no memory for a list of one frame
 *         A failed conversion logs two error lines: the converter's reason, then this function's.
 */
TAVIX_API int32_t TavixBlobToFrameByCPU(const TavixBlob *src_blob, TavixFrameV2 *dst_frame);

/**
 * As TavixBlobToFrameByCPU, into a list, which must have exactly one frame.
 *
 * @param src_blob  data_format is a TavixDataFormat
 * @return as TavixBlobToFrameByCPU; TAVIX_ERROR_INVALID_PARAM also for a null list or array and for
 *         a frame_num other than 1; never TAVIX_ERROR_MEMORY
 */
TAVIX_API int32_t TavixBlobToFramesByCPU(const TavixBlob *src_blob, TavixFrames *dst_frames);

/**
 * Makes the 8-bit or float form of a frame, normalised: dst = (src - mean[c]) * scale[c] in single
 * precision, for channel c of the frame's order (index 0 of BGR24 is blue).
 *
 * Formats   RGB24 BGR24 GRAY8 BGRA32 RGBA32 become RGBF32 BGRF32 GRAYF32 BGRAF32 RGBAF32 and the
 *           other way round; where data_type is the frame's own type the format stays.
 * Rounding  floats are stored as they are; bytes are clamped to 0..255 and rounded, halves up:
 *           2.5 is 3, -7 is 0, 300 is 255. NaN is 0.
 * Ownership the new frame is the caller's, for TavixFrameFreeV2; it has packed rows and the
 * source's device. Nothing is kept. Threads: runs on the caller's.
 *
 * @param dst_frame  always overwritten once the format is accepted: by the new frame, or by NULL
 * @param data_type  TAVIX_DATA_TYPE_FLOAT32 or TAVIX_DATA_TYPE_UINT8; with any other, the new frame
 *                   has the format of the form that src is not in, and its pixels are not set
 * @param norm_vals  8 floats: mean[0..3], then scale[0..3]
 * @return TAVIX_OK, or, first failure wins and no pixel is written:
 *         TAVIX_ERROR_INVALID_PARAM  null record; format without the other form; null data[0]; null
 *                                    norm_vals and frames that differ in memory or size (of these
 *                                    two the new frame stays); memory not host; more than four
 *                                    channels, or more than the format has
 *         TAVIX_ERROR_MEMORY         no new frame
 */
TAVIX_API int32_t TavixFrameDataTypeConvertNormalizationFuseByCPU(const TavixFrameV2 *src_frame,
                                                                  TavixFrameV2 **dst_frame,
                                                                  int32_t data_type,
                                                                  const float *norm_vals);

#endif
