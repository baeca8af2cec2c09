// SPDX-License-Identifier: Apache-2.0
// Row loops: a body runs over a range of rows, cut into one stripe for each worker. Ranges of one
// row and single-worker machines run on the caller's thread and never touch the arena.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace tavix::module {

// The threads that run stripes. One implementation is linked: oneTBB, or plain threads for builds
// whose sanitizer cannot follow oneTBB.
class StripeArena {
 public:
  // Runs stripes [first, last); called from several threads at once on disjoint ranges.
  using Job = std::function<void(int first, int last)>;

  explicit StripeArena(int max_concurrency);
  ~StripeArena();
  StripeArena(const StripeArena &) = delete;
  StripeArena &operator=(const StripeArena &) = delete;

  // Returns when every stripe in [0, stripes) is done. The calling thread takes part; an exception
  // of the job cancels what has not started and is rethrown here.
  void run(int stripes, const Job &job);

 private:
  class Threads;
  std::unique_ptr<Threads> threads_;
};

struct Range {
  int32_t start;  // first row
  int32_t end;    // one past the last row
  int32_t step;   // always 1
};

// A loop over rows. Called from several threads at once on disjoint ranges.
class ParallelLoopBody {
 public:
  virtual ~ParallelLoopBody();
  virtual void operator()(const Range &rows) const = 0;
};

// The stripes of one loop, and the arena that all loops share.
class ParallelLoopBodyWrapper final : public ParallelLoopBody {
 public:
  ParallelLoopBodyWrapper(const ParallelLoopBody &body, const Range &whole, double stripes);

  // Runs the body once over the rows of stripes [start, end); stripes beyond the last row are
  // empty.
  void operator()(const Range &stripes) const override;

  int stripe_count() const { return int(stripes_); }

  // The arena that all loops share: made on first use, released by the core's de-initialisation,
  // which must not race with a running loop.
  static StripeArena &arena();

 private:
  static void Initialize();
  static void Deinitialize();

  const ParallelLoopBody &body_;
  Range whole_;
  double stripes_;
  int32_t stripe_rows_;
};

// Runs body over range and returns when every row is done; nstripes below 1 means one stripe for
// each worker. An exception of the body is rethrown here.
void parallel_for_(const Range &range, const ParallelLoopBody &body, double nstripes);

// On all workers, or in the calling thread.
inline void run_rows(const Range &rows, const ParallelLoopBody &body, bool on_all_workers) {
  if (on_all_workers) {
    parallel_for_(rows, body, -1.0);
  } else if (rows.start < rows.end) {
    body(rows);
  }
}

// Workers for so many processors: a tenth and two are spared, at most 8 are used.
int32_t worker_count_for(int32_t processors);

// Workers of this process, computed at load. Only tests change it.
extern uint8_t worker_count;

}  // namespace tavix::module
