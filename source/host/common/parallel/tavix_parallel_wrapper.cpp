// SPDX-License-Identifier: Apache-2.0
#include "common/parallel/tavix_parallel_wrapper.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <mutex>
#include <thread>

#include "common/log.h"

namespace tavix::module {

namespace {

constexpr auto &kUnit = kParallelUnit;

std::mutex arena_mutex;  // guards the pointer only: loops run outside the lock
StripeArena *tbb_arena = nullptr;

}  // namespace

int32_t worker_count_for(int32_t processors) {
  return std::clamp(processors - processors / 10 - 2, 1, 8);
}

uint8_t worker_count = uint8_t(worker_count_for(int32_t(std::thread::hardware_concurrency())));

ParallelLoopBody::~ParallelLoopBody() = default;

ParallelLoopBodyWrapper::ParallelLoopBodyWrapper(const ParallelLoopBody &body, const Range &whole,
                                                 double stripes)
    : body_(body),
      whole_(whole),
      stripes_(stripes >= 1.0 ? std::min(stripes, double(std::numeric_limits<int>::max()))
                              : worker_count),
      stripe_rows_(int32_t(std::ceil((double(whole.end) - whole.start) / stripes_))) {}

void ParallelLoopBodyWrapper::operator()(const Range &stripes) const {
  const int64_t first = int64_t(stripes.start) * stripe_rows_ + whole_.start;
  if (first >= whole_.end) return;
  const int64_t last = first + int64_t(stripe_rows_) * (stripes.end - stripes.start);
  body_({int32_t(first), int32_t(std::min<int64_t>(last, whole_.end)), 1});
}

StripeArena &ParallelLoopBodyWrapper::arena() {
  const std::lock_guard lock(arena_mutex);
  if (tbb_arena == nullptr) Initialize();
  return *tbb_arena;
}

void ParallelLoopBodyWrapper::Initialize() {
  // The arena is kept once it is registered: where either fails, the next call starts anew.
  auto arena = std::make_unique<StripeArena>(worker_count);
  TavixAtDeinitializeRegister(&ParallelLoopBodyWrapper::Deinitialize);
  tbb_arena = arena.release();
  constexpr LogOrigin by = {kUnit, "tavix::module::ParallelLoopBodyWrapper::Initialize"};
  TAVIX_LOG_AS(by, TAVIX_LOG_INFO, "tbb_arena_:%p created", static_cast<void *>(tbb_arena));
}

void ParallelLoopBodyWrapper::Deinitialize() {
  constexpr LogOrigin by = {kUnit, "tavix::module::ParallelLoopBodyWrapper::Deinitialize"};
  const std::lock_guard lock(arena_mutex);
  TAVIX_LOG_AS(by, TAVIX_LOG_INFO, "parallel cleanup Enter, tbb_arena_:%p",
               static_cast<void *>(tbb_arena));
  delete tbb_arena;
  tbb_arena = nullptr;
  TAVIX_LOG_AS(by, TAVIX_LOG_INFO, "parallel cleanup Leave");
}

void parallel_for_(const Range &range, const ParallelLoopBody &body, double nstripes) {
  if (range.start >= range.end) return;
  if (worker_count == 1 || int64_t(range.end) - range.start == 1) return body(range);

  StripeArena &arena = ParallelLoopBodyWrapper::arena();
  const ParallelLoopBodyWrapper wrapper(body, range, nstripes);
  arena.run(wrapper.stripe_count(), [&wrapper](int first, int last) { wrapper({first, last, 1}); });
}

}  // namespace tavix::module
