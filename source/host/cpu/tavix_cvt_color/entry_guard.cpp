// SPDX-License-Identifier: Apache-2.0
#include "cpu/tavix_cvt_color/entry_guard.h"

#include "common/pixel_format.h"

namespace tavix::module {

namespace {

// Colour pixels must hold the format's channels, and at most an alpha besides.
bool impossible_step(const TavixVideoInfo &video, int32_t step) {
  const int32_t channels = traits(video.format).channels;
  return channels > 1 && (step < channels || step > kMaxChannels);
}

// The index of an element within a row is a 32-bit one.
bool row_too_long(int32_t width, int32_t step) {
  return int64_t(width) * step > INT32_MAX;
}

int32_t planes_of(const TavixFrameV2 &frame, const Reach &reach) {
  return reach.chroma_rows > 0 ? traits(frame.video.format).planes : 1;
}

bool lacks_planes(const TavixFrameV2 &frame, const Reach &reach) {
  for (int32_t p = 0; p < planes_of(frame, reach); ++p)
    if (frame.data[p] == nullptr) return true;
  return false;
}

// The offset of a row is a 32-bit product of its number and the stride.
bool out_of_reach(int32_t linesize, int64_t rows) {
  const int64_t last = int64_t(linesize) * (rows - 1);
  return last < INT32_MIN || last > INT32_MAX;
}

int32_t refuse_long_planes(const LogOrigin &by, const TavixFrameV2 &frame, const Reach &reach,
                           int32_t height) {
  for (int32_t p = 0; p < planes_of(frame, reach) && p < 2;
       ++p)  // both chroma planes share a stride
    TAVIX_INVALID_AS_IF(
        by, out_of_reach(frame.linesize[p], p == 0 ? reach.rows : reach.chroma_rows),
        "linesize[%d](%d) of a frame of %d rows is no span of bytes", p, frame.linesize[p], height);
  return TAVIX_OK;
}

}  // namespace

int32_t pixel_step(const TavixVideoInfo &video) {
  const int32_t channels = traits(video.format).channels;
  if (channels <= 1) return 1;
  return video.channels == 0 ? channels : video.channels;
}

int32_t refuse_unusable(const LogOrigin &by, const TavixFrameV2 *src, const TavixFrameV2 *dst,
                        ReachOf *reach_of) {
  TAVIX_INVALID_AS_IF(by, any_null(src, dst), "src_frame(%p) and dst_frame(%p) must not be nullptr",
                      src, dst);
  const Reach reach = reach_of(*src, *dst);
  if (reach.rows <= 0) return TAVIX_OK;

  const TavixVideoInfo &from = src->video, &to = dst->video;
  const int32_t dst_step = reach.dst_channels ? to.channels : pixel_step(to);
  TAVIX_INVALID_AS_IF(by, impossible_step(from, from.channels) || impossible_step(to, dst_step),
                      "src channels(%d) and dst channels(%d) do not fit formats %d and %d",
                      from.channels, to.channels, from.format, to.format);
  TAVIX_INVALID_AS_IF(
      by, row_too_long(from.width, pixel_step(from)) || row_too_long(from.width, dst_step),
      "rows of %d pixels are too long", from.width);
  TAVIX_INVALID_AS_IF(by, lacks_planes(*src, reach) || lacks_planes(*dst, reach),
                      "a plane of src_frame(%p) or dst_frame(%p) is NULL", src, dst);
  const int32_t status = refuse_long_planes(by, *src, reach, from.height);
  return status != TAVIX_OK ? status : refuse_long_planes(by, *dst, reach, from.height);
}

}  // namespace tavix::module
