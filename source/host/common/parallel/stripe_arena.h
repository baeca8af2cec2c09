// SPDX-License-Identifier: Apache-2.0
// The threads that run stripes. One implementation is linked: oneTBB, or plain threads for builds
// whose sanitizer cannot follow oneTBB.
#pragma once

#include <functional>
#include <memory>

namespace tavix::module {

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

}  // namespace tavix::module
