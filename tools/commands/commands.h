// SPDX-License-Identifier: Apache-2.0
// The sub-commands: each adds itself to the program.
#pragma once

#include <CLI/App.hpp>

namespace tavix::tool {

void add_bench(CLI::App &program);
void add_convert(CLI::App &program);
void add_diff(CLI::App &program);
void add_gallery(CLI::App &program);
void add_info(CLI::App &program);
void add_motion(CLI::App &program);
void add_selfcheck(CLI::App &program);
void add_stats(CLI::App &program);
void add_tensors(CLI::App &program);

}  // namespace tavix::tool
