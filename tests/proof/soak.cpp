// SPDX-License-Identifier: Apache-2.0
// Rounds of eight threads for so many seconds and lives of the arena; tells what the process holds,
// and fails where that grows or a result differs.
//
//   soak SECONDS LIVES
#include <malloc.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "eight_threads.h"

namespace tavix::proof {
namespace {

constexpr int kCalls = 20;            // of each thread in a life of the arena
constexpr int64_t kWarmUp = 500;      // lives before anything is held against the process
constexpr int64_t kHeapKiB = 64;      // what may be in use on top
constexpr int64_t kMemoryKiB = 4096;  // what allocators may keep on top
// oneTBB 2021.8 never frees an arena in which a loop ran. Its memory is none of the heap's.
constexpr int64_t kArenaKiB = 40;
constexpr int64_t kThreads = 2;  // that may be ending while they are counted

struct Held {
  int64_t heap, memory, descriptors, threads;  // heap in use and memory in KiB
};

int64_t entries_of(const char *folder) {
  return std::distance(std::filesystem::directory_iterator(folder), {});
}

Held held() {
  Held now = {int64_t(mallinfo2().uordblks / 1024), 0, entries_of("/proc/self/fd"),
              entries_of("/proc/self/task")};
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;)
    if (word == "VmRSS:") status >> now.memory;
  return now;
}

int soak(double seconds, int64_t lives_wanted) {
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  const auto elapsed = [&] { return std::chrono::duration<double>(Clock::now() - start).count(); };
  EightThreads threads;
  Held first = {};
  double next_line = 0;
  int64_t lives = 0;
  bool grows = false;
  std::puts("seconds      calls   lives  heap KiB  memory KiB  descriptors  threads");
  const auto complaints = threads.run(kCalls, [&] {
    const bool done = ++lives >= lives_wanted && elapsed() >= seconds;
    if (lives == kWarmUp) first = held();
    if (!done && elapsed() < next_line) return true;
    next_line = elapsed() + 10;
    const Held now = held();
    std::printf("%7.0f  %9ld  %6ld  %8ld  %10ld  %11ld  %7ld\n", elapsed(),
                long(lives * 8 * kCalls), long(lives), long(now.heap), long(now.memory),
                long(now.descriptors), long(now.threads));
    std::fflush(stdout);
    grows = lives > kWarmUp &&
            (now.heap > first.heap + kHeapKiB ||
             now.memory > first.memory + kMemoryKiB + kArenaKiB * (lives - kWarmUp) ||
             now.descriptors > first.descriptors || now.threads > first.threads + kThreads);
    return !done && !grows;
  });
  for (const std::string &complaint : complaints) std::puts(complaint.c_str());
  if (grows) std::puts("the process grows");
  return grows || !complaints.empty() ? 1 : 0;
}

}  // namespace
}  // namespace tavix::proof

int main(int count, char **arguments) {
  if (count != 3) return std::fputs("usage: soak SECONDS LIVES\n", stderr), 2;
  return tavix::proof::soak(std::atof(arguments[1]), std::atol(arguments[2]));
}
