// SPDX-License-Identifier: Apache-2.0
#include "support/failing_new.h"

#include <cstddef>
#include <new>

namespace tavix::test {

namespace {
thread_local int countdown = 0;

bool due() {
  return countdown > 0 && --countdown == 0;
}

template <class Allocate>
void *allocate(Allocate allocation) noexcept {
  if (due()) return nullptr;
  try {
    return allocation();
  } catch (const std::bad_alloc &) {
    return nullptr;
  }
}
}  // namespace

FailingNew::FailingNew(int nth) {
  countdown = nth;
}
FailingNew::~FailingNew() {
  countdown = 0;
}

}  // namespace tavix::test

void *operator new(std::size_t size, const std::nothrow_t &) noexcept {
  return tavix::test::allocate([=] { return ::operator new(size); });
}
void *operator new[](std::size_t size, const std::nothrow_t &) noexcept {
  return tavix::test::allocate([=] { return ::operator new[](size); });
}
