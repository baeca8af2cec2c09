// SPDX-License-Identifier: Apache-2.0
// How long each step of the work on a video takes: a stopwatch for each, and their table.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <string_view>

namespace tavix::examples {

class StepTimes {
 public:
  // The result of work(), whose time counts for the step of that name.
  template <class Work>
  decltype(auto) run(std::string_view step, const Work &work) {
    const Stopwatch stopwatch(time_of(step));
    return work();
  }

  // Milliseconds for each frame of so many pixels, and throughput; steps in order of their first
  // run.
  void print(int64_t frames, int64_t pixels) const;

 private:
  using Clock = std::chrono::steady_clock;

  class Stopwatch {
   public:
    explicit Stopwatch(Clock::duration &sum) : sum_(sum) {}
    ~Stopwatch() { sum_ += Clock::now() - start_; }

   private:
    Clock::duration &sum_;
    Clock::time_point start_ = Clock::now();
  };

  struct Step {
    std::string_view name;
    Clock::duration time;
  };

  Clock::duration &time_of(std::string_view name);

  std::deque<Step> steps_;  // stopwatches hold references
};

}  // namespace tavix::examples
