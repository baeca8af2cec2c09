// SPDX-License-Identifier: Apache-2.0
// Which texts the tests have seen logged, for scripts/coverage.
#pragma once

#include <string_view>

namespace tavix::test {

// Adds a text to the file that the environment variable TAVIX_TEST_LOGGED_TEXTS names, if any: each
// text of a process once, with a zero byte after it.
void note_logged_text(std::string_view text);

}  // namespace tavix::test
