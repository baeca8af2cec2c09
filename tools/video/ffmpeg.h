// SPDX-License-Identifier: Apache-2.0
// FFmpeg's objects with owners, and its error codes as exceptions.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
}

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace tavix::tool {

// For the functions of FFmpeg that free an object and clear the pointer to it.
template <auto free>
struct FreeByAddress {
  template <class T>
  void operator()(T *object) const {
    free(&object);
  }
};

using CodecContextPtr = std::unique_ptr<AVCodecContext, FreeByAddress<avcodec_free_context>>;
using InputContextPtr = std::unique_ptr<AVFormatContext, FreeByAddress<avformat_close_input>>;
using PacketPtr = std::unique_ptr<AVPacket, FreeByAddress<av_packet_free>>;
using PicturePtr = std::unique_ptr<AVFrame, FreeByAddress<av_frame_free>>;

// What an FFmpeg error code means.
std::string error_text(int code);

// The result of an FFmpeg call, or "what: reason" as an exception.
int checked(int result, std::string_view what);

// The address FFmpeg knows a local file by: a colon in a name is not a protocol.
std::string file_url(const std::filesystem::path &path);

// An object of FFmpeg's, or std::bad_alloc.
PacketPtr make_packet();
PicturePtr make_picture();

// A picture with memory of its own.
PicturePtr make_picture(AVPixelFormat format, int width, int height);

// In units of the stream's time base; 0 where the stream does not say.
int64_t &duration_of(AVFrame &picture);
int64_t duration_of(const AVFrame &picture);

}  // namespace tavix::tool
