// SPDX-License-Identifier: Apache-2.0
#include "video/ffmpeg.h"

#include <fmt/format.h>

#include <new>
#include <stdexcept>

namespace tavix::tool {

namespace {

template <class Owner>
Owner owned(typename Owner::pointer object) {
  if (object == nullptr) throw std::bad_alloc();
  return Owner(object);
}

}  // namespace

std::string error_text(int code) {
  char text[AV_ERROR_MAX_STRING_SIZE] = "unknown error";
  av_strerror(code, text, sizeof text);
  return text;
}

int checked(int result, std::string_view what) {
  if (result < 0) throw std::runtime_error(fmt::format("{}: {}", what, error_text(result)));
  return result;
}

std::string file_url(const std::filesystem::path &path) {
  return "file:" + path.string();
}

PacketPtr make_packet() {
  return owned<PacketPtr>(av_packet_alloc());
}
PicturePtr make_picture() {
  return owned<PicturePtr>(av_frame_alloc());
}

PicturePtr make_picture(AVPixelFormat format, int width, int height) {
  PicturePtr picture = make_picture();
  picture->format = format;
  picture->width = width;
  picture->height = height;
  checked(av_frame_get_buffer(picture.get(), 0),
          fmt::format("no memory for a picture of {} x {}", width, height));
  return picture;
}

int64_t &duration_of(AVFrame &picture) {
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 30, 100)
  return picture.duration;
#else
  return picture.pkt_duration;
#endif
}

int64_t duration_of(const AVFrame &picture) {
  return duration_of(const_cast<AVFrame &>(picture));
}

}  // namespace tavix::tool
