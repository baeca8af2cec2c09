// SPDX-License-Identifier: Apache-2.0
#include "program/progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

namespace tavix::tool {

namespace {

constexpr std::chrono::milliseconds kOnTerminal(100), kElsewhere(5000);

// "1:05", or "1:02:03".
std::string clock_time(double seconds) {
  const int64_t all = std::llround(seconds), hours = all / 3600;
  const std::string minutes =
      hours > 0 ? fmt::format("{}:{:02}", hours, all / 60 % 60) : fmt::format("{}", all / 60);
  return fmt::format("{}:{:02}", minutes, all % 60);
}

// Whole numbers, and what is less than ten with a decimal.
std::string shown(double rate) {
  return fmt::format("{:.{}f}", rate, rate < 10 ? 1 : 0);
}

std::string bar(double part) {
  constexpr int kWidth = 30;
  return fmt::format("[{:<{}}] {:3.0f} %  ", std::string(size_t(kWidth * part), '='), kWidth,
                     100 * part);
}

}  // namespace

Progress::Progress(int64_t total, std::string what)
    : terminal_(isatty(STDERR_FILENO)), total_(total), what_(std::move(what)) {}

void Progress::show(int64_t done) {
  const Clock::time_point now = Clock::now();
  if (now - shown_ < (terminal_ ? kOnTerminal : kElsewhere)) return;
  shown_ = now;
  const double rate = double(done) / std::chrono::duration<double>(now - start_).count();
  std::string line = fmt::format("{} {}, {} {}/s", done, what_, shown(rate), what_);
  if (total_ > 0) {
    const int64_t all = std::max(total_, done);
    line = fmt::format("{} of {} {}, {} {}/s, {} left", done, all, what_, shown(rate), what_,
                       clock_time(double(all - done) / rate));
    if (terminal_) line = bar(double(done) / double(all)) + line;
  }
  std::fputs((terminal_ ? "\r\033[K" + line : line + "\n").c_str(), stderr);
  drawn_ = terminal_;
}

void Progress::clear() {
  if (std::exchange(drawn_, false)) fmt::print(stderr, "\r\033[K");
}

}  // namespace tavix::tool
