/* SPDX-License-Identifier: Apache-2.0 */
/* Conversion between pixel formats. */
#ifndef TAVIX_VIDEO_COMMON_CPU_COLOR_H
#define TAVIX_VIDEO_COMMON_CPU_COLOR_H

#include "tavix/core/api.h"
#include "tavix/core/records.h"

/**
 * Converts a frame into the pixel format of another, which the caller has allocated.
 */
TAVIX_API int32_t TavixFrameConvertColorByCPU(const TavixFrameV2 *src_frame,
                                              TavixFrameV2 *dst_frame);

#endif
