// SPDX-License-Identifier: Apache-2.0
// What a sub-command is asked for that reads a video and leaves files in a folder, and how it ends.
#pragma once

#include <filesystem>
#include <string>

#include "program/command.h"
#include "program/outputs.h"
#include "video/video_reader.h"

namespace tavix::tool {

class VideoOptions {
 public:
  explicit VideoOptions(Command &command);

  VideoReader open_video() const { return VideoReader(video_); }
  const std::string &video() const { return video_; }

  // Without its folder.
  std::string name() const { return std::filesystem::path(video_).filename().string(); }

  // A file of the output folder, which is made where it is missing.
  std::filesystem::path output_path(const char *name) const;

  // Publishes the files of a video that has been read to its end, says what is lost of it, and
  // prints the result with both. Returns the exit status.
  int conclude(const VideoReader &reader, Outputs outputs, Json result,
               const std::string &text) const;

 private:
  const Command &command_;
  std::string video_, output_ = ".";
  bool skip_damaged_ = false;
};

}  // namespace tavix::tool
