// SPDX-License-Identifier: Apache-2.0
// A progress bar on stderr where that is a terminal, and nothing elsewhere.
#pragma once

#include <cstdint>

namespace tavix::examples {

class ProgressBar {
 public:
  // total: 0 when it is not known.
  explicit ProgressBar(int64_t total);
  ~ProgressBar() { clear(); }
  ProgressBar(const ProgressBar &) = delete;
  ProgressBar &operator=(const ProgressBar &) = delete;

  void show(int64_t done);

  // Leaves the line to others.
  void clear();

 private:
  bool terminal_;
  bool drawn_ = false;
  int64_t total_;
};

}  // namespace tavix::examples
