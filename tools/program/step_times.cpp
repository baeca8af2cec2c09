// SPDX-License-Identifier: Apache-2.0
#include "program/step_times.h"

#include <fmt/format.h>

#include <algorithm>

namespace tavix::tool {

namespace {

double seconds(std::chrono::steady_clock::duration time) {
  return std::chrono::duration<double>(time).count();
}

}  // namespace

void StepTimes::add(std::string_view name, Clock::duration time) {
  const std::lock_guard lock(mutex_);
  const auto step = std::ranges::find(steps_, name, &Step::name);
  if (step == steps_.end()) {
    steps_.push_back({name, time});
  } else {
    step->time += time;
  }
}

std::string StepTimes::table(int64_t frames, int64_t pixels) const {
  std::deque<Step> rows = steps_;
  Step all = {"all", {}};
  for (const Step &step : steps_) all.time += step.time;
  rows.push_back(all);

  std::string text =
      fmt::format("{:<20}{:>12}{:>12}{:>12}\n", "step", "ms/frame", "MPixel/s", "frames/s");
  for (const auto &[name, time] : rows) {
    const double each = seconds(time) / double(frames);
    text += fmt::format("{:<20}{:>12.3f}{:>12.0f}{:>12.0f}\n", name, 1e3 * each,
                        double(pixels) / each / 1e6, 1 / each);
  }
  return text;
}

Json StepTimes::json(int64_t frames) const {
  Json steps = Json::object();
  for (const Step &step : steps_)
    steps[std::string(step.name)] = 1e3 * seconds(step.time) / double(frames);
  return steps;
}

}  // namespace tavix::tool
