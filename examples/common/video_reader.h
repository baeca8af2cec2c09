// SPDX-License-Identifier: Apache-2.0
// The pictures of a video file, in order of presentation. Whatever is wrong with the file arrives
// as an exception whose text is one sentence that names the file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "common/ffmpeg.h"

namespace tavix::examples {

// Part of a file is unreadable.
struct DamagedVideo : std::runtime_error {
  using std::runtime_error::runtime_error;
};

class VideoReader {
 public:
  // Damage ends the reading with DamagedVideo, or is skipped and counted.
  enum class OnDamage { kThrow, kSkip };

  explicit VideoReader(const std::filesystem::path &path, OnDamage on_damage = OnDamage::kThrow);

  // The next picture, valid until the next call, or null at the end. Times are in time_base() and
  // strictly ascending. A file without any picture is an error.
  const AVFrame *next();

  AVRational time_base() const { return stream_->time_base; }
  AVRational frame_rate() const { return frame_rate_; }

  // What the file says about itself; 0 when it does not say.
  int64_t expected_pictures() const;

  // Damaged packets and pictures skipped so far.
  int64_t damaged() const { return damaged_; }

 private:
  void open_file(const std::filesystem::path &path);
  void open_decoder();
  bool receive();
  void feed();
  void found_damage(int error);
  void put_in_time(AVFrame &picture);

  std::string name_;  // of the file, as messages show it
  OnDamage on_damage_;
  InputContextPtr input_;
  AVStream *stream_ = nullptr;  // of input_
  CodecContextPtr decoder_;
  PacketPtr packet_ = make_packet();
  PicturePtr picture_ = make_picture();
  AVRational frame_rate_ = {25, 1};
  int64_t pictures_ = 0, damaged_ = 0;
  int64_t last_pts_ = AV_NOPTS_VALUE;
};

}  // namespace tavix::examples
