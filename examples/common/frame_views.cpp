// SPDX-License-Identifier: Apache-2.0
#include "common/frame_views.h"

#include <fmt/format.h>

#include <algorithm>
#include <new>
#include <stdexcept>

namespace tavix::examples {

namespace {

struct PixelFormat {
  AVPixelFormat picture;
  TavixPixelFormat frame;
  int32_t channels;  // interleaved in plane 0
};

// clang-format off
constexpr PixelFormat kPixelFormats[] = {
    { AV_PIX_FMT_RGB24,   TAVIX_PIX_FMT_RGB24,  3 },
    { AV_PIX_FMT_BGR24,   TAVIX_PIX_FMT_BGR24,  3 },
    { AV_PIX_FMT_GRAY8,   TAVIX_PIX_FMT_GRAY8,  1 },
    { AV_PIX_FMT_BGRA,    TAVIX_PIX_FMT_BGRA32, 4 },
    { AV_PIX_FMT_RGBA,    TAVIX_PIX_FMT_RGBA32, 4 },
    { AV_PIX_FMT_BGR0,    TAVIX_PIX_FMT_BGRA32, 4 },
    { AV_PIX_FMT_RGB0,    TAVIX_PIX_FMT_RGBA32, 4 },
    { AV_PIX_FMT_NV12,    TAVIX_PIX_FMT_NV12,   1 },
    { AV_PIX_FMT_NV21,    TAVIX_PIX_FMT_NV21,   1 },
    { AV_PIX_FMT_YUV420P, TAVIX_PIX_FMT_I420,   1 },
};

struct ColorSpace {
  AVColorSpace picture;
  int32_t frame;
};

constexpr ColorSpace kColorSpaces[] = {
    { AVCOL_SPC_UNSPECIFIED, 0 },
    { AVCOL_SPC_BT709,       1 },
    { AVCOL_SPC_BT470BG,     2 },
    { AVCOL_SPC_SMPTE170M,   3 },
    { AVCOL_SPC_BT2020_NCL,  7 },
    { AVCOL_SPC_BT2020_CL,   8 },
};
// clang-format on

constexpr int32_t kLimitedRange = 1, kFullRange = 2;

int32_t frame_color_space(AVColorSpace space) {
  const auto row = std::ranges::find(kColorSpaces, space, &ColorSpace::picture);
  return row == std::end(kColorSpaces) ? 0 : row->frame;
}

// The row whose column holds the code.
template <class Code>
const PixelFormat &row_with(Code PixelFormat::*column, int code) {
  const auto row = std::ranges::find(kPixelFormats, Code(code), column);
  if (row == std::end(kPixelFormats)) {
    throw std::runtime_error(fmt::format("pixel format {} has no counterpart", code));
  }
  return *row;
}

}  // namespace

FramePtr make_frame(int32_t format, int32_t width, int32_t height) {
  FramePtr frame(TavixVideoFrameAllocV2(format, TAVIX_MEMORY_HOST, width, height, 0, 64));
  if (!frame) throw std::bad_alloc();
  return frame;
}

bool has_frame_view(const AVFrame &picture) {
  return std::ranges::find(kPixelFormats, AVPixelFormat(picture.format), &PixelFormat::picture) !=
         std::end(kPixelFormats);
}

bool has_frame_color_space(AVColorSpace space) {
  return std::ranges::find(kColorSpaces, space, &ColorSpace::picture) != std::end(kColorSpaces);
}

TavixFrameV2 view_as_frame(const AVFrame &picture) {
  const PixelFormat &format = row_with(&PixelFormat::picture, picture.format);
  TavixFrameV2 frame = {};
  frame.memory = TAVIX_MEMORY_HOST;
  const int32_t range = picture.color_range == AVCOL_RANGE_JPEG ? kFullRange : kLimitedRange;
  frame.video = {format.channels,
                 picture.width,
                 picture.height,
                 format.frame,
                 frame_color_space(picture.colorspace),
                 range};
  std::ranges::copy(picture.data, frame.data);
  std::ranges::copy(picture.linesize, frame.linesize);
  frame.pts = picture.pts;
  frame.dts = picture.pkt_dts;
  frame.duration = duration_of(picture);
  return frame;
}

PicturePtr view_as_picture(const TavixFrameV2 &frame) {
  PicturePtr picture = make_picture();
  picture->format = row_with(&PixelFormat::frame, frame.video.format).picture;
  picture->width = frame.video.width;
  picture->height = frame.video.height;
  std::ranges::copy(frame.data, picture->data);
  std::ranges::copy(frame.linesize, picture->linesize);
  picture->pts = frame.pts;
  return picture;
}

cv::Mat view_as_matrix(const TavixFrameV2 &frame) {
  return cv::Mat(frame.video.height, frame.video.width, CV_8UC(frame.video.channels), frame.data[0],
                 size_t(frame.linesize[0]));
}

}  // namespace tavix::examples
