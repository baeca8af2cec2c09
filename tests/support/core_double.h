// SPDX-License-Identifier: Apache-2.0
// A test double of the eight core services. A test executable that links it defines them itself, so
// they take precedence over the core; each call is recorded, then handed to the real core unless
// the test asked for a failure. Every test starts with a fresh double and fails when it leaks a
// frame or an array.
//
//   EXPECT_REFUSED(TavixFrameBlurByCPU(nullptr, dst, size), TAVIX_ERROR_INVALID_PARAM, kUnit,
//                  "TavixFrameBlurByCPU", printed("src(%p) ...", nullptr));
//   core_double().fail_frame_allocation(2);      // the second one from now
//   EXPECT_SILENT(EXPECT_EQ(TavixFrameAddMaskByCPU(...), TAVIX_OK));
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "support/printed.h"
#include "tavix/core.h"

namespace tavix::test {

struct LogLine {
  int32_t level;
  std::string unit, function, text;
  int32_t line = 0;
  std::string format = {};  // what the text was printed with

  // The source line is the one thing a test cannot know; the format is asked for by name.
  bool operator==(const LogLine &other) const;
};
std::ostream &operator<<(std::ostream &out, const LogLine &line);

struct FrameRequest {
  int32_t format;
  uint32_t memory;
  int32_t width, height;
  uint64_t device;
  int32_t alignment;
  TavixFrameV2 *frame;  // what was returned
};

struct ArrayRequest {
  int32_t type, count;
  TavixArray *array;
};

struct CopyRequest {
  TavixFrameV2 *dst;
  const TavixFrameV2 *src;
  uint64_t context, options;
  int32_t status;
};

class CoreDouble {
 public:
  // Forgets what was recorded and asked for.
  void reset();

  // What was recorded, oldest first. May be read while other threads log.
  std::vector<LogLine> logs() const;
  std::vector<FrameRequest> frame_requests() const;
  std::vector<ArrayRequest> array_requests() const;
  std::vector<CopyRequest> copy_requests() const;
  std::vector<void (*)()> registered_callbacks() const;  // of TavixAtDeinitializeRegister

  // Allocated since the reset and not freed.
  int outstanding_frames() const;
  int outstanding_arrays() const;

  // Returns the lines so far and forgets them, those about the arena excepted: they come with
  // whichever call is the first to need it.
  std::vector<LogLine> take_logs();

  // Failures: allocation number nth from now, or every call until the reset.
  void fail_frame_allocation(int nth = 1);
  void fail_array_allocation(int nth = 1);
  void fail_frame_copy(int32_t status);
  void fail_blob_buffer_get();
  void fail_buffer_data_get();

  // Frames of a core with other ideas: each new frame is changed before it is handed out. The real
  // core is asked for host memory, whatever the request says.
  void alter_frames(std::function<void(TavixFrameV2 &)> alter);

  // Buffers of the test's own: the handle is never looked into.
  void serve_buffer(const TavixBuffer *handle, void *data);
  void withdraw_buffer(const TavixBuffer *handle);
};

CoreDouble &core_double();

// Whether exactly this line, or none, was logged since the last time one of the two was asked.
[[nodiscard]] ::testing::AssertionResult logged_once(const LogLine &expected);
[[nodiscard]] ::testing::AssertionResult logged_nothing();

}  // namespace tavix::test

// LogLine fields up to the text: level, unit, function, text.
#define EXPECT_LOGGED(...) EXPECT_TRUE(::tavix::test::logged_once({__VA_ARGS__}))

// The statement logs nothing, nor did anything before it since the last look.
#define EXPECT_SILENT(statement)                  \
  do {                                            \
    statement;                                    \
    EXPECT_TRUE(::tavix::test::logged_nothing()); \
  } while (false)

namespace tavix::test {
inline constexpr int32_t kInvalid = TAVIX_ERROR_INVALID_PARAM;
inline constexpr int32_t kUnsupported = TAVIX_ERROR_UNSUPPORTED;
}  // namespace tavix::test

// The call returns the status after exactly one error line.
#define EXPECT_REFUSED(call, status, unit, function, text) \
  do {                                                     \
    EXPECT_EQ(call, status);                               \
    EXPECT_LOGGED(TAVIX_LOG_ERROR, unit, function, text);  \
  } while (false)

// The same of a named function: EXPECT_REFUSES(TavixFrameBlurByCPU, (src, dst, size), ...).
#define EXPECT_REFUSES(function, arguments, status, unit, text) \
  EXPECT_REFUSED(function arguments, status, unit, #function, text)
