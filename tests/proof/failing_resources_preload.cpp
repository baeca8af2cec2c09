// SPDX-License-Identifier: Apache-2.0
// The injector for programs that preload it, by names that need no header.
#include "failing_resources.h"

using namespace tavix::proof;

#define TAVIX_FOR_CTYPES extern "C" __attribute__((visibility("default")))

TAVIX_FOR_CTYPES void fail_request_from(int64_t nth, int how) {
  fail_request(nth, Failure(how));
}
TAVIX_FOR_CTYPES int64_t stop_and_count() {
  return stop_failing();
}
