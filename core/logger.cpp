// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <mutex>
#include <type_traits>

#include "tavix/core/host.h"
#include "tavix/core/services.h"

namespace {

// Levels of no name are errors.
const char *level_name(int32_t level) {
  constexpr const char *kNames[] = {"debug", "info", "warning", "error"};
  return kNames[uint32_t(level) < TAVIX_LOG_ERROR ? level : TAVIX_LOG_ERROR];
}

void write_to_stderr(void *, int32_t level, const char *file, const char *function, int32_t line,
                     const char *message) {
  std::fprintf(stderr, "[tavix %s] %s:%d %s: %s\n", level_name(level), file, line, function,
               message);
}

struct Logger {
  std::atomic<int32_t> least_level = TAVIX_LOG_WARNING;
  std::recursive_mutex mutex;  // guards what follows; recursive, so that a sink may log
  TavixLogSink sink = write_to_stderr;
  void *user = nullptr;
};

// Never destroyed: lines may come while the program ends.
constinit Logger logger;
static_assert(std::is_trivially_destructible_v<Logger>);

}  // namespace

void TavixLoggerSetSink(TavixLogSink sink, void *user) {
  const std::lock_guard lock(logger.mutex);
  logger.sink = sink == nullptr ? write_to_stderr : sink;
  logger.user = user;
}

void TavixLoggerSetLevel(int32_t least_level) {
  logger.least_level = least_level;
}

void TavixLoggerLogV2(int32_t level, const char *file, const char *function, int32_t line,
                      const char *format, ...) {
  if (level < logger.least_level || format == nullptr) return;

  // Most lines fit; a longer one takes a second pass, and is cut where there is no memory for it.
  char fixed[512];
  std::unique_ptr<char[]> grown;
  va_list arguments, again;
  va_start(arguments, format);
  va_copy(again, arguments);
  const int length = std::vsnprintf(fixed, sizeof fixed, format, arguments);
  va_end(arguments);
  const char *message = fixed;
  if (length >= int(sizeof fixed)) {
    grown.reset(new (std::nothrow) char[size_t(length) + 1]);
    if (grown) {
      std::vsnprintf(grown.get(), size_t(length) + 1, format, again);
      message = grown.get();
    }
  }
  va_end(again);
  if (length < 0) message = format;

  const std::lock_guard lock(logger.mutex);
  logger.sink(logger.user, level, file == nullptr ? "" : file, function == nullptr ? "" : function,
              line, message);
}
