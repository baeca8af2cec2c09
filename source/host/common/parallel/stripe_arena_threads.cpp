// SPDX-License-Identifier: Apache-2.0
// One plain thread for each stripe beyond the caller's: slow, and every access is seen by the
// thread sanitizer.
#include <atomic>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

#include "common/parallel/tavix_parallel_wrapper.h"

namespace tavix::module {

class StripeArena::Threads {};

StripeArena::StripeArena(int) {}
StripeArena::~StripeArena() = default;

void StripeArena::run(int stripes, const Job &job) {
  std::atomic<bool> cancelled = false;
  std::mutex mutex;
  std::exception_ptr failure;
  const auto run_one = [&](int stripe) {
    if (cancelled) return;
    try {
      job(stripe, stripe + 1);
    } catch (...) {
      cancelled = true;
      const std::lock_guard lock(mutex);
      if (!failure) failure = std::current_exception();
    }
  };

  std::vector<std::jthread> threads;
  for (int stripe = 1; stripe < stripes; ++stripe) threads.emplace_back(run_one, stripe);
  run_one(0);
  threads.clear();
  if (failure) std::rethrow_exception(failure);
}

}  // namespace tavix::module
