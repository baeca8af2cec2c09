/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * Packed frames into tensors and back, and the conversion between 8-bit and float frames with
 * normalisation.
 *
 * A refused call logs one line and writes nothing. A refused conversion between a frame and a blob
 * logs two: the converter's reason, then the operation's name.
 */
#ifndef TAVIX_VIDEO_COMMON_CPU_BLOB_H
#define TAVIX_VIDEO_COMMON_CPU_BLOB_H

#include "tavix/core/api.h"
#include "tavix/core/records.h"

/**
 * Copies the top left part of a frame into every image of an NCHW or NHWC tensor.
 *
 * @par Formula
 * Values are cast. A byte stays what it is. A float is truncated towards zero to 32 bits, for
 * UINT32 and INT64 to 64 bits, and the blob keeps the low bits: in 8 bits 300.7 is 44 and -1.5 is
 * 255. Floats beyond the range of the 32 or 64 bits, infinities and NaN count as the least integer
 * of that range.
 * @par Formats
 * The elements of the frame are floats in the formats RGBF32 to GRAYF32 and bytes in every other
 * format, of which plane 0 is read. The blob's are FLOAT32, INT8, UINT8, INT16, UINT16, INT32,
 * UINT32 or INT64.
 * @par Sizes
 * The dims are N, C, H, W or N, H, W, C, as data_format says. The blob takes the left W columns,
 * the upper H rows and the first C channels of the frame, in the frame's channel order. A larger
 * frame is noted in a debug line. Each of the N images is a copy of the frame.
 * @par In place
 * The storage of the blob must not overlap the frame.
 * @par Alignment
 * The plane, its stride and the storage may have any alignment.
 * @par Ownership
 * The operation allocates nothing for the caller and keeps nothing.
 * @par Threads
 * Any number of threads may call it; the call runs on the caller's. The frame must not change
 * meanwhile.
 * @par Exceptions
 * None.
 * @par Precision
 * Results are defined to the last bit, and are the same on every processor.
 *
 * @param src_frame  the frame to read
 * @param dst_blob   the blob to fill. Its data_format is taken as a slot of the table of layouts: 0
 *                   is NCHW, 1 is NHWC, 2 to 14 are layouts that no frame is converted to, and
 *                   other codes have no slot.
 * @return TAVIX_OK, or, first failure wins and nothing is written:
 *         TAVIX_ERROR_INVALID_PARAM  null dst_blob
 *         TAVIX_ERROR_UNSUPPORTED    a layout without a slot
 *         TAVIX_ERROR_MEMORY         no memory for a list of one frame
 *         TAVIX_ERROR_UNSUPPORTED    a layout other than NCHW and NHWC
 *         TAVIX_ERROR_INVALID_PARAM  null src_frame
 *         TAVIX_ERROR_INVALID_DATA   dims_size other than 4; no storage
 *         TAVIX_ERROR_INVALID_PARAM  null data[0]; a blob larger than the frame
 *         TAVIX_ERROR_UNSUPPORTED    another element type, in a blob with elements
 *         TAVIX_ERROR_INVALID_PARAM  memory other than host
 *         TAVIX_ERROR_INVALID_DATA   dims beyond what memory can hold
 *         TAVIX_ERROR_INVALID_PARAM  a stride whose product with a row leaves 32 bits
 */
TAVIX_API int32_t TavixFrameToBlobByCPU(const TavixFrameV2 *src_frame, TavixBlob *dst_blob);

/**
 * Copies the only frame of a list into a tensor, as TavixFrameToBlobByCPU does.
 *
 * @par Formula, Formats, Sizes, In place, Alignment, Ownership, Threads, Exceptions, Precision
 * As TavixFrameToBlobByCPU.
 *
 * @param src_frames  a list of exactly one frame
 * @param dst_blob    the blob to fill. Its data_format is a TavixDataFormat.
 * @return as TavixFrameToBlobByCPU, but never TAVIX_ERROR_MEMORY, and TAVIX_ERROR_INVALID_PARAM
 *         also for a null list, a frame_num other than 1 and a null array, in the place of a null
 *         frame
 */
TAVIX_API int32_t TavixFramesToBlobByCPU(const TavixFrames *src_frames, TavixBlob *dst_blob);

/**
 * Copies the last image of an NCHW or NHWC tensor into the top left part of a frame.
 *
 * @par Formula
 * Values are cast. A float frame gets the value, rounded once. An 8-bit frame gets the lowest byte
 * of an integer, and of a float that of its truncation towards zero to 32 bits. Nothing saturates:
 * 256.0 is 0, -1.0 is 255 and the 16-bit 0x134 is 0x34.
 * @par Formats
 * As TavixFrameToBlobByCPU; plane 0 is written.
 * @par Sizes
 * The dims are N, C, H, W or N, H, W, C, as data_format says. The left W columns, the upper H rows
 * and the first C channels of the frame are written, and all else stays as it was. A larger frame
 * is noted in a warning. The images overwrite each other in turn, so that the last one stays.
 * @par In place
 * The frame must not overlap the storage of the blob.
 * @par Alignment
 * The plane, its stride and the storage may have any alignment.
 * @par Ownership
 * The operation allocates nothing for the caller and keeps nothing.
 * @par Threads
 * Any number of threads may call it; the call runs on the caller's. The blob must not change
 * meanwhile.
 * @par Exceptions
 * None.
 * @par Precision
 * Results are defined to the last bit, and are the same on every processor.
 *
 * @param src_blob   the blob to read. Its data_format is taken as a slot, as by
 *                   TavixFrameToBlobByCPU.
 * @param dst_frame  the frame to write; its record says the format and the size and stays as it is
 * @return TAVIX_OK, or, first failure wins and nothing is written:
 *         TAVIX_ERROR_INVALID_PARAM  null src_blob
 *         TAVIX_ERROR_UNSUPPORTED    a layout without a slot
 *         TAVIX_ERROR_MEMORY         no memory for a list of one frame
 *         TAVIX_ERROR_UNSUPPORTED    a layout other than NCHW and NHWC
 *         TAVIX_ERROR_INVALID_DATA   no storage
 *         TAVIX_ERROR_INVALID_PARAM  null dst_frame; null data[0]; dims_size other than 4; a blob
 *                                    larger than the frame
 *         TAVIX_ERROR_UNSUPPORTED    another element type, in a blob with elements
 *         TAVIX_ERROR_INVALID_PARAM  memory other than host; dims beyond what memory can hold; a
 *                                    stride whose product with a row leaves 32 bits
 */
TAVIX_API int32_t TavixBlobToFrameByCPU(const TavixBlob *src_blob, TavixFrameV2 *dst_frame);

/**
 * Copies the last image of a tensor into the only frame of a list, as TavixBlobToFrameByCPU does.
 *
 * @par Formula, Formats, Sizes, In place, Alignment, Ownership, Threads, Exceptions, Precision
 * As TavixBlobToFrameByCPU.
 *
 * @param src_blob    the blob to read. Its data_format is a TavixDataFormat.
 * @param dst_frames  a list of exactly one frame
 * @return as TavixBlobToFrameByCPU, but never TAVIX_ERROR_MEMORY, and TAVIX_ERROR_INVALID_PARAM
 *         also for a null list, a frame_num other than 1 and a null array, in the place of a null
 *         frame
 */
TAVIX_API int32_t TavixBlobToFramesByCPU(const TavixBlob *src_blob, TavixFrames *dst_frames);

/**
 * Makes the 8-bit or float form of a frame, normalised.
 *
 * @par Formula
 * dst = (src - mean[c]) * scale[c] in single precision, for channel c in the order of the frame: of
 * BGR24, channel 0 is blue. A float frame gets the result. An 8-bit frame gets it clamped to 0..255
 * and rounded, halves up: 2.5 is 3, -7 is 0, 300 is 255. NaN is 0.
 * @par Formats
 * RGB24, BGR24, GRAY8, BGRA32 and RGBA32 become RGBF32, BGRF32, GRAYF32, BGRAF32 and RGBAF32, and
 * the other way round. Where data_type is the frame's own element type, the format stays; any
 * format may then be converted from bytes to bytes, in plane 0.
 * @par Sizes
 * The new frame has the width and height of the source. `video.channels` of the source counts, from
 * 1 to 4 and no more than the new frame's rows hold; without channels nothing is converted.
 * @par In place
 * Does not apply: the new frame has memory of its own.
 * @par Alignment
 * The plane of the source and its stride may have any alignment.
 * @par Ownership
 * The caller frees the new frame with TavixFrameFreeV2. It has packed rows and the device of the
 * source. The old value of *dst_frame is overwritten and not freed.
 * @par Threads
 * Any number of threads may call it; the call runs on the caller's. The source must not change
 * meanwhile.
 * @par Exceptions
 * None.
 * @par Precision
 * Results are defined to the last bit, and are the same on every processor.
 *
 * @param src_frame  the frame to read
 * @param dst_frame  where to store the new frame
 * @param data_type  TAVIX_DATA_TYPE_FLOAT32 or TAVIX_DATA_TYPE_UINT8. With any other, the new frame
 *                   has the format of the form that the source is not in, and its pixels stay as
 *                   the core made them.
 * @param norm_vals  8 floats: mean[0..3], then scale[0..3]
 * @return TAVIX_OK, or, first failure wins and no pixel is written:
 *         TAVIX_ERROR_INVALID_PARAM  null src_frame; a format without the other form; null
 *                                    dst_frame; memory other than host; more than four channels; a
 *                                    stride of the source whose product with a row leaves 32 bits.
 *                                    *dst_frame stays as it was.
 *         TAVIX_ERROR_MEMORY         no new frame; *dst_frame is NULL
 *         TAVIX_ERROR_INVALID_PARAM  null data[0]; *dst_frame is NULL
 *         TAVIX_ERROR_INVALID_PARAM  null norm_vals; a new frame of another memory or size, which
 *                                    only another core makes. The new frame stays.
 *         TAVIX_ERROR_MEMORY         a new frame without a plane; *dst_frame is NULL
 *         TAVIX_ERROR_INVALID_PARAM  more channels than the format has; a stride of the new frame
 *                                    whose product with a row leaves 32 bits; *dst_frame is NULL
 */
TAVIX_API int32_t TavixFrameDataTypeConvertNormalizationFuseByCPU(const TavixFrameV2 *src_frame,
                                                                  TavixFrameV2 **dst_frame,
                                                                  int32_t data_type,
                                                                  const float *norm_vals);

#endif
