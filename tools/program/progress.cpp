// SPDX-License-Identifier: Apache-2.0
#include "program/progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
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

std::string bar(double part) {
  constexpr int kWidth = 30;
  return fmt::format("[{:<{}}] {:3.0f} %  ", std::string(size_t(kWidth * part), '='), kWidth,
                     100 * part);
}

}  // namespace

Progress::Progress(int64_t total) : terminal_(isatty(STDERR_FILENO)), total_(total) {}

void Progress::show(int64_t done) {
  const Clock::time_point now = Clock::now();
  if (now - shown_ < (terminal_ ? kOnTerminal : kElsewhere)) return;
  shown_ = now;
  const double rate = double(done) / std::chrono::duration<double>(now - start_).count();
  std::string line = fmt::format("{} frames, {:.0f} frames/s", done, rate);
  if (total_ > 0) {
    const int64_t all = std::max(total_, done);
    line = fmt::format("{} of {} frames, {:.0f} frames/s, {} left", done, all, rate,
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
