// SPDX-License-Identifier: Apache-2.0
// Makes operator new(nothrow), which records are allocated with, fail on demand.
#pragma once

namespace tavix::test {

// Allocation number nth from now fails, once; 0: none.
void fail_nothrow_new(int nth);

}  // namespace tavix::test
