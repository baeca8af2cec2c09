// SPDX-License-Identifier: Apache-2.0
// Memory, threads and mappings that run out. An executable that links this has the malloc family
// (and with it every operator new), pthread_create and mmap of all its libraries go through here.
#pragma once

#include <cstdint>

namespace tavix::proof {

enum class Failure { none, once, from_then_on };

// Request number nth from now, of any kind, fails; with from_then_on every later one as well.
void fail_request(int64_t nth, Failure how);

// Nothing fails any more. Returns how many requests there were since fail_request.
int64_t stop_failing();

// Whether a request has failed since fail_request.
bool has_failed();

// Blocks of memory that are in use, the data of OpenCV's matrices aside.
int64_t live_blocks();

}  // namespace tavix::proof
