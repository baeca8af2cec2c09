// SPDX-License-Identifier: Apache-2.0
// The guard of every entry: it stands after the checks an entry has of its own and refuses frames
// that would have the conversion touch memory they do not have. Frames without pixels pass it.
#pragma once

#include <limits>

#include "common/frame_access.h"
#include "common/log.h"
#include "common/pixel_format.h"

namespace tavix::module {

// Whether a row loop over the source's rows and columns touches any memory.
constexpr bool converts_pixels(const TavixVideoInfo &src) {
  return src.width > 0 && src.height > 0;
}

// The pixel step of a packed colour frame is its channel count, which must hold the format's
// channels. Grey is read and written with a step of 1.
constexpr bool impossible_channels(const TavixVideoInfo &video) {
  return is_rgb_family(video.format) &&
         (video.channels < traits(video.format).channels || video.channels > kMaxChannels);
}

// The index of an element within a packed row is a 32-bit one.
constexpr bool row_too_long(const TavixVideoInfo &video, int32_t width) {
  return is_rgb_family(video.format) &&
         int64_t(width) * video.channels > std::numeric_limits<int32_t>::max();
}

constexpr int32_t plane_count(int32_t format) {
  if (format == TAVIX_PIX_FMT_NV12 || format == TAVIX_PIX_FMT_NV21) return 2;
  return format == TAVIX_PIX_FMT_YV12 || format == TAVIX_PIX_FMT_I420 ? 3 : 1;
}

constexpr bool lacks_planes(const TavixFrameV2 &frame, int32_t planes) {
  for (int32_t p = 0; p < planes; ++p)
    if (frame.data[p] == nullptr) return true;
  return false;
}

// Planes may be missing as long as the conversion leaves them alone: src_planes and dst_planes are
// the numbers it touches.
#define TAVIX_REFUSE_UNUSABLE_PLANES(src_frame, src_planes, dst_frame, dst_planes)                \
  TAVIX_REFUSE_IF(kCvtColorUnit, any_null(src_frame, dst_frame), TAVIX_ERROR_INVALID_PARAM,       \
                  "src_frame(%p) and dst_frame(%p) must not be nullptr", src_frame, dst_frame);   \
  TAVIX_REFUSE_IF(kCvtColorUnit,                                                                  \
                  converts_pixels(src_frame->video) && (impossible_channels(src_frame->video) ||  \
                                                        impossible_channels(dst_frame->video)),   \
                  TAVIX_ERROR_INVALID_PARAM,                                                      \
                  "src channels(%d) and dst channels(%d) do not fit formats %d and %d",           \
                  src_frame->video.channels, dst_frame->video.channels, src_frame->video.format,  \
                  dst_frame->video.format);                                                       \
  TAVIX_REFUSE_IF(kCvtColorUnit,                                                                  \
                  converts_pixels(src_frame->video) &&                                            \
                      (row_too_long(src_frame->video, src_frame->video.width) ||                  \
                       row_too_long(dst_frame->video, src_frame->video.width)),                   \
                  TAVIX_ERROR_INVALID_PARAM, "rows of %d pixels are too long",                    \
                  src_frame->video.width);                                                        \
  TAVIX_REFUSE_IF(kCvtColorUnit,                                                                  \
                  converts_pixels(src_frame->video) && (lacks_planes(*src_frame, src_planes) ||   \
                                                        lacks_planes(*dst_frame, dst_planes)),    \
                  TAVIX_ERROR_INVALID_PARAM, "a plane of src_frame(%p) or dst_frame(%p) is NULL", \
                  src_frame, dst_frame)

#define TAVIX_REFUSE_UNUSABLE(src_frame, dst_frame)                                        \
  TAVIX_REFUSE_UNUSABLE_PLANES(src_frame, plane_count(src_frame->video.format), dst_frame, \
                               plane_count(dst_frame->video.format))

}  // namespace tavix::module
