/* SPDX-License-Identifier: Apache-2.0 */
/* The codes that records and calls carry: statuses, log levels, memory, pixel formats, element
 * types, blob layouts. Values are part of the binary interface and never change. */
#ifndef TAVIX_CORE_CODES_H
#define TAVIX_CORE_CODES_H

/** Result of every operation. */
enum TavixStatus {
  TAVIX_OK = 0,
  TAVIX_ERROR_MEMORY = 3,        /**< an allocation failed */
  TAVIX_ERROR_UNSUPPORTED = 4,   /**< format, element type, layout or operation not supported */
  TAVIX_ERROR_INVALID_PARAM = 7, /**< null record or plane, memory not host, records inconsistent */
  TAVIX_ERROR_INVALID_DATA = 13  /**< blob dimension count wrong or blob storage missing */
};

enum TavixLogLevel {
  TAVIX_LOG_DEBUG = 0,
  TAVIX_LOG_INFO = 1,
  TAVIX_LOG_WARNING = 2,
  TAVIX_LOG_ERROR = 3
};

/** Where the planes of a frame live. */
enum TavixMemoryType { TAVIX_MEMORY_HOST = 0 };

/**
 * Pixel formats. The packed formats are RGB24, BGR24, GRAY8, BGRA32, RGBA32 and the five float
 * formats: their channels interleave in data[0]. The 4:2:0 formats keep luma in data[0] and chroma,
 * subsampled by two in both directions, in data[1] and data[2]. Codes 3 and 6 are reserved.
 */
enum TavixPixelFormat {
  TAVIX_PIX_FMT_RGB24 = 0,    /**< 8-bit R,G,B */
  TAVIX_PIX_FMT_BGR24 = 1,    /**< 8-bit B,G,R */
  TAVIX_PIX_FMT_GRAY8 = 2,    /**< 8-bit luminance */
  TAVIX_PIX_FMT_BGRA32 = 4,   /**< 8-bit B,G,R,A */
  TAVIX_PIX_FMT_RGBA32 = 5,   /**< 8-bit R,G,B,A */
  TAVIX_PIX_FMT_NV12 = 7,     /**< 4:2:0, data[1] interleaves U,V */
  TAVIX_PIX_FMT_NV21 = 8,     /**< 4:2:0, data[1] interleaves V,U */
  TAVIX_PIX_FMT_YV12 = 9,     /**< 4:2:0, V in data[1], U in data[2] */
  TAVIX_PIX_FMT_I420 = 10,    /**< 4:2:0, U in data[1], V in data[2] */
  TAVIX_PIX_FMT_RGBF32 = 11,  /**< 32-bit float R,G,B */
  TAVIX_PIX_FMT_BGRF32 = 12,  /**< 32-bit float B,G,R */
  TAVIX_PIX_FMT_RGBAF32 = 13, /**< 32-bit float R,G,B,A */
  TAVIX_PIX_FMT_BGRAF32 = 14, /**< 32-bit float B,G,R,A */
  TAVIX_PIX_FMT_GRAYF32 = 15, /**< 32-bit float luminance */
  TAVIX_PIX_FMT_NONE = 16     /**< no format */
};

/** Colour spaces that video.color_space tells apart; every other code means BT.601. */
enum TavixColorSpace {
  TAVIX_COLOR_SPACE_BT709 = 1,
  TAVIX_COLOR_SPACE_BT2020_NCL = 7, /**< non-constant luminance */
  TAVIX_COLOR_SPACE_BT2020_CL = 8   /**< constant luminance; converted as non-constant */
};

/** Element types of a blob. The codes left out are reserved. */
enum TavixDataType {
  TAVIX_DATA_TYPE_FLOAT32 = 0,
  TAVIX_DATA_TYPE_INT8 = 2,
  TAVIX_DATA_TYPE_INT32 = 3,
  TAVIX_DATA_TYPE_INT64 = 5,
  TAVIX_DATA_TYPE_UINT32 = 6,
  TAVIX_DATA_TYPE_UINT8 = 11,
  TAVIX_DATA_TYPE_INT16 = 12,
  TAVIX_DATA_TYPE_UINT16 = 13
};

/** Memory layouts of a blob: N images, C channels, D slices, H rows, W columns, outermost first. */
enum TavixDataFormat {
  TAVIX_DATA_FORMAT_NCHW = 0,
  TAVIX_DATA_FORMAT_NHWC = 1,
  TAVIX_DATA_FORMAT_NHWC4 = 2,
  TAVIX_DATA_FORMAT_NC2HW2 = 3,
  TAVIX_DATA_FORMAT_NC4HW4 = 4,
  TAVIX_DATA_FORMAT_NC8HW8 = 5,
  TAVIX_DATA_FORMAT_NC16HW16 = 6,
  TAVIX_DATA_FORMAT_NCDHW = 7,
  TAVIX_DATA_FORMAT_NHC4W4 = 8,
  TAVIX_DATA_FORMAT_CNH4 = 1000,
  TAVIX_DATA_FORMAT_NDHWC = 1001,
  TAVIX_DATA_FORMAT_CHW = 1002,
  TAVIX_DATA_FORMAT_NC = 1003,
  TAVIX_DATA_FORMAT_SCALAR = 1004,
  TAVIX_DATA_FORMAT_C = 1005
};

/** Value kind of a result-array element. */
enum TavixArrayType { TAVIX_ARRAY_TYPE_DOUBLE = 3 };

enum { TAVIX_FRAME_MAX_PLANES = 8, TAVIX_BLOB_MAX_DIMS = 8 };

#endif
