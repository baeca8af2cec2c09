// SPDX-License-Identifier: Apache-2.0
// Races between calls: by results here, by every access under the thread sanitizer, and with the
// threads of the real arena under Valgrind (scripts/check-races).
#include "eight_threads.h"

#include <gtest/gtest.h>

#include "support/sweep.h"

namespace tavix::proof {
namespace {

TEST(EightThreads, GetTheResultsOfOneWhileArenasComeAndGo) {
  EightThreads threads;
  int rounds = test::by_effort(400, 4);
  EXPECT_EQ(threads.run(20, [&] { return --rounds > 0; }), std::vector<std::string>{});
  EXPECT_EQ(rounds, 0);
}

}  // namespace
}  // namespace tavix::proof
