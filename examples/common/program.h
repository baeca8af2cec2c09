// SPDX-License-Identifier: Apache-2.0
// What the mains of the examples have in common: the command line, where results go, and the end.
//
// Exit status: 0; 1 when a file cannot be read or written, after one sentence on stderr and with
// nothing half-written left behind; 2 for a wrong command line; 130 when interrupted.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "common/video_reader.h"

namespace tavix::examples {

// What every example is asked for.
struct VideoOptions {
  std::string video, output = ".";
  bool skip_damaged = false;

  void add_to(CLI::App &app);

  VideoReader open_video() const;

  // A file of the output folder, which is made where it is missing.
  std::filesystem::path output_path(const char *name) const;

  // Tells on stderr what was left out, if anything was.
  void report_damaged(const CLI::App &app, int64_t parts) const;
};

// Ends the program where the user wishes so.
void check_interrupted();

// Refusals of the library as exceptions.
void require_ok(int32_t status, const char *what);

// Parses the command line and calls work(), whose exceptions become the exit status.
int run_program(CLI::App &app, int argc, char **argv, const std::function<void()> &work);

}  // namespace tavix::examples
