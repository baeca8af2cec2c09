// SPDX-License-Identifier: Apache-2.0
// The lines of the real core while this lives.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "support/logged_texts.h"
#include "tavix/core.h"

namespace tavix::test {

struct RecordedLine {
  int32_t level;
  std::string file, function;
  int32_t line;
  std::string message;
};

class RecordedLog {
 public:
  explicit RecordedLog(int32_t least_level = TAVIX_LOG_DEBUG) {
    TavixLoggerSetLevel(least_level);
    TavixLoggerSetSink(record, this);
  }
  ~RecordedLog() {
    TavixLoggerSetSink(nullptr, nullptr);
    TavixLoggerSetLevel(TAVIX_LOG_WARNING);
  }

  std::vector<RecordedLine> take() { return std::exchange(lines_, {}); }

  // Whether this is the one line since the last look, an error of the core.
  [[nodiscard]] ::testing::AssertionResult only_error(const std::string &function,
                                                      const std::string &message) {
    const auto lines = take();
    if (lines.size() == 1 && lines[0].level == TAVIX_LOG_ERROR && lines[0].file == "core" &&
        lines[0].function == function && lines[0].line > 0 && lines[0].message == message)
      return ::testing::AssertionSuccess();
    auto failure = ::testing::AssertionFailure() << lines.size() << " lines";
    for (const RecordedLine &l : lines) failure << "\n  " << l.function << ": " << l.message;
    return failure << "\ninstead of\n  " << function << ": " << message;
  }

 private:
  static void record(void *user, int32_t level, const char *file, const char *function,
                     int32_t line, const char *message) {
    note_logged_text(message);
    static_cast<RecordedLog *>(user)->lines_.push_back({level, file, function, line, message});
  }

  std::vector<RecordedLine> lines_;
};

}  // namespace tavix::test
