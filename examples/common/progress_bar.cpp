// SPDX-License-Identifier: Apache-2.0
#include "common/progress_bar.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>

namespace tavix::examples {

ProgressBar::ProgressBar(int64_t total) : terminal_(isatty(STDERR_FILENO)), total_(total) {}

void ProgressBar::show(int64_t done) {
  if (!terminal_) return;
  drawn_ = true;
  if (total_ <= 0) {
    fmt::print(stderr, "\r{} frames", done);
    return;
  }
  constexpr int64_t kWidth = 40;
  const int64_t all = std::max(total_, done);
  fmt::print(stderr, "\r[{:<{}}] {:3}%  {}/{} frames", std::string(kWidth * done / all, '='),
             kWidth, 100 * done / all, done, all);
}

void ProgressBar::clear() {
  if (std::exchange(drawn_, false)) fmt::print(stderr, "\r\033[K");
}

}  // namespace tavix::examples
