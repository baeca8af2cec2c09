// SPDX-License-Identifier: Apache-2.0
// Makes operator new(nothrow), which records are allocated with, and calloc, which gives
// zero-filled storage, fail on demand.
#pragma once

#include <cstddef>

namespace tavix::test {

// Allocation number nth from now fails, once; 0: none.
void fail_nothrow_new(int nth);
void fail_calloc(int nth);

// What this thread asked each for last.
size_t last_nothrow_new_bytes();
size_t last_calloc_bytes();

}  // namespace tavix::test
