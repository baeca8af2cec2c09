// SPDX-License-Identifier: Apache-2.0
// The fuzz target with inputs that are the same in every run.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "support/fill.h"
#include "support/seams.h"
#include "support/sweep.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace tavix::test {
namespace {

TEST(Operations, TakeAnyRecords) {
  Random random(1);
  std::vector<uint8_t> input(512);
  for_each_path([&](const Path &) {
    for (int i = by_effort(8000, 800); i > 0; --i) {
      std::generate(input.begin(), input.end(), [&] { return uint8_t(random.next() >> 32); });
      LLVMFuzzerTestOneInput(input.data(), input.size());
    }
  });
}

}  // namespace
}  // namespace tavix::test
