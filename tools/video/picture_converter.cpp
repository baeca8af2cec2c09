// SPDX-License-Identifier: Apache-2.0
#include "video/picture_converter.h"

#include "tavix/interop/ffmpeg.h"

namespace tavix::tool {

namespace {

bool is_420(const AVFrame &picture) {
  return picture.format == AV_PIX_FMT_NV12 || picture.format == AV_PIX_FMT_NV21 ||
         picture.format == AV_PIX_FMT_YUV420P;
}

// Grey is left out: FFmpeg gives it a range, the library has none for it.
bool is_packed_color(const AVFrame &picture) {
  TavixFrameV2 view;
  return TavixViewOfAVFrame(&picture, &view) == nullptr && view.video.channels >= 3;
}

bool is_whole_420(const AVFrame &picture) {
  const bool even = picture.width % 2 == 0 && picture.height % 2 == 0;
  TavixFrameV2 view;
  return is_420(picture) && even && TavixViewOfAVFrame(&picture, &view) == nullptr;
}

bool library_converts(const AVFrame &src, const AVFrame &dst) {
  if (src.width != dst.width || src.height != dst.height) return false;
  // The library decodes every 4:2:0 picture as one of limited range.
  const bool from =
      is_packed_color(src) || (is_whole_420(src) && src.color_range != AVCOL_RANGE_JPEG);
  return from && (is_packed_color(dst) || is_whole_420(dst));
}

}  // namespace

void PictureConverter::convert(const AVFrame &src, AVFrame &dst) {
  if (library_converts(src, dst)) {
    call<TavixFrameConvertColorByCPU>(frame_view(src), frame_view(dst));
  } else {
    filter_.convert(src, dst);
  }
  dst.pts = src.pts;
  dst.pkt_dts = src.pkt_dts;
  duration_of(dst) = duration_of(src);
}

}  // namespace tavix::tool
