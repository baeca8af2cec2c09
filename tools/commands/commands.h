// SPDX-License-Identifier: Apache-2.0
// The sub-commands: each adds itself to the program.
#pragma once

#include <CLI/App.hpp>

namespace tavix::tool {

using AddCommand = void(CLI::App &program);
AddCommand add_bench, add_convert, add_diff, add_gallery, add_info, add_motion, add_selfcheck,
    add_stats, add_tensors;

}  // namespace tavix::tool
