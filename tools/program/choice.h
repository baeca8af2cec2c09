// SPDX-License-Identifier: Apache-2.0
// Options whose value is one of a few names.
#pragma once

#include <CLI/App.hpp>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tavix::tool {

using Names = std::vector<std::pair<std::string, int32_t>>;

// An option that takes one of these names for its number, or the number itself where that is
// allowed. --help lists the names.
CLI::Option *add_choice(CLI::App &app, const std::string &name, int32_t &value, const Names &names,
                        const std::string &description, bool or_number = false);

}  // namespace tavix::tool
