// SPDX-License-Identifier: Apache-2.0
// Allocations without exceptions that fail on request. A test executable that links this replaces
// new (std::nothrow) for itself and the library's objects.
//
//   { const FailingNew second(2); EXPECT_REFUSED(...); }
#pragma once

namespace tavix::test {

// The nth such allocation of this thread from now fails.
class FailingNew {
 public:
  explicit FailingNew(int nth);
  ~FailingNew();
  FailingNew(const FailingNew &) = delete;
  FailingNew &operator=(const FailingNew &) = delete;
};

}  // namespace tavix::test
