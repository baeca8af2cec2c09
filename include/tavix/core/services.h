/* SPDX-License-Identifier: Apache-2.0 */
/* The eight services that the operations call. A program that defines them itself takes precedence
 * over the library that ships with the operations. Services report failure through their result and
 * throw nothing. */
#ifndef TAVIX_CORE_SERVICES_H
#define TAVIX_CORE_SERVICES_H

#include "tavix/core/api.h"
#include "tavix/core/records.h"

/**
 * Allocates a frame with zero-filled planes.
 *
 * @par Sizes
 * Odd 4:2:0 sizes round their chroma planes up.
 * @par Alignment
 * Planes start at multiples of 64 bytes.
 * @par Ownership
 * The caller frees the frame and its planes with TavixFrameFreeV2.
 * @par Threads
 * Any thread.
 *
 * @param format         a named TavixPixelFormat
 * @param memory         TAVIX_MEMORY_HOST
 * @param width,height   pixels, at least 1
 * @param device         kept in the frame, not interpreted
 * @param alignment      row alignment in bytes, a power of two: 1 gives packed rows
 * @return a frame, or NULL after one logged error: another memory or format, a size below 1, a
 *         plane of 2^31 bytes or more, no memory
 */
TAVIX_API TavixFrameV2 *TavixVideoFrameAllocV2(int32_t format, uint32_t memory, int32_t width,
                                               int32_t height, uint64_t device, int32_t alignment);

/**
 * Frees a frame of TavixVideoFrameAllocV2 and its planes; NULL is ignored.
 *
 * @par Ownership
 * The core keeps at most four freed blocks of 4 to 32 MiB for the next frames and blobs of that
 * size.
 */
TAVIX_API void TavixFrameFreeV2(TavixFrameV2 *frame);

/**
 * Copies the planes of a frame, its colour space and range, times and flags.
 *
 * @par Formats
 * Every named format.
 * @par Sizes
 * Format, width and height of both frames agree. A row is copied within the strides of both frames,
 * so a stride of 0 copies nothing.
 * @par In place
 * dst may be src. Other overlap is not supported.
 * @par Threads
 * Any thread; frames must not change during the call.
 *
 * @param context  reserved, 0
 * @param options  reserved, 0
 * @return TAVIX_OK, or, first failure wins, after one logged error and with nothing written:
 *         TAVIX_ERROR_INVALID_PARAM  null record; memory other than host; formats or sizes differ
 *         TAVIX_ERROR_UNSUPPORTED    a format without planes of its own
 *         TAVIX_ERROR_INVALID_PARAM  null plane; rows that no 32-bit product of row and linesize
 *                                    reaches
 */
TAVIX_API int32_t TavixFrameCopyV2(TavixFrameV2 *dst, const TavixFrameV2 *src, uint64_t context,
                                   uint64_t options);

/**
 * Allocates a result array of zero-valued elements.
 *
 * @par Ownership
 * The caller frees the array with TavixArrayFree.
 * @par Threads
 * Any thread.
 *
 * @param type   TAVIX_ARRAY_TYPE_DOUBLE
 * @param count  elements, 0 or more
 * @return an array, or NULL after one logged error
 */
TAVIX_API TavixArray *TavixArrayAlloc(int32_t type, int32_t count);

/**
 * Logs one line.
 *
 * @par Threads
 * Any thread; lines of several threads do not mix.
 *
 * @param level     TavixLogLevel
 * @param file      source of the line
 * @param function  function of the line
 * @param line      source line
 * @param format    printf format of the message, its arguments after it; NULL logs nothing
 */
TAVIX_API void TavixLoggerLogV2(int32_t level, const char *file, const char *function, int32_t line,
                                const char *format, ...) TAVIX_PRINTF(5, 6);

/**
 * Makes TavixDeinitialize call callback once, before those registered earlier. Where there is no
 * memory to keep it, one error is logged and the callback is not called; the first 16 need none.
 *
 * @par Threads
 * Any thread.
 */
TAVIX_API void TavixAtDeinitializeRegister(void (*callback)(void));

/** Address of a blob's elements, or NULL when the blob is NULL or has no storage. */
TAVIX_API void *TavixBlobBufferGet(const TavixBlob *blob);

/** Address of a buffer's bytes, or NULL when the buffer is NULL. */
TAVIX_API void *TavixBufferDataGetV2(const TavixBuffer *buffer);

#endif
