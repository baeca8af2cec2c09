// SPDX-License-Identifier: Apache-2.0
#include "support/scarce_memory.h"

#include <atomic>
#include <new>

// What calloc is when nothing stands in front of it: a sanitizer's, where there is one.
extern "C" void *__libc_calloc(size_t count, size_t bytes);
extern "C" __attribute__((weak)) void *__interceptor_calloc(size_t count, size_t bytes);

namespace {

// Allocations until the one that fails; 0: none does.
std::atomic<int> until_new_fails = 0;
int until_calloc_fails = 0;
thread_local size_t asked_of_new = 0, asked_of_calloc = 0;

void *allocate(void *(*throwing)(size_t), size_t bytes) noexcept {
  asked_of_new = bytes;
  if (until_new_fails > 0 && --until_new_fails == 0) return nullptr;
  try {
    return throwing(bytes);
  } catch (const std::bad_alloc &) {
    return nullptr;
  }
}

}  // namespace

// Visible to the core too, whose calls come here instead of to the runtime.
__attribute__((visibility("default"))) void *operator new(size_t bytes,
                                                          const std::nothrow_t &) noexcept {
  return allocate(::operator new, bytes);
}
__attribute__((visibility("default"))) void *operator new[](size_t bytes,
                                                            const std::nothrow_t &) noexcept {
  return allocate(::operator new[], bytes);
}

// Threads come here before the thread sanitizer knows them.
extern "C" __attribute__((visibility("default"), no_sanitize("thread"))) void *calloc(
    size_t count, size_t bytes) noexcept {
  asked_of_calloc = count * bytes;
  if (__atomic_load_n(&until_calloc_fails, __ATOMIC_RELAXED) > 0 &&
      __atomic_sub_fetch(&until_calloc_fails, 1, __ATOMIC_RELAXED) == 0)
    return nullptr;
  return __interceptor_calloc ? __interceptor_calloc(count, bytes) : __libc_calloc(count, bytes);
}

// Sanitizers return null for what they cannot allocate, as the system does.
extern "C" __attribute__((visibility("default"))) const char *__asan_default_options() {
  return "allocator_may_return_null=1";
}
extern "C" __attribute__((visibility("default"))) const char *__tsan_default_options() {
  return "allocator_may_return_null=1";
}

void tavix::test::fail_nothrow_new(int nth) {
  until_new_fails = nth;
}

void tavix::test::fail_calloc(int nth) {
  __atomic_store_n(&until_calloc_fails, nth, __ATOMIC_RELAXED);
}

size_t tavix::test::last_nothrow_new_bytes() {
  return asked_of_new;
}

size_t tavix::test::last_calloc_bytes() {
  return asked_of_calloc;
}
