/* SPDX-License-Identifier: Apache-2.0 */
/* The eight services the operations call. A program that defines them itself takes precedence over
 * the library that ships with the operations. */
#ifndef TAVIX_CORE_SERVICES_H
#define TAVIX_CORE_SERVICES_H

#include "tavix/core/api.h"
#include "tavix/core/records.h"

/**
 * Allocates a frame with zero-filled planes; odd 4:2:0 sizes round their chroma planes up.
 *
 * @param format         a named TavixPixelFormat
 * @param memory         TAVIX_MEMORY_HOST
 * @param width,height   pixels, at least 1
 * @param device         kept in the frame, not interpreted
 * @param alignment      row alignment in bytes, a power of two: 1 gives packed rows
 * @return a frame for TavixFrameFreeV2, or NULL after one logged error
 */
TAVIX_API TavixFrameV2 *TavixVideoFrameAllocV2(int32_t format, uint32_t memory, int32_t width,
                                               int32_t height, uint64_t device, int32_t alignment);

/** Frees a frame of TavixVideoFrameAllocV2 and its planes; NULL is ignored. */
TAVIX_API void TavixFrameFreeV2(TavixFrameV2 *frame);

/**
 * Copies every plane within the strides of both frames, then colour space and range, times and
 * flags. The frames must agree in format, width and height and must not overlap partially.
 *
 * @param context,options  reserved, 0
 * @return TAVIX_OK, or after one logged error, with nothing written: TAVIX_ERROR_INVALID_PARAM (null
 *         record or plane, memory not host, format or size different), TAVIX_ERROR_UNSUPPORTED
 *         (format without planes of its own)
 */
TAVIX_API int32_t TavixFrameCopyV2(TavixFrameV2 *dst, const TavixFrameV2 *src, uint64_t context,
                                   uint64_t options);

/**
 * Allocates a result array of zero-valued elements.
 *
 * @param type   TAVIX_ARRAY_TYPE_DOUBLE
 * @param count  elements, 0 or more
 * @return an array for TavixArrayFree, or NULL after one logged error
 */
TAVIX_API TavixArray *TavixArrayAlloc(int32_t type, int32_t count);

/** Logs one line: level, source of the call, printf format and its arguments. */
TAVIX_API void TavixLoggerLogV2(int32_t level, const char *file, const char *function, int32_t line,
                                const char *format, ...) TAVIX_PRINTF(5, 6);

/** Has TavixDeinitialize call callback once, before those registered earlier. */
TAVIX_API void TavixAtDeinitializeRegister(void (*callback)(void));

/** Address of a blob's elements, or NULL when the blob is NULL or has no storage. */
TAVIX_API void *TavixBlobBufferGet(const TavixBlob *blob);

/** Address of a buffer's bytes, or NULL when the buffer is NULL. */
TAVIX_API void *TavixBufferDataGetV2(const TavixBuffer *buffer);

#endif
