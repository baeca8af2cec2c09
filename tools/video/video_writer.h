// SPDX-License-Identifier: Apache-2.0
// H.264 video in an MP4 file, which appears whole or not at all.
#pragma once

#include <filesystem>

#include "files/output_file.h"
#include "tavix/core/records.h"
#include "video/ffmpeg.h"
#include "video/picture_converter.h"

namespace tavix::tool {

class VideoWriter {
 public:
  struct Format {
    int width, height;     // of the frames; an odd last column or row is not shown
    AVRational time_base;  // of the frames' times
    AVRational frame_rate;
    AVRational pixel_aspect;  // width of a pixel by its height; 0/1 is unknown
  };

  VideoWriter(std::filesystem::path target, const Format &format);

  // Packed 8-bit frames with strictly ascending times; the first one becomes time 0.
  void write(const TavixFrameV2 &frame);

  // Writes what the encoder still holds; the file is then whole, and ready to be published.
  void finish();

  OutputFile &file() { return file_; }

 private:
  struct CloseOutput {
    void operator()(AVFormatContext *output) const;
  };

  void open_encoder(const Format &format);
  void open_file();
  void encode(const AVFrame *picture);

  OutputFile file_;
  std::string failure_;  // what every error message starts with
  std::unique_ptr<AVFormatContext, CloseOutput> output_;
  AVStream *stream_ = nullptr;  // of output_
  CodecContextPtr encoder_;
  PictureConverter converter_;
  PicturePtr picture_;
  PacketPtr packet_ = make_packet();
  int64_t start_ = AV_NOPTS_VALUE;
  int64_t picture_duration_ = 1;
};

}  // namespace tavix::tool
