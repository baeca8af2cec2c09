// SPDX-License-Identifier: Apache-2.0
// The manual page and the bash completion, made from the options that the program has.
#pragma once

#include <CLI/App.hpp>

namespace tavix::tool {

// Adds the hidden options --man and --bash-completion, which print them.
void add_descriptions(CLI::App &program);

}  // namespace tavix::tool
