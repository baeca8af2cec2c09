/* SPDX-License-Identifier: Apache-2.0 */
/* Every operation of the library. */
#ifndef TAVIX_VIDEO_COMMON_CPU_H
#define TAVIX_VIDEO_COMMON_CPU_H

#include "tavix/video_common_cpu/arithmetic.h"
#include "tavix/video_common_cpu/blob.h"
#include "tavix/video_common_cpu/channels.h"
#include "tavix/video_common_cpu/color.h"
#include "tavix/video_common_cpu/filters.h"
#include "tavix/video_common_cpu/geometry.h"
#include "tavix/video_common_cpu/softmax.h"
#include "tavix/video_common_cpu/statistics.h"

#endif
