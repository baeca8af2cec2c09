// SPDX-License-Identifier: Apache-2.0
#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/info.h>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/task_arena.h>

#include "common/parallel/tavix_parallel_wrapper.h"

namespace tavix::module {

namespace {

// oneTBB looks at the processors once. Where that look runs out of memory, every later one waits
// for it for ever: it is taken at load, when memory is at hand.
[[maybe_unused]] const int processors = []() noexcept {
  try {
    return tbb::info::default_concurrency();
  } catch (...) {
    return 0;
  }
}();

}  // namespace

// One slot is reserved for the calling thread.
class StripeArena::Threads : public tbb::task_arena {
 public:
  explicit Threads(int max_concurrency)
      : tbb::task_arena(max_concurrency, 1, tbb::task_arena::priority::normal) {
    // An arena whose initialisation failed would wait for it for ever: none is left behind.
    initialize();
  }
};

StripeArena::StripeArena(int max_concurrency)
    : threads_(std::make_unique<Threads>(max_concurrency)) {}
StripeArena::~StripeArena() = default;

void StripeArena::run(int stripes, const Job &job) {
  threads_->execute([&] {
    tbb::task_group_context context;
    tbb::parallel_for(
        tbb::blocked_range<int>(0, stripes, 1),
        [&](const tbb::blocked_range<int> &range) { job(range.begin(), range.end()); },
        tbb::auto_partitioner(), context);
  });
}

}  // namespace tavix::module
