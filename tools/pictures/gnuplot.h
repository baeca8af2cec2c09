// SPDX-License-Identifier: Apache-2.0
// Plots that gnuplot draws.
#pragma once

#include <string>

#include "files/output_file.h"

namespace tavix::tool {

// Throws where gnuplot is not installed.
void require_gnuplot();

// A string as gnuplot reads it.
std::string quoted(const std::string &text);

// Runs a script that writes file.partial().
void run_gnuplot(const std::string &script, const OutputFile &file);

}  // namespace tavix::tool
