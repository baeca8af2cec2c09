// SPDX-License-Identifier: Apache-2.0
#include "program/command.h"

#include <fmt/format.h>

#include <csignal>
#include <cstdio>
#include <new>
#include <stdexcept>

#include "tavix/frame.hpp"

extern "C" {
#include <libavutil/log.h>
}

namespace tavix::tool {

namespace fs = std::filesystem;

namespace {

volatile std::sig_atomic_t interrupted = 0;
struct Interrupted {};

// The sub-command that the command line names.
struct Chosen {
  std::string name;
  std::function<int()> work;
};
Chosen &chosen() {
  static Chosen instance;
  return instance;
}

void say(const std::string &name, const std::string &sentence) {
  std::fputs(fmt::format("tavix {}: {}\n", name, sentence).c_str(), stderr);
}

int fail(const Chosen &command, int status, const char *sentence) {
  say(command.name, sentence);
  return status;
}

}  // namespace

Command::Command(CLI::App &program, const char *name, const std::string &description)
    : app_(*program.add_subcommand(name, description)) {
  app_.add_flag("--json", json_, "print the result as JSON");
}

void Command::does(std::function<int()> work) {
  app_.callback([this, work] { chosen() = {app_.get_name(), work}; });
}

void Command::warn(const std::string &sentence) const {
  say(app_.get_name(), sentence);
}

void Command::print(const Json &result, const std::string &text) const {
  const std::string shown = json_ ? result.dump(2) + "\n" : text;
  if (std::fputs(shown.c_str(), stdout) < 0 || std::fflush(stdout) != 0) {
    throw std::runtime_error("cannot write the result");
  }
}

VideoOptions::VideoOptions(Command &command) : command_(command) {
  CLI::App &app = command.app();
  app.add_option("VIDEO", video_, "any video file that FFmpeg can decode")->required();
  app.add_option("--output", output_, "folder for the results; made where it is missing")
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

int VideoOptions::conclude(const VideoReader &reader, Json &result) const {
  const int64_t lost = reader.lost();
  result["lost"] = lost;
  if (lost == 0) return kSuccess;
  command_.warn(fmt::format(
      "'{}' is damaged or cut: {} of its {} frames could be decoded, {} {} lost", video_,
      reader.pictures(), reader.pictures() + lost, lost, lost == 1 ? "is" : "are"));
  return skip_damaged_ ? kSuccess : kFailure;
}

void check_interrupted() {
  if (interrupted) throw Interrupted();
}

int run_program(CLI::App &program, int argc, char **argv) {
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    return program.exit(error) == 0 ? kSuccess : kMisuse;
  }
  av_log_set_level(AV_LOG_QUIET);
  // What goes wrong arrives as an exception; what is only odd is not the user's concern.
  set_log_sink([](void *, int32_t, const char *, const char *, int32_t, const char *) {});
  std::signal(SIGPIPE, SIG_IGN);  // a pipe that nobody reads is a write that fails
  for (const int signal : {SIGINT, SIGTERM}) std::signal(signal, [](int) { interrupted = 1; });
  const Chosen &command = chosen();
  try {
    return command.work ? command.work() : kSuccess;
  } catch (const Interrupted &) {
    return fail(command, kInterrupted, "interrupted");
  } catch (const std::bad_alloc &) {
    return fail(command, kFailure, "out of memory");
  } catch (const std::exception &error) {
    return fail(command, kFailure, error.what());
  }
}

}  // namespace tavix::tool
