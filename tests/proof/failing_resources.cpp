// SPDX-License-Identifier: Apache-2.0
#include "failing_resources.h"

#include <dlfcn.h>
#include <link.h>
#include <pthread.h>
#include <sys/mman.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>

// What stands behind malloc and its kin.
extern "C" {
void *__libc_malloc(size_t bytes);
void *__libc_calloc(size_t count, size_t bytes);
void *__libc_realloc(void *block, size_t bytes);
void *__libc_memalign(size_t alignment, size_t bytes);
void __libc_free(void *block);
}

namespace {

std::atomic<int64_t> requests = 0, first_failure = 0, blocks = 0;
std::atomic<void *> matrices[1 << 12] = {};  // data of OpenCV's matrices, anywhere in here
std::atomic<bool> all_after = false, failed = false;

// Counts a request; true when it must fail.
bool fails() {
  const int64_t first = first_failure.load(std::memory_order_relaxed);
  if (first == 0) return false;
  const int64_t number = requests.fetch_add(1, std::memory_order_relaxed) + 1;
  const bool fail = number == first || (number > first && all_after);
  if (fail) failed = true;
  return fail;
}

// Replaces one entry by another; whether there was one.
bool replace_matrix(void *old, void *with) {
  for (auto &matrix : matrices) {
    void *expected = old;
    if (matrix.load(std::memory_order_relaxed) == old &&
        matrix.compare_exchange_strong(expected, with))
      return true;
  }
  return false;
}

// Where OpenCV's code lies; empty until something is to fail.
std::atomic<uintptr_t> opencv_first = 0, opencv_last = 0;

void find_opencv() {
  dl_iterate_phdr(
      [](dl_phdr_info *library, size_t, void *) {
        if (std::strstr(library->dlpi_name, "libopencv_core") == nullptr) return 0;
        for (int i = 0; i < library->dlpi_phnum; ++i) {
          const auto &part = library->dlpi_phdr[i];
          if (part.p_type != PT_LOAD || (part.p_flags & PF_X) == 0) continue;
          opencv_first = library->dlpi_addr + part.p_vaddr;
          opencv_last = opencv_first + part.p_memsz;
        }
        return 1;
      },
      nullptr);
}

// OpenCV asks malloc itself for the data of matrices only, and loses it when there is no memory for
// the record beside it.
bool is_matrix(const void *caller) {
  return uintptr_t(caller) - opencv_first < opencv_last - opencv_first;
}

void *counted(void *block) {
  if (block != nullptr) blocks.fetch_add(1, std::memory_order_relaxed);
  return block;
}

void *no_memory() {
  errno = ENOMEM;
  return nullptr;
}

// The definition that this one hides.
template <class Function>
Function *next(Function *, const char *name) {
  return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

}  // namespace

#define TAVIX_IN_FRONT extern "C" __attribute__((visibility("default")))

TAVIX_IN_FRONT void *malloc(size_t bytes) {
  if (fails()) return no_memory();
  void *block = __libc_malloc(bytes);
  const bool matrix = block != nullptr && is_matrix(__builtin_return_address(0));
  return matrix && replace_matrix(nullptr, block) ? block : counted(block);
}
TAVIX_IN_FRONT void *calloc(size_t count, size_t bytes) {
  return fails() ? no_memory() : counted(__libc_calloc(count, bytes));
}
TAVIX_IN_FRONT void *realloc(void *block, size_t bytes) {
  if (fails()) return no_memory();
  void *moved = __libc_realloc(block, bytes);
  return block == nullptr ? counted(moved) : moved;
}
TAVIX_IN_FRONT void *memalign(size_t alignment, size_t bytes) {
  return fails() ? no_memory() : counted(__libc_memalign(alignment, bytes));
}
TAVIX_IN_FRONT void *aligned_alloc(size_t alignment, size_t bytes) {
  return memalign(alignment, bytes);
}
TAVIX_IN_FRONT int posix_memalign(void **block, size_t alignment, size_t bytes) {
  void *made = memalign(alignment, bytes);
  if (made == nullptr) return ENOMEM;
  *block = made;
  return 0;
}
TAVIX_IN_FRONT void free(void *block) {
  if (block == nullptr) return;
  const bool matrix = opencv_last != 0 && replace_matrix(block, nullptr);
  if (!matrix) blocks.fetch_sub(1, std::memory_order_relaxed);
  __libc_free(block);
}

TAVIX_IN_FRONT int pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                                  void *(*start)(void *), void *argument) {
  static const auto real = next(&pthread_create, "pthread_create");
  return fails() ? EAGAIN : real(thread, attributes, start, argument);
}

TAVIX_IN_FRONT void *mmap(void *address, size_t bytes, int protection, int flags, int file,
                          off_t offset) {
  static const auto real = next(&mmap, "mmap");
  return fails() ? (errno = ENOMEM, MAP_FAILED)
                 : real(address, bytes, protection, flags, file, offset);
}

namespace tavix::proof {

void fail_request(int64_t nth, Failure how) {
  if (opencv_last == 0) find_opencv();
  requests = 0, failed = false, all_after = how == Failure::from_then_on;
  first_failure = how == Failure::none ? INT64_MAX : nth;
}

int64_t stop_failing() {
  first_failure = 0;
  return requests;
}

bool has_failed() {
  return failed;
}

int64_t live_blocks() {
  return blocks;
}

}  // namespace tavix::proof
