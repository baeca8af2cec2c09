// SPDX-License-Identifier: Apache-2.0
// What all sub-commands have in common: how they are named and run, how they tell results and
// failures, and how they end.
//
// Exit status: 0; 1 when a file cannot be read or written or is damaged, or when a check fails,
// after one sentence on stderr; 2 for a wrong command line; 130 when interrupted. Output files
// appear whole or not at all.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

namespace tavix::tool {

using Json = nlohmann::ordered_json;

inline constexpr int kSuccess = 0, kFailure = 1, kMisuse = 2, kInterrupted = 130;

// One sub-command. The options that every one of them has are made with it.
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

  // The result on stdout: as JSON where the user wishes it so, else as text. Returns kSuccess.
  int print(const Json &result, const std::string &text) const;

 private:
  CLI::App &app_;
  bool json_ = false;
};

// What a sub-command is asked for that has no options of its own.
struct NoOptions {
  explicit NoOptions(Command &) {}
};

// Adds a sub-command, whose options add themselves to it when they are constructed.
template <class Options>
void add_command(CLI::App &program, const char *name, const std::string &description,
                 int (*work)(const Command &, const Options &)) {
  const auto command = std::make_shared<Command>(program, name, description);
  const auto options = std::make_shared<Options>(*command);
  command->does([command, options, work] { return work(*command, *options); });
}

// "1 frame", "2 frames".
std::string counted(int64_t count, const std::string &noun);

// Ends the program where the user wishes so.
void check_interrupted();

// Parses the command line and runs the sub-command that it names.
int run_program(CLI::App &program, int argc, char **argv);

}  // namespace tavix::tool
