// SPDX-License-Identifier: Apache-2.0
// The pictures of a video file, in order of presentation. Damaged parts are left out and counted. A
// file without any picture arrives as an exception whose text is one sentence that names the file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "video/ffmpeg.h"

namespace tavix::tool {

class VideoReader {
 public:
  explicit VideoReader(const std::filesystem::path &path);

  // The next picture, valid until the next call, or null at the end. Times are in time_base() and
  // strictly ascending. A file without any picture is an error.
  const AVFrame *next();

  // The picture that next() gave last will be given again.
  void put_back();

  // Continues at the key frame before this time, in time_base(), where the file allows to find it
  // and what follows is decoded as if nothing had been left out; else where it was or from the
  // first picture, so that the caller still leaves earlier pictures out. To be called after the
  // first picture.
  void seek(int64_t pts);

  AVRational time_base() const { return stream_->time_base; }
  AVRational frame_rate() const { return frame_rate_; }

  // What the file says about itself; 0 when it does not say.
  int64_t expected_pictures() const;

  // Pictures given so far.
  int64_t pictures() const { return pictures_; }

  // How many pictures are lost, as far as the file lets one know: those that are damaged and, once
  // the end has been read, those that a cut file promises and does not hold.
  int64_t lost() const;

 private:
  void open_file(const std::filesystem::path &path);
  void open_decoder();
  bool receive();
  bool can_seek() const;
  bool reaches_key_frame(int64_t pts);
  void feed();
  void found_damage(int failure);
  void put_in_time(AVFrame &picture);

  double declared_seconds() const;
  bool ends_within_a_packet() const;

  std::filesystem::path path_;
  std::string name_;  // of the file, as messages show it
  InputContextPtr input_;
  AVStream *stream_ = nullptr;  // of input_
  CodecContextPtr decoder_;
  PacketPtr packet_ = make_packet();
  PicturePtr picture_ = make_picture();
  bool waiting_ = false;  // picture_ is the next one
  bool timed_ = false;    // the stream says when the last picture is shown
  bool sought_ = false;   // the pictures are not all of the file
  AVRational frame_rate_ = {25, 1};
  int64_t pictures_ = 0, damaged_ = 0;
  bool ended_ = false;
  int64_t last_pts_ = AV_NOPTS_VALUE, last_duration_ = 0;
};

}  // namespace tavix::tool
