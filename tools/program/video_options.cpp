// SPDX-License-Identifier: Apache-2.0
#include "program/video_options.h"

#include <fmt/format.h>

#include <stdexcept>

namespace tavix::tool {

namespace fs = std::filesystem;

VideoOptions::VideoOptions(Command &command) : command_(command) {
  CLI::App &app = command.app();
  app.add_option("VIDEO", video_, "any video file that FFmpeg can decode")->required();
  app.add_option("--output", output_, "folder for the results; created if it does not exist")
      ->type_name("DIR")
      ->capture_default_str();
  app.add_flag("--skip-damaged", skip_damaged_, "succeed although parts of the video are damaged");
}

fs::path VideoOptions::output_path(const char *name) const {
  std::error_code error;
  fs::create_directories(output_, error);
  if (error) {
    throw std::runtime_error(fmt::format("cannot write to '{}': {}", output_, error.message()));
  }
  fs::path path = fs::path(output_) / name;
  if (fs::equivalent(path, video_, error)) {
    throw std::runtime_error(fmt::format("'{}' would be overwritten", video_));
  }
  return path;
}

int VideoOptions::conclude(const VideoReader &reader, Outputs outputs, Json result,
                           const std::string &text) const {
  outputs.publish();
  const int64_t lost = reader.lost();
  if (lost > 0) {
    command_.warn(fmt::format(
        "'{}' is damaged or cut: {} of its {} frames could be decoded, {} {} lost", video_,
        reader.pictures(), reader.pictures() + lost, lost, lost == 1 ? "is" : "are"));
  }
  result["outputs"] = outputs.json();
  result["lost"] = lost;
  command_.print(result, text + outputs.text());
  return lost == 0 || skip_damaged_ ? kSuccess : kFailure;
}

}  // namespace tavix::tool
