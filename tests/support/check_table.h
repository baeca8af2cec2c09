// SPDX-License-Identifier: Apache-2.0
// The checks of one function as a table: what is wrong, the status, and the whole log line. Each
// fault is tried alone, then together with every later one, which it must win over.
//
//   struct Call {  // valid until a fault changes it
//     static constexpr auto *kUnit = ..., *kFunction = "TavixFrame...ByCPU";
//     int32_t run();
//     bool untouched() const;
//   };
//   expect_checks<Call>({{"null src", [](Call &c) { c.src = nullptr; }, TAVIX_ERROR_INVALID_PARAM,
//                         [](const Call &c) { ... }}, ...});
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "support/core_double.h"

namespace tavix::test {

template <class Call>
struct Check {
  std::string name;
  std::function<void(Call &call)> fault;
  int32_t status;
  std::function<std::string(const Call &call)> text;  // after the faults; null: nothing is logged
};

template <class Call>
using Checks = std::vector<Check<Call>>;

template <class Call>
void expect_refusal(Call &call, const Check<Call> &check) {
  EXPECT_EQ(call.run(), check.status);
  if (check.text == nullptr)
    EXPECT_TRUE(logged_nothing());
  else
    EXPECT_LOGGED(TAVIX_LOG_ERROR, Call::kUnit, Call::kFunction, check.text(call));
  EXPECT_TRUE(call.untouched()) << "something was written";
}

template <class Call>
void expect_checks(const Checks<Call> &checks) {
  for (size_t i = 0; i < checks.size(); ++i) {
    SCOPED_TRACE(checks[i].name);
    Call alone;
    checks[i].fault(alone);
    expect_refusal(alone, checks[i]);
    for (size_t later = i + 1; later < checks.size(); ++later) {
      SCOPED_TRACE("together with " + checks[later].name);
      Call both;
      checks[later].fault(both);
      checks[i].fault(both);
      expect_refusal(both, checks[i]);
    }
  }
}

}  // namespace tavix::test
