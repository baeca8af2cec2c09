// SPDX-License-Identifier: Apache-2.0
// A fault of the kind that a checker looks for. One that lets it pass checks nothing.
//
//   planted_fault overrun | overflow | race | leak
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <thread>

#include "common/parallel/tavix_parallel_wrapper.h"

namespace {

// Compilers know neither value.
volatile int size = 100;
volatile int largest = INT_MAX;
void *volatile kept;

void overrun() {
  auto *bytes = static_cast<volatile char *>(std::malloc(size_t(size)));
  bytes[size] = 1;
  kept = const_cast<char *>(bytes);
}

void overflow() {
  size = largest + size;
}

// Two stripes of a loop write the same number.
void race() {
  struct Body final : tavix::module::ParallelLoopBody {
    int *sum;
    explicit Body(int *total) : sum(total) {}
    void operator()(const tavix::module::Range &rows) const override {
      for (int32_t y = rows.start; y < rows.end; ++y) *sum += y;
      std::this_thread::yield();
    }
  };
  int sum = 0;
  tavix::module::worker_count = 8;
  for (int i = 0; i < 100; ++i) tavix::module::parallel_for_({0, 1000, 1}, Body(&sum), -1.0);
  std::printf("%d\n", sum);
}

void leak() {
  kept = std::malloc(size_t(size));
  kept = nullptr;
}

}  // namespace

int main(int count, char **arguments) {
  const std::string_view fault = count == 2 ? arguments[1] : "";
  if (fault == "overrun")
    overrun();
  else if (fault == "overflow")
    overflow();
  else if (fault == "race")
    race();
  else if (fault == "leak")
    leak();
  else
    return 2;
  std::puts("nothing noticed the fault");
  return 0;
}
