// SPDX-License-Identifier: Apache-2.0
#include "program/command.h"

#include <fmt/format.h>

#include <csignal>
#include <cstdio>
#include <iostream>
#include <new>
#include <stdexcept>
#include <utility>

#include "tavix/frame.hpp"

extern "C" {
#include <libavutil/log.h>
}

namespace tavix::tool {

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

// Notes a signal, which also ends a call that waits. A hang-up that the user has it ignore is none.
void heed(int signal) {
  struct sigaction action = {};
  sigaction(signal, nullptr, &action);
  if (signal == SIGHUP && action.sa_handler == SIG_IGN) return;
  action = {};
  action.sa_handler = [](int) { interrupted = 1; };
  sigaction(signal, &action, nullptr);
}

void say(const std::string &name, const std::string &sentence) {
  std::fputs(fmt::format("tavix{}: {}\n", name.empty() ? "" : " " + name, sentence).c_str(),
             stderr);
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
  app_.callback([this, work = std::move(work)] { chosen() = {app_.get_name(), work}; });
}

void Command::warn(const std::string &sentence) const {
  say(app_.get_name(), sentence);
}

int Command::print(const Json &result, const std::string &text) const {
  const std::string shown = json_ ? result.dump(2) + "\n" : text;
  if (std::fputs(shown.c_str(), stdout) < 0 || std::fflush(stdout) != 0) {
    throw std::runtime_error("cannot write the result");
  }
  return kSuccess;
}

std::string counted(int64_t count, const std::string &noun) {
  return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

void check_interrupted() {
  if (interrupted) throw Interrupted();
}

int run_program(CLI::App &program, int argc, char **argv) {
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    if (program.exit(error) != 0) return kMisuse;
    return std::cout.flush() ? kSuccess : fail(chosen(), kFailure, "cannot write the help");
  }
  av_log_set_level(AV_LOG_QUIET);
  // What goes wrong arrives as an exception; what is only odd is not the user's concern.
  set_log_sink([](void *, int32_t, const char *, const char *, int32_t, const char *) {});
  std::signal(SIGPIPE, SIG_IGN);  // a pipe that nobody reads is a write that fails
  for (const int signal : {SIGHUP, SIGINT, SIGTERM}) heed(signal);
  const Chosen &command = chosen();
  try {
    return command.work ? command.work() : kSuccess;
  } catch (const Interrupted &) {
    return fail(command, kInterrupted, "interrupted");
  } catch (const std::bad_alloc &) {
    return fail(command, kFailure, "out of memory");
  } catch (const std::exception &error) {
    // A call that the signal ends may fail for that reason alone.
    if (interrupted) return fail(command, kInterrupted, "interrupted");
    return fail(command, kFailure, error.what());
  }
}

}  // namespace tavix::tool
