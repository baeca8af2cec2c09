// SPDX-License-Identifier: Apache-2.0
// The first parallel loop when memory or threads run out: its exception reaches the caller, and the
// next loop works.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <exception>

#include "support/core_double.h"
#include "support/seams.h"

// A sanitizer brings an allocator of its own, which nothing can stand in front of.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

namespace {

// Allocations until the one that fails; 0: none does.
std::atomic<int> until_failure = 0;

bool fails() {
  if (until_failure == 0 || --until_failure != 0) return false;
  errno = ENOMEM;
  return true;
}

}  // namespace

extern "C" {
void *__libc_malloc(size_t bytes);
void *__libc_calloc(size_t count, size_t bytes);

// Visible to oneTBB and its allocator, whose calls come here instead of to the runtime.
__attribute__((visibility("default"))) void *malloc(size_t bytes) noexcept {
  return fails() ? nullptr : __libc_malloc(bytes);
}
__attribute__((visibility("default"))) void *calloc(size_t count, size_t bytes) noexcept {
  return fails() ? nullptr : __libc_calloc(count, bytes);
}
__attribute__((visibility("default"))) void *mmap(void *address, size_t bytes, int protection,
                                                  int flags, int file, off_t offset) noexcept {
  if (fails()) return MAP_FAILED;
  return reinterpret_cast<void *>(
      syscall(SYS_mmap, address, bytes, protection, flags, file, offset));
}
}

namespace tavix::module {
namespace {

std::atomic<int> rows_run = 0;

class CountRows final : public ParallelLoopBody {
 public:
  void operator()(const Range &rows) const override { rows_run += rows.end - rows.start; }
};

// Whether a loop ran all of its rows; false when an exception left it.
bool loop_succeeds() {
  rows_run = 0;
  try {
    parallel_for_({0, 64, 1}, CountRows(), -1.0);
  } catch (const std::exception &) {
    return false;
  }
  return rows_run == 64;
}

// Codes of a child, none of them an exit code of the test program itself.
enum Exit { kSucceeded = 40, kFailedOnce, kNeverFailed, kBroken };

// In a process of its own: the first loop with one allocation failing, then another loop.
Exit run_with_failure(int nth) {
  alarm(20);  // a loop that waits for ever
  const test::ScopedWorkers eight(8);
  until_failure = nth;
  const bool first = loop_succeeds();
  const bool failed = until_failure.exchange(0) == 0;
  if (!loop_succeeds()) return kBroken;
  if (test::core_double().registered_callbacks().size() != 1) return kBroken;
  return !failed ? kNeverFailed : first ? kSucceeded : kFailedOnce;
}

TEST(ScarceArenaDeathTest, TheLoopAfterAFailedAllocationWorks) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  int exceptions = 0;
  // The child passes through here too, up to its own allocation, and never learns a code.
  for (int nth = 1, code = kSucceeded; code != kNeverFailed && code != kBroken; ++nth) {
    SCOPED_TRACE(::testing::Message() << "allocation " << nth);
    EXPECT_EXIT(
        std::_Exit(run_with_failure(nth)),
        [&code](int status) {
          code = WIFEXITED(status) ? WEXITSTATUS(status) : int(kBroken);
          return code >= kSucceeded && code < kBroken;
        },
        "");
    exceptions += code == kFailedOnce;
  }
  EXPECT_GT(exceptions, 0) << "the first loop needed no memory";
}

}  // namespace
}  // namespace tavix::module

#endif
