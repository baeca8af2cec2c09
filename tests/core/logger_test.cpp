// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cwchar>
#include <string>

#include "core/recorded_log.h"
#include "support/scarce_memory.h"

namespace tavix::test {
namespace {

TEST(Logger, HandsOverEveryField) {
  RecordedLog log;
  TavixLoggerLogV2(TAVIX_LOG_INFO, "some/unit", "function", 17, "%d of %s", 3, "five");
  const auto lines = log.take();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].level, TAVIX_LOG_INFO);
  EXPECT_EQ(lines[0].file, "some/unit");
  EXPECT_EQ(lines[0].function, "function");
  EXPECT_EQ(lines[0].line, 17);
  EXPECT_EQ(lines[0].message, "3 of five");
}

TEST(Logger, DropsLinesBelowTheLevel) {
  for (int32_t least = TAVIX_LOG_DEBUG; least <= TAVIX_LOG_ERROR + 1; ++least) {
    RecordedLog log(least);
    for (int32_t level = TAVIX_LOG_DEBUG; level <= TAVIX_LOG_ERROR; ++level)
      TavixLoggerLogV2(level, "", "", level, "text");
    const auto lines = log.take();
    ASSERT_EQ(int32_t(lines.size()), TAVIX_LOG_ERROR + 1 - least);
    for (const RecordedLine &line : lines) EXPECT_GE(line.level, least);
  }
}

TEST(Logger, MessagesOfAnyLength) {
  RecordedLog log;
  for (const size_t length : {0, 1, 510, 511, 512, 513, 100000}) {
    const std::string text(length, 'x');
    TavixLoggerLogV2(TAVIX_LOG_ERROR, "", "", 1, "%s", text.c_str());
    const auto lines = log.take();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].message, text);
    if (length >= 512) {
      EXPECT_EQ(last_nothrow_new_bytes(), length + 1);
    }
  }
}

TEST(Logger, CutsALongMessageWhereMemoryIsShort) {
  RecordedLog log;
  fail_nothrow_new(1);
  TavixLoggerLogV2(TAVIX_LOG_ERROR, "", "", 1, "%s", std::string(2000, 'x').c_str());
  const auto lines = log.take();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].message, std::string(511, 'x'));
}

// No character of the locale of C.
TEST(Logger, WritesAFormatThatCannotBePrintedAsItIs) {
  RecordedLog log;
  TavixLoggerLogV2(TAVIX_LOG_ERROR, "", "", 1, "value %lc", wint_t(0xD800));
  const auto lines = log.take();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].message, "value %lc");
}

TEST(Logger, NullTexts) {
  RecordedLog log;
  const char *const none = nullptr;
  TavixLoggerLogV2(TAVIX_LOG_ERROR, nullptr, nullptr, 1, "text");
  const auto lines = log.take();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].file + lines[0].function + lines[0].message, "text");
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  TavixLoggerLogV2(TAVIX_LOG_ERROR, "", "", 1, none);
#pragma GCC diagnostic pop
  EXPECT_TRUE(log.take().empty());
}

void log_from_sink(void *user, int32_t level, const char *, const char *, int32_t,
                   const char *message) {
  auto *seen = static_cast<std::string *>(user);
  *seen += std::string(message) + ';';
  if (level == TAVIX_LOG_ERROR) TavixLoggerLogV2(TAVIX_LOG_WARNING, "", "", 1, "from the sink");
}

TEST(Logger, ASinkMayLog) {
  std::string seen;
  TavixLoggerSetSink(log_from_sink, &seen);
  TavixLoggerLogV2(TAVIX_LOG_ERROR, "", "", 1, "first");
  TavixLoggerSetSink(nullptr, nullptr);
  EXPECT_EQ(seen, "first;from the sink;");
}

TEST(Logger, WritesWarningsAndErrorsToStderrByDefault) {
  ::testing::internal::CaptureStderr();
  for (const int32_t level : {0, 1, 2, 3, 4})
    TavixLoggerLogV2(level, "some/unit", "function", 10 + level, "level %d", level);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "[tavix warning] some/unit:12 function: level 2\n"
            "[tavix error] some/unit:13 function: level 3\n"
            "[tavix error] some/unit:14 function: level 4\n");

  TavixLoggerSetLevel(TAVIX_LOG_DEBUG);
  ::testing::internal::CaptureStderr();
  for (const int32_t level : {0, 1})
    TavixLoggerLogV2(level, "some/unit", "function", 10 + level, "level %d", level);
  TavixLoggerSetLevel(TAVIX_LOG_WARNING);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "[tavix debug] some/unit:10 function: level 0\n"
            "[tavix info] some/unit:11 function: level 1\n");
}

}  // namespace
}  // namespace tavix::test
