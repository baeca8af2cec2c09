// SPDX-License-Identifier: Apache-2.0
// One valid call of each exported function, of each service and of each function for applications,
// on records that are ready beforehand.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "support/guarded_frame.h"

namespace tavix::proof {

// The memory that a call writes, and what it made.
struct Result {
  std::vector<uint8_t> bytes;
  bool made_something = false;
};

struct Subject {
  std::string name;  // of the function
  // At most so many error lines come with a refusal.
  int lines;
  // Calls it; the status, or TAVIX_ERROR_MEMORY for a null result.
  std::function<int32_t()> call;
  // The bytes that a successful call leaves; frees what it made, and all is as before the call.
  std::function<Result()> take;
  // A use of tavix/frame.hpp instead of one function.
  bool of_layer = false;
};

// On records of their own, which stay: to be made before anything fails.
std::vector<Subject> subjects(const test::FrameLayout &layout = {});

}  // namespace tavix::proof
