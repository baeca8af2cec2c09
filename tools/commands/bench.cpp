// SPDX-License-Identifier: Apache-2.0
// How fast an operation is on this machine beside the same work by OpenCV and beside copying the
// bytes that it reads and writes: ratios alone, for times say more about the machine.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <limits>

#include "bench/operations.h"
#include "commands/commands.h"
#include "program/command.h"
#include "program/progress.h"

namespace tavix::tool {

namespace {

constexpr const char *kDescription =
    "Measures operations on this machine beside OpenCV, and beside copying the bytes that they "
    "read and write: prints how many times as long the others take. Each runs on as many "
    "threads as it chooses.";

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

double time_of(const std::function<void()> &work) {
  const Clock::time_point start = Clock::now();
  work();
  return Seconds(Clock::now() - start).count();
}

// The shortest time of each, measured in turns for so many seconds, so that what else the machine
// does meets all alike.
std::vector<double> shortest_times(const std::vector<std::function<void()>> &works,
                                   double seconds) {
  std::vector<double> shortest(works.size(), std::numeric_limits<double>::infinity());
  for (const auto &work : works) work();  // threads and tables are made
  const Clock::time_point start = Clock::now();
  int rounds = 0;
  while (Seconds(Clock::now() - start).count() < seconds || rounds < 5) {
    check_interrupted();
    for (size_t i = 0; i < works.size(); ++i)
      shortest[i] = std::min(shortest[i], time_of(works[i]));
    ++rounds;
  }
  return shortest;
}

struct Options {
  explicit Options(Command &command);

  std::vector<std::string> names;
  int width = 1920, height = 1080;
  double seconds = 0.5;
};

Options::Options(Command &command) {
  CLI::App &app = command.app();
  std::vector<std::string> all;
  for (const Operation &operation : operations()) all.push_back(operation.name);
  app.add_option("OPERATION", names, "operations to measure (default: all)")
      ->check(CLI::IsMember(all).description(""))
      ->type_name(fmt::format("{{{}}}", fmt::join(all, ",")));
  const auto even = [](const std::string &text) {
    return std::stol(text, nullptr, 0) % 2 == 0 ? std::string() : text + " is odd";
  };
  const auto add_side = [&](const char *name, int &side) {
    app.add_option(name, side, "pixels, an even number from 2 to 8192")
        ->check(CLI::Range(2, 8192).description(""))
        ->check(CLI::Validator(even, ""))
        ->type_name("N")
        ->capture_default_str();
  };
  add_side("--width", width);
  add_side("--height", height);
  app.add_option("--seconds", seconds, "how long to measure each operation")
      ->check(CLI::PositiveNumber.description(""))
      ->type_name("SECONDS")
      ->capture_default_str();
}

int measure(const Command &command, const Options &options) {
  std::vector<Operation> chosen;
  std::ranges::copy_if(operations(), std::back_inserter(chosen), [&](const Operation &operation) {
    return options.names.empty() || std::ranges::count(options.names, operation.name) > 0;
  });
  const std::shared_ptr<const Workspace> workspace = make_workspace(options.width, options.height);
  Json result = {{"width", options.width}, {"height", options.height}};
  result["operations"] = Json::object();
  std::string text = fmt::format(
      "{} x {} pixels; the time of the others divided by ours\n\n{:<18}{:>10}{:>10}   {}\n",
      options.width, options.height, "operation", "OpenCV", "memcpy", "OpenCV's work");
  Progress progress(int64_t(chosen.size()), "operations");
  for (const Operation &operation : chosen) {
    // Half of the bytes are read, half written.
    const size_t bytes = size_t(operation.bytes / 2 * options.width * options.height);
    std::vector<uint8_t> from(bytes, 1), to(bytes);
    const std::vector<double> times =
        shortest_times({[&] { operation.ours(*workspace); }, [&] { operation.opencv(*workspace); },
                        [&] { std::memcpy(to.data(), from.data(), bytes); }},
                       options.seconds);
    const double opencv = times[1] / times[0], copy = times[2] / times[0];
    result["operations"][operation.name] = {{"opencv", opencv}, {"memcpy", copy}};
    text += fmt::format("{:<18}{:>10.2f}{:>10.2f}   {}\n", operation.name, opencv, copy,
                        operation.peer);
    progress.show(int64_t(result["operations"].size()));
  }
  progress.clear();
  return command.print(result, text);
}

}  // namespace

void add_bench(CLI::App &program) {
  add_command(program, "bench", kDescription, measure);
}

}  // namespace tavix::tool
