// SPDX-License-Identifier: Apache-2.0
#include "program/choice.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <CLI/CLI.hpp>
#include <algorithm>

namespace tavix::tool {

CLI::Option *add_choice(CLI::App &app, const std::string &name, int32_t &value, const Names &names,
                        const std::string &description, bool or_number) {
  std::vector<std::string> shown;
  for (const auto &[word, number] : names) shown.push_back(word);
  const std::string list = fmt::format("{{{}}}", fmt::join(shown, ","));
  const auto number_of = [=](std::string &text) -> std::string {
    const auto row = std::ranges::find(names, text, &Names::value_type::first);
    const bool digits = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
    if (row == names.end() && !(or_number && digits)) {
      return fmt::format("'{}' is not one of {}", text, list);
    }
    if (row != names.end()) text = std::to_string(row->second);
    return "";
  };
  return app.add_option(name, value, description)
      ->transform(CLI::Validator(number_of, ""))
      ->type_name(list);
}

}  // namespace tavix::tool
