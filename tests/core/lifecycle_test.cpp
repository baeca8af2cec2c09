// SPDX-License-Identifier: Apache-2.0
// De-initialisation, and the core under many threads.
#include <gtest/gtest.h>

#include <malloc.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "core/recorded_log.h"
#include "support/printed.h"
#include "support/scarce_memory.h"
#include "support/sweep.h"
#include "tavix/core.h"

namespace tavix::test {
namespace {

std::string calls;
void first() {
  calls += '1';
}
void second() {
  calls += '2';
}
void registers_first() {
  calls += 'r';
  TavixAtDeinitializeRegister(first);
}

TEST(Deinitialize, RunsNewestFirstAndOnce) {
  calls.clear();
  TavixAtDeinitializeRegister(first);
  TavixAtDeinitializeRegister(nullptr);
  TavixAtDeinitializeRegister(second);
  TavixAtDeinitializeRegister(second);
  TavixDeinitialize();
  EXPECT_EQ(calls, "221");
  TavixDeinitialize();
  EXPECT_EQ(calls, "221");
}

TEST(Deinitialize, ACallbackMayRegisterForTheNextTime) {
  calls.clear();
  TavixAtDeinitializeRegister(registers_first);
  TavixDeinitialize();
  EXPECT_EQ(calls, "r");
  TavixDeinitialize();
  EXPECT_EQ(calls, "r1");
}

TEST(Deinitialize, MissingMemoryCostsOneRegistrationAndALine) {
  calls.clear();
  RecordedLog log;
  for (int i = 0; i < 40; ++i) TavixAtDeinitializeRegister(first);
  fail_nothrow_new(1);
  TavixAtDeinitializeRegister(second);
  EXPECT_TRUE(log.only_error(
      "TavixAtDeinitializeRegister",
      printed("no memory to register callback %p", reinterpret_cast<void *>(second))));
  TavixAtDeinitializeRegister(second);
  TavixDeinitialize();
  EXPECT_EQ(calls, "2" + std::string(40, '1'));
  EXPECT_TRUE(log.take().empty());
}

TEST(Deinitialize, SixteenRegistrationsNeedNoMemory) {
  calls.clear();
  RecordedLog log;
  for (int round = 0; round < 3; ++round) {
    fail_nothrow_new(1);
    for (int i = 0; i < 16; ++i) TavixAtDeinitializeRegister(first);
    EXPECT_TRUE(log.take().empty());
    TavixAtDeinitializeRegister(second);
    EXPECT_EQ(log.take().size(), 1u);
    TavixDeinitialize();
  }
  EXPECT_EQ(calls, std::string(48, '1'));
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(Deinitialize, GivesTheMemoryOfRegistrationsBack) {
  const auto deinitialize = [] {
    for (int i = 0; i < 1000; ++i) TavixAtDeinitializeRegister([] {});
    TavixDeinitialize();
    return mallinfo2().uordblks;
  };
  const size_t before = deinitialize();
  EXPECT_LT(deinitialize(), before + 1000);
}
#endif

constexpr int kThreads = 8;

std::atomic<int> callbacks_run = 0;
void count_callback() {
  ++callbacks_run;
}

// Calls are serialised, so a plain counter will do.
void count_line(void *user, int32_t, const char *, const char *, int32_t, const char *) {
  ++*static_cast<int *>(user);
}

TEST(Threads, EveryServiceAtOnce) {
  const int rounds = by_effort(500, 20);
  int lines = 0;
  TavixLoggerSetSink(count_line, &lines);
  const int32_t dims[] = {16};
  TavixBlob *shared = TavixBlobAlloc(TAVIX_DATA_TYPE_UINT8, TAVIX_DATA_FORMAT_C, 1, dims);
  TavixFrameV2 *source = TavixVideoFrameAllocV2(TAVIX_PIX_FMT_I420, 0, 5, 3, 0, 1);
  source->pts = 77;

  callbacks_run = 0;
  std::atomic<int> wrong = 0;
  {
    std::vector<std::jthread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&] {
        for (int i = 0; i < rounds; ++i) {
          TavixFrameV2 *frame = TavixVideoFrameAllocV2(TAVIX_PIX_FMT_I420, 0, 5, 3, 0, 16);
          wrong += TavixFrameCopyV2(frame, source, 0, 0) != TAVIX_OK || frame->pts != 77;
          TavixFrameFreeV2(frame);
          TavixArrayFree(TavixArrayAlloc(TAVIX_ARRAY_TYPE_DOUBLE, 4));
          TavixBuffer *buffer = TavixBufferRetain(shared->buffer);
          wrong += TavixBufferDataGetV2(buffer) != TavixBlobBufferGet(shared);
          TavixBufferRelease(buffer);
          TavixLoggerLogV2(TAVIX_LOG_ERROR, "", "", 1, "line %d", i);
          TavixAtDeinitializeRegister(count_callback);
          if (i % 100 == 0) TavixDeinitialize();
        }
      });
    }
  }
  TavixLoggerSetSink(nullptr, nullptr);
  TavixDeinitialize();
  TavixFrameFreeV2(source);
  TavixBlobFree(shared);
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(lines, kThreads * rounds);
  EXPECT_EQ(callbacks_run, kThreads * rounds);
}

}  // namespace
}  // namespace tavix::test
