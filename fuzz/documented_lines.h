// SPDX-License-Identifier: Apache-2.0
// Every line that a call may log, as the documentation gives it.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace tavix::fuzz {

struct DocumentedLine {
  std::string_view functions;  // how the exported functions that log it begin
  int32_t status;              // what the call returns; TAVIX_OK for warnings and notes
  std::string_view format;     // empty: the status comes without a line
  bool follows = false;        // a second line, after the reason
  bool unreached = false;      // no kept input reaches it yet
};

std::span<const DocumentedLine> documented_lines();

// The line's row, or null: what the function logged before it returned the status.
const DocumentedLine *find_line(std::string_view function, int32_t status, std::string_view text);

// Whether printf could have made the text of the format; %p, %d and %s are known.
bool matches(std::string_view format, std::string_view text);

}  // namespace tavix::fuzz
