// SPDX-License-Identifier: Apache-2.0
// The program behind "tavix selfcheck". It links the object files that the shared library is made
// of, so that it can choose the implementation that runs.
//
// Exit status: 0; 1 after a difference.
#include <fmt/format.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>

#include "selfcheck/cases.h"
#include "selfcheck/levels.h"
#include "tavix/frame.hpp"

namespace {

using namespace tavix;
using namespace tavix::selfcheck;

struct Difference {
  std::string operation;
  size_t element;
  double expected, actual;
  const char *expected_level, *actual_level;
};

// The first element that is too far from the expected one.
std::optional<size_t> first_difference(const Result &expected, const Result &actual, int steps,
                                       double part) {
  return std::visit(
      [&](const auto &wanted) -> std::optional<size_t> {
        const auto &given = std::get<std::decay_t<decltype(wanted)>>(actual);
        for (size_t i = 0; i < wanted.size(); ++i) {
          const double a = double(wanted[i]), b = double(given[i]);
          const bool bytes = sizeof wanted[i] == 1;
          const double room = bytes ? steps : part * std::max({std::abs(a), std::abs(b), 1e-3});
          if (!(std::abs(a - b) <= room)) return i;
        }
        return std::nullopt;
      },
      expected);
}

double element(const Result &result, size_t i) {
  return std::visit([i](const auto &all) { return double(all[i]); }, result);
}

// What a broken kernel would do.
void plant_fault(Result &result) {
  std::visit([](auto &all) { all.back() += 2; }, result);
}

// Every implementation beside the one before it. Those with vectors give the same bits.
std::optional<Difference> check(const Case &c, const std::vector<module::CpuLevel> &levels,
                                const LevelChoice &choice, bool fault) {
  std::optional<Result> before;
  for (size_t i = 0; i < levels.size(); ++i) {
    choice.force(levels[i]);
    Result now = c.run();
    if (fault && i + 1 == levels.size()) plant_fault(now);
    if (before) {
      const bool from_portable = i == 1;
      const auto at =
          first_difference(*before, now, from_portable ? c.steps : 0, from_portable ? c.part : 0);
      if (at) {
        return Difference{c.name,
                          *at,
                          element(*before, *at),
                          element(now, *at),
                          name_of(levels[i - 1]),
                          name_of(levels[i])};
      }
    }
    before = std::move(now);
  }
  return std::nullopt;
}

int run(bool json, bool fault) {
  set_log_sink([](void *, int32_t, const char *, const char *, int32_t, const char *) {});
  const auto start = std::chrono::steady_clock::now();
  const std::vector<module::CpuLevel> all_levels = levels();
  const LevelChoice choice;
  const std::vector<Case> cases = all_cases();
  std::optional<Difference> first;
  size_t checked = 0;
  for (const Case &c : cases) {
    // The fault comes late, so that cases before it are seen to pass.
    first = check(c, all_levels, choice, fault && checked == cases.size() / 2);
    if (first) break;
    ++checked;
  }
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

  nlohmann::ordered_json result = {{"implementations", nlohmann::ordered_json::array()},
                                   {"cases", checked},
                                   {"seconds", seconds},
                                   {"first_difference", nullptr}};
  std::string names;
  for (const module::CpuLevel level : all_levels) {
    result["implementations"].push_back(name_of(level));
    names += (names.empty() ? "" : ", ") + std::string(name_of(level));
  }
  std::string text = fmt::format("implementations  {}\n{} cases agree\n", names, checked);
  if (first) {
    result["first_difference"] = {{"operation", first->operation},
                                  {"element", first->element},
                                  {first->expected_level, first->expected},
                                  {first->actual_level, first->actual}};
    fmt::print(stderr,
               "tavix selfcheck: {}: element {} is {} in the {} implementation, {} in the {} one\n",
               first->operation, first->element, first->expected, first->expected_level,
               first->actual, first->actual_level);
  }
  const std::string shown = json ? result.dump(2) + "\n" : text;
  if (std::fputs(shown.c_str(), stdout) < 0 || std::fflush(stdout) != 0) {
    throw std::runtime_error("cannot write the result");
  }
  return first ? 1 : 0;
}

}  // namespace

int main(int argc, char **argv) {
  bool json = false, fault = false;
  for (int i = 1; i < argc; ++i) {
    json |= std::string_view(argv[i]) == "--json";
    fault |= std::string_view(argv[i]) == "--fault";
  }
  try {
    return run(json, fault);
  } catch (const std::exception &error) {
    fmt::print(stderr, "tavix selfcheck: {}\n", error.what());
    return 1;
  }
}
