// SPDX-License-Identifier: Apache-2.0
#include "support/scarce_memory.h"

#include <atomic>
#include <new>

namespace {

std::atomic<int> until_failure = 0;

void *allocate(void *(*throwing)(size_t), size_t bytes) noexcept {
  if (until_failure > 0 && --until_failure == 0) return nullptr;
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

// Sanitizers return null for what they cannot allocate, as the system does.
extern "C" __attribute__((visibility("default"))) const char *__asan_default_options() {
  return "allocator_may_return_null=1";
}
extern "C" __attribute__((visibility("default"))) const char *__tsan_default_options() {
  return "allocator_may_return_null=1";
}

void tavix::test::fail_nothrow_new(int nth) {
  until_failure = nth;
}
