// SPDX-License-Identifier: Apache-2.0
// Eight threads that call functions of all families at once, each on records of its own and in an
// order of its own. What a call leaves must be what it leaves when nothing else runs.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "calls.h"

namespace tavix::proof {

class EightThreads {
 public:
  // Asks one thread first. From here on there are 8 workers.
  EightThreads();

  // Rounds in which every thread makes so many calls; after each the core is de-initialised, and
  // the arena with it, and go_on is asked. Ends with the first complaint of a thread too. Returns
  // the complaints.
  std::vector<std::string> run(int calls, const std::function<bool()> &go_on);

 private:
  static constexpr int kThreads = 8;

  std::vector<std::vector<Subject>> subjects_;  // of each thread
  std::vector<std::vector<uint8_t>> right_;     // of each subject
};

}  // namespace tavix::proof
