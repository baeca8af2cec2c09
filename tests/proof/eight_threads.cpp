// SPDX-License-Identifier: Apache-2.0
#include "eight_threads.h"

#include <pthread.h>

#include <algorithm>
#include <exception>
#include <thread>

#include "common/parallel/tavix_parallel_wrapper.h"
#include "cpu_dispatch/cpu_features.h"
#include "support/fill.h"
#include "tavix/core.h"

namespace tavix::proof {

namespace {

// Nothing may run while the core is de-initialised, and the log has a sink of its own here.
bool left_out(const Subject &subject) {
  return subject.name == "TavixDeinitialize" || subject.name == "TavixLoggerLogV2" ||
         (subject.name.ends_with("AVX") && !module::use_avx2());
}

std::string complaint_of(const Subject &subject, const std::vector<uint8_t> &right) {
  try {
    const int32_t status = subject.call();
    if (status != TAVIX_OK) return subject.name + " returned " + std::to_string(status);
    return subject.take().bytes == right ? "" : subject.name + " had another result";
  } catch (const std::exception &exception) {
    return subject.name + " threw: " + exception.what();
  }
}

}  // namespace

EightThreads::EightThreads() {
  TavixLoggerSetSink([](void *, int32_t, const char *, const char *, int32_t, const char *) {},
                     nullptr);
  module::worker_count = 1;
  for (int thread = 0; thread < kThreads; ++thread) {
    subjects_.push_back(subjects());
    std::erase_if(subjects_.back(), left_out);
  }
  for (const Subject &subject : subjects_[0]) {
    subject.call();
    right_.push_back(subject.take().bytes);
  }
  module::worker_count = 8;
}

std::vector<std::string> EightThreads::run(int calls, const std::function<bool()> &go_on) {
  std::vector<std::string> complaints(kThreads);
  pthread_barrier_t barrier;  // which the checkers of races know
  pthread_barrier_init(&barrier, nullptr, kThreads);
  bool more = true;
  const auto run_one = [&](size_t thread) {
    const std::vector<Subject> &own = subjects_[thread];
    test::Random random(thread);
    while (more) {
      for (int i = 0; i < calls && complaints[thread].empty(); ++i) {
        const auto k = size_t(random.below(int32_t(own.size())));
        complaints[thread] = complaint_of(own[k], right_[k]);
      }
      if (pthread_barrier_wait(&barrier) == PTHREAD_BARRIER_SERIAL_THREAD) {
        TavixDeinitialize();
        more = std::ranges::all_of(complaints, &std::string::empty) && go_on();
      }
      pthread_barrier_wait(&barrier);
    }
  };
  {
    std::vector<std::jthread> threads;
    for (size_t thread = 0; thread < kThreads; ++thread) threads.emplace_back(run_one, thread);
  }
  pthread_barrier_destroy(&barrier);
  std::erase(complaints, "");
  return complaints;
}

}  // namespace tavix::proof
