/* SPDX-License-Identifier: Apache-2.0 */
/* What an application needs besides the services: blobs, the log sink, the end of the program. */
#ifndef TAVIX_CORE_HOST_H
#define TAVIX_CORE_HOST_H

#include "tavix/core/api.h"
#include "tavix/core/records.h"

/**
 * Allocates a blob with zero-filled storage of its own.
 *
 * @param data_type    a named TavixDataType
 * @param data_format  kept in the blob, not interpreted
 * @param dims_size    0 to TAVIX_BLOB_MAX_DIMS
 * @param dims         dims_size extents, each 0 or more, outermost first
 * @return a blob for TavixBlobFree, or NULL after one logged error
 */
TAVIX_API TavixBlob *TavixBlobAlloc(uint32_t data_type, uint32_t data_format, int32_t dims_size,
                                    const int32_t *dims);

/** Frees a blob and releases its buffer; NULL is ignored. */
TAVIX_API void TavixBlobFree(TavixBlob *blob);

/**
 * Makes a buffer of memory that the caller owns, so that a blob can use it without a copy.
 *
 * @param data     the elements, valid until release is called
 * @param release  called with user when the last reference is dropped; may be NULL
 * @return a buffer with one reference, or NULL after one logged error; release is not called then
 */
TAVIX_API TavixBuffer *TavixBufferWrap(void *data, void (*release)(void *user), void *user);

/** Adds a reference, so that two blobs can share one buffer. Returns its argument. */
TAVIX_API TavixBuffer *TavixBufferRetain(TavixBuffer *buffer);

/** Drops a reference; the last one frees the storage. NULL is ignored. */
TAVIX_API void TavixBufferRelease(TavixBuffer *buffer);

/** Frees an array of TavixArrayAlloc or of an operation; NULL is ignored. */
TAVIX_API void TavixArrayFree(TavixArray *array);

/**
 * Receives one formatted log line. Calls are serialised: a sink may log, but it must not call an
 * operation, which may wait for a thread that waits to log, and it must not throw.
 *
 * @param user  the pointer that was given with the sink
 */
typedef void (*TavixLogSink)(void *user, int32_t level, const char *file, const char *function,
                             int32_t line, const char *message);

/** Replaces the log sink; NULL restores the default, which writes to stderr. */
TAVIX_API void TavixLoggerSetSink(TavixLogSink sink, void *user);

/** Drops lines below this TavixLogLevel. The default is TAVIX_LOG_WARNING. */
TAVIX_API void TavixLoggerSetLevel(int32_t least_level);

/**
 * Runs every callback registered so far once, newest first, and forgets them. Then it frees the
 * memory that the core kept of freed frames and blobs. No operation may run meanwhile.
 */
TAVIX_API void TavixDeinitialize(void);

/** Name of a status as written in codes.h, "unknown" for other values. */
TAVIX_API const char *TavixStatusName(int32_t status);

/** Name of a pixel format as written in codes.h, "unknown" for codes without one. */
TAVIX_API const char *TavixPixelFormatName(int32_t format);

#endif
