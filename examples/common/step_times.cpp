// SPDX-License-Identifier: Apache-2.0
#include "common/step_times.h"

#include <fmt/format.h>

#include <algorithm>

namespace tavix::examples {

StepTimes::Clock::duration &StepTimes::time_of(std::string_view name) {
  const auto step = std::ranges::find(steps_, name, &Step::name);
  return step != steps_.end() ? step->time : steps_.emplace_back(Step{name, {}}).time;
}

void StepTimes::print(int64_t frames, int64_t pixels) const {
  std::deque<Step> rows = steps_;
  Step all = {"all", {}};
  for (const Step &step : steps_) all.time += step.time;
  rows.push_back(all);

  fmt::print("{:<20}{:>12}{:>12}{:>12}\n", "step", "ms/frame", "MPixel/s", "frames/s");
  for (const auto &[name, time] : rows) {
    const double seconds = std::chrono::duration<double>(time).count() / double(frames);
    fmt::print("{:<20}{:>12.3f}{:>12.0f}{:>12.0f}\n", name, 1e3 * seconds,
               double(pixels) / seconds / 1e6, 1 / seconds);
  }
}

}  // namespace tavix::examples
