// SPDX-License-Identifier: Apache-2.0
// The mistake that the thread sanitizer must find in row loops: a body that folds without a lock.
#include <cstdio>

#include "common/parallel/tavix_parallel_wrapper.h"

namespace {

using namespace tavix::module;

class UnlockedSum final : public ParallelLoopBody {
 public:
  explicit UnlockedSum(int &sum) : sum_(sum) {}
  void operator()(const Range &rows) const override {
    for (int32_t y = rows.start; y < rows.end; ++y) sum_ += y;
  }

 private:
  int &sum_;
};

}  // namespace

int main() {
  worker_count = 8;
  int sum = 0;
  parallel_for_({0, 64, 1}, UnlockedSum(sum), -1.0);
  std::printf("sum %d\n", sum);
}
