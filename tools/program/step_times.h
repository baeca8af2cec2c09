// SPDX-License-Identifier: Apache-2.0
// How long each step of the work on a video takes: a stopwatch for each, and their table.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>

#include "program/command.h"

namespace tavix::tool {

class StepTimes {
 public:
  // The result of work(), whose time counts for the step of that name. Steps may run on several
  // threads at once; their times add up.
  template <class Work>
  decltype(auto) run(std::string_view step, const Work &work) {
    const Stopwatch stopwatch(*this, step);
    return work();
  }

  // Milliseconds for each frame of so many pixels, and throughput; steps in order of their first
  // end.
  std::string table(int64_t frames, int64_t pixels) const;
  Json json(int64_t frames) const;

 private:
  using Clock = std::chrono::steady_clock;

  class Stopwatch {
   public:
    Stopwatch(StepTimes &times, std::string_view step) : times_(times), step_(step) {}
    ~Stopwatch() { times_.add(step_, Clock::now() - start_); }

   private:
    StepTimes &times_;
    std::string_view step_;
    Clock::time_point start_ = Clock::now();
  };

  struct Step {
    std::string_view name;
    Clock::duration time;
  };

  void add(std::string_view name, Clock::duration time);

  std::mutex mutex_;
  std::deque<Step> steps_;
};

}  // namespace tavix::tool
