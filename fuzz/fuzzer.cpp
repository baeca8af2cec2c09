// SPDX-License-Identifier: Apache-2.0
// A fuzzer of one family. The first expectation that fails ends it.
#include <gtest/gtest.h>

#include "target.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  GTEST_FLAG_SET(throw_on_failure, true);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  tavix::fuzz::try_input(tavix::fuzz::TAVIX_FUZZ_FAMILY, data, size);
  return 0;
}
