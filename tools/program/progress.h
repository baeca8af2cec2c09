// SPDX-License-Identifier: Apache-2.0
// How far the work is, on stderr: a bar with rate and time left on a terminal, elsewhere a plain
// line every few seconds.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace tavix::tool {

class Progress {
 public:
  // total: of what is counted; 0 when it is not known.
  explicit Progress(int64_t total, std::string what = "frames");
  ~Progress() { clear(); }
  Progress(const Progress &) = delete;
  Progress &operator=(const Progress &) = delete;

  void show(int64_t done);

  // Leaves the line to others.
  void clear();

 private:
  using Clock = std::chrono::steady_clock;

  bool terminal_;
  bool drawn_ = false;
  int64_t total_;
  std::string what_;
  Clock::time_point start_ = Clock::now(), shown_ = start_;
};

}  // namespace tavix::tool
