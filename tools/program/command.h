// SPDX-License-Identifier: Apache-2.0
// What all sub-commands have in common: how they are named and run, how they tell results and
// failures, and how they end.
//
// Exit status: 0; 1 when a file cannot be read or written or is damaged, or when a check fails,
// after one sentence on stderr; 2 for a wrong command line; 130 when interrupted. Output files
// appear whole or not at all.
#pragma once

#include <CLI/CLI.hpp>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>

#include "video/video_reader.h"

namespace tavix::tool {

using Json = nlohmann::ordered_json;

inline constexpr int kSuccess = 0, kFailure = 1, kMisuse = 2, kInterrupted = 130;

// One sub-command. The options that every one of them has are made with it; it lives as long as the
// program.
class Command {
 public:
  Command(CLI::App &program, const char *name, const std::string &description);

  // What the sub-command adds its own options to.
  CLI::App &app() { return app_; }

  // What it does; returns the exit status. Exceptions become kFailure and a sentence.
  void does(std::function<int()> work);

  // A sentence on stderr, after "tavix NAME: ".
  void warn(const std::string &sentence) const;

  // Whether the user wishes the result as JSON.
  bool json() const { return json_; }

  // The result on stdout: as JSON where the user wishes it so, else as text.
  void print(const Json &result, const std::string &text) const;

 private:
  CLI::App &app_;
  bool json_ = false;
};

// What every sub-command is asked for that reads a video and leaves files in a folder.
class VideoOptions {
 public:
  explicit VideoOptions(Command &command);

  VideoReader open_video() const { return VideoReader(video_); }
  const std::string &video() const { return video_; }

  // A file of the output folder, which is made where it is missing.
  std::filesystem::path output_path(const char *name) const;

  // Says what is lost of a video that has been read to its end, also in the result. Returns the
  // exit status.
  int conclude(const VideoReader &reader, Json &result) const;

 private:
  const Command &command_;
  std::string video_, output_ = ".";
  bool skip_damaged_ = false;
};

// Ends the program where the user wishes so.
void check_interrupted();

// Parses the command line and runs the sub-command that it names.
int run_program(CLI::App &program, int argc, char **argv);

}  // namespace tavix::tool
