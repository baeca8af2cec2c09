/* SPDX-License-Identifier: Apache-2.0 */
/* The records every operation works on. Plain data: whoever made a record owns it. */
#ifndef TAVIX_CORE_RECORDS_H
#define TAVIX_CORE_RECORDS_H

#include <stdint.h>

#include "tavix/core/codes.h"

/** What the pixels of a frame are. */
typedef struct TavixVideoInfo {
  int32_t channels;    /**< interleaved channels per pixel of plane 0: 1, 3 or 4 */
  int32_t width;       /**< pixels */
  int32_t height;      /**< rows of plane 0 */
  int32_t format;      /**< TavixPixelFormat */
  int32_t color_space; /**< 1 = BT.709, 2 to 4 = BT.601, 7 and 8 = BT.2020, others: see each use */
  int32_t color_range; /**< 2 = full range, others limited */
} TavixVideoInfo;

/**
 * A video frame. Row y of plane p starts at data[p] + y * linesize[p]; the product is a 32-bit one.
 * A stride may exceed the payload of its row; planes and strides need no alignment, except where an
 * operation says so. Most operations on OpenCV take a stride of 0 for packed rows, and the warps
 * refuse it. All other operations take it literally: every row is the same memory.
 */
typedef struct TavixFrameV2 {
  uint32_t memory;      /**< TavixMemoryType; the operations work on host memory only */
  TavixVideoInfo video; /**< what the pixels are */
  uint8_t *data[TAVIX_FRAME_MAX_PLANES];    /**< first row of each plane */
  int32_t linesize[TAVIX_FRAME_MAX_PLANES]; /**< bytes between the starts of two rows */
  uint64_t device;                          /**< allocation context, handed to the allocator */
  int64_t pts;                              /**< presentation time, in the stream's time base */
  int64_t dts;                              /**< decoding time, in the stream's time base */
  int64_t duration;                         /**< in the stream's time base */
  int32_t flags;                            /**< the application's own */
} TavixFrameV2;

/** A list of frames. */
typedef struct TavixFrames {
  TavixFrameV2 **frames; /**< frame_num addresses */
  int32_t frame_num;     /**< entries in frames */
} TavixFrames;

/** Storage of blob elements; opaque, reference counted by the core. */
typedef struct TavixBuffer TavixBuffer;

/** A tensor, row-major: the last dimension is contiguous. */
typedef struct TavixBlob {
  uint32_t data_type;                /**< TavixDataType */
  uint32_t data_format;              /**< TavixDataFormat */
  int32_t dims_size;                 /**< valid entries of dims */
  int32_t dims[TAVIX_BLOB_MAX_DIMS]; /**< extents, outermost first */
  TavixBuffer *buffer;               /**< the elements */
} TavixBlob;

/** One value of a result array. */
typedef struct TavixArrayElement {
  int32_t type; /**< TavixArrayType */
  double value; /**< the result */
} TavixArrayElement;

/** A result array. */
typedef struct TavixArray {
  int32_t count;               /**< elements in use */
  TavixArrayElement *elements; /**< at least count of them */
} TavixArray;

/** Width and height; fractions are dropped where whole pixels are needed. */
typedef struct TavixSize {
  float width;  /**< columns */
  float height; /**< rows */
} TavixSize;

/** A rectangle in pixels from the top left corner; fractions are dropped. */
typedef struct TavixRect {
  float x;      /**< first column */
  float y;      /**< first row */
  float width;  /**< columns */
  float height; /**< rows */
} TavixRect;

/** A filter kernel or structuring element: height rows of width contiguous elements. */
typedef struct TavixKernel {
  float width;       /**< columns; fractions are dropped */
  float height;      /**< rows; fractions are dropped */
  int32_t data_type; /**< TavixDataType of the elements */
  void *data;        /**< height x width elements, owned by the caller */
} TavixKernel;

/** Single-channel frames of a split; the slots asked for are filled, the others left alone. */
typedef struct TavixChannelFrames {
  TavixFrameV2 *red;   /**< GRAY8 or GRAYF32, as for all four */
  TavixFrameV2 *green; /**< the green channel */
  TavixFrameV2 *blue;  /**< the blue channel */
  TavixFrameV2 *alpha; /**< the alpha channel */
} TavixChannelFrames;

#endif
