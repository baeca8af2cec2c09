// SPDX-License-Identifier: Apache-2.0
// A fault of the kind that a checker looks for. One that lets it pass checks nothing.
//
//   planted_fault FAULT
#include <unistd.h>

#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <new>
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

// Beyond the end of a view, but not of the text: only the view knows.
void index() {
  size = std::string_view("fault").substr(0, 1)[size_t(size) / 100];
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

// What a program must not do with a file that it cannot read.

[[noreturn]] void refuse(int status) {
  std::fputs("tavix planted: a sentence\n", stderr);
  std::exit(status);
}

void leave_partial_output() {
  if (FILE *file = std::fopen("partial", "w")) std::fclose(file);
  refuse(1);
}

void hang() {
  for (;;) pause();
}

void take_all_memory() {
  for (;;) kept = new char[size_t(1) << 30];
}

constexpr struct {
  std::string_view name;
  void (*commit)();
} kFaults[] = {
    {"overrun", overrun},
    {"overflow", overflow},
    {"index", index},
    {"race", race},
    {"leak", leak},
    {"crash", [] { std::raise(SIGSEGV); }},
    {"hang", hang},
    {"partial", leave_partial_output},
    {"silence", [] { std::exit(0); }},
    {"no sentence", [] { std::exit(1); }},
    {"status", [] { refuse(3); }},
    {"memory", take_all_memory},
};

}  // namespace

int main(int count, char **arguments) {
  const std::string_view asked = count == 2 ? arguments[1] : "";
  for (const auto &[name, commit] : kFaults) {
    if (name != asked) continue;
    commit();
    std::puts("nothing noticed the fault");
    return 0;
  }
  return 2;
}
