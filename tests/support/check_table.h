// SPDX-License-Identifier: Apache-2.0
// The checks of one entry as a table: what is wrong, the status, and the whole log line. Each fault
// is tried alone, then together with every later one, which it must win over.
//
//   struct Call { ...; int32_t run(); bool untouched() const; };   // valid until a fault changes
//   it const Check<Call> kChecks[] = {{"null src", [](Call &c) { c.src = nullptr; },
//                                   TAVIX_ERROR_INVALID_PARAM, [](const Call &c) { ... }}, ...};
//   expect_checks(kChecks, kUnit, "TavixFrame...ByCPU");
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <iterator>
#include <string>
#include <type_traits>

#include "support/core_double.h"

namespace tavix::test {

template <class Subject>
struct Check {
  using Call = Subject;
  const char *name;
  void (*fault)(Call &call);
  int32_t status;
  std::string (*text)(const Call &call);  // after the faults; null: nothing is logged
};

template <class Call>
void expect_refusal(Call &call, const Check<Call> &check, const std::string &unit,
                    const std::string &function) {
  EXPECT_EQ(call.run(), check.status);
  if (check.text == nullptr)
    EXPECT_TRUE(logged_nothing());
  else
    EXPECT_LOGGED(TAVIX_LOG_ERROR, unit, function, check.text(call));
  EXPECT_TRUE(call.untouched()) << "something was written";
}

// checks: an array, or a vector where tables share rows.
template <class Checks>
void expect_checks(const Checks &checks, const std::string &unit, const std::string &function) {
  using Call = typename std::remove_cvref_t<decltype(*std::begin(checks))>::Call;
  for (size_t i = 0; i < std::size(checks); ++i) {
    SCOPED_TRACE(checks[i].name);
    Call alone;
    checks[i].fault(alone);
    expect_refusal(alone, checks[i], unit, function);
    for (size_t later = i + 1; later < std::size(checks); ++later) {
      SCOPED_TRACE(::testing::Message() << "together with " << checks[later].name);
      Call both;
      checks[later].fault(both);
      checks[i].fault(both);
      expect_refusal(both, checks[i], unit, function);
    }
  }
}

}  // namespace tavix::test
