// SPDX-License-Identifier: Apache-2.0
// What is run in every implementation: each operation that has several, over its formats.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <variant>
#include <vector>

namespace tavix::selfcheck {

// All elements that an operation wrote.
using Result = std::variant<std::vector<uint8_t>, std::vector<float>, std::vector<double>>;

struct Case {
  std::string name;
  std::function<Result()> run;
  // How far the portable result may be from the others: so many steps of a byte, or so large a part
  // of a value. Zero where they are defined to be equal.
  int steps = 0;
  double part = 0;
};

std::vector<Case> all_cases();

}  // namespace tavix::selfcheck
