// SPDX-License-Identifier: Apache-2.0
// The C++ layer: owners, and failures of every kind as one exception.
#include "tavix/frame.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

namespace {

constexpr double kOne[4] = {1, 1, 1, 1}, kNone[4] = {};

// The error of a call that must fail.
template <class Call>
tavix::Error error_of(Call call) {
  try {
    call();
  } catch (const tavix::Error &error) {
    return error;
  }
  ADD_FAILURE() << "nothing was thrown";
  return tavix::Error("", 0, "");
}

// Lines that the layer hands on.
class Lines {
 public:
  Lines() { tavix::set_log_sink(receive, this); }
  ~Lines() { tavix::set_log_sink(nullptr); }
  std::vector<std::string> all;

 private:
  static void receive(void *self, int32_t, const char *, const char *, int32_t, const char *line) {
    static_cast<Lines *>(self)->all.push_back(line);
  }
};

TEST(Frame, OwnsPlanesAndMoves) {
  tavix::Frame frame(TAVIX_PIX_FMT_BGR24, 5, 3);
  EXPECT_EQ(frame.width(), 5);
  EXPECT_EQ(frame.height(), 3);
  EXPECT_EQ(frame.format(), TAVIX_PIX_FMT_BGR24);
  EXPECT_EQ(frame->linesize[0] % 64, 0);
  EXPECT_EQ(frame.row(2), frame->data[0] + 2 * frame->linesize[0]);
  TavixFrameV2 *record = frame.get();
  const tavix::Frame moved = std::move(frame);
  EXPECT_EQ(moved.get(), record);
  EXPECT_FALSE(frame);
}

TEST(Frame, ClonesPixelsAndTimes) {
  const tavix::Frame frame(TAVIX_PIX_FMT_GRAY8, 5, 3);
  frame.row(1)[4] = 77;
  frame->pts = 12;
  frame->video.color_space = 1;
  const tavix::Frame clone = frame.clone();
  EXPECT_NE(clone->data[0], frame->data[0]);
  EXPECT_EQ(clone.row(1)[4], 77);
  EXPECT_EQ(clone->pts, 12);
  EXPECT_EQ(clone->video.color_space, 1);
}

TEST(Frame, ImpossibleSizesThrow) {
  const Lines lines;
  const tavix::Error error = error_of([] { tavix::Frame(TAVIX_PIX_FMT_BGR24, 0, 3); });
  EXPECT_EQ(error.function(), "TavixVideoFrameAllocV2");
  EXPECT_EQ(error.status(), TAVIX_ERROR_MEMORY);
  ASSERT_EQ(lines.all.size(), 1u);
  EXPECT_EQ(error.message(), lines.all[0]);
}

TEST(Blob, OwnsElements) {
  const tavix::Blob blob(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NCHW, {2, 3, 4, 5});
  EXPECT_EQ(blob.size(), 120u);
  blob.elements()[119] = 1;
  EXPECT_EQ(blob->dims[3], 5);
}

TEST(Call, TakesOwnersRecordsAndPointers) {
  const tavix::Frame a(TAVIX_PIX_FMT_GRAY8, 4, 2), b(TAVIX_PIX_FMT_GRAY8, 4, 2);
  std::memset(a.row(0), 3, 4);
  tavix::call<TavixFrameBinaryArithmeticByCPU>(a, *a, uint32_t(TAVIX_BINARY_OP_ADD), kOne, kOne,
                                               kNone, b.get());
  EXPECT_EQ(b.row(0)[3], 6);
}

TEST(Call, NamesFunctionStatusAndLine) {
  const Lines lines;
  const tavix::Frame a(TAVIX_PIX_FMT_GRAY8, 4, 2), b(TAVIX_PIX_FMT_GRAY8, 5, 2);
  const auto add = [&] {
    tavix::call<TavixFrameBinaryArithmeticByCPU>(a, b, 0u, kOne, kOne, kNone, a);
  };
  const tavix::Error error = error_of(add);
  EXPECT_EQ(error.function(), "TavixFrameBinaryArithmeticByCPU");
  EXPECT_STREQ(error.status_name(), "TAVIX_ERROR_INVALID_PARAM");
  ASSERT_EQ(lines.all.size(), 1u);
  EXPECT_EQ(error.message(), lines.all[0]);
  EXPECT_EQ(std::string(error.what()),
            "TavixFrameBinaryArithmeticByCPU: TAVIX_ERROR_INVALID_PARAM: " + lines.all[0]);
}

TEST(Call, SilentRefusalsHaveNoLineOfAnotherCall) {
  const Lines lines;
  const tavix::Frame a(TAVIX_PIX_FMT_GRAY8, 4, 2), b(TAVIX_PIX_FMT_GRAY8, 5, 2);
  error_of([&] { tavix::call<TavixFrameBinaryArithmeticByCPU>(a, b, 0u, kOne, kOne, kNone, a); });
  const tavix::Error silent = error_of(
      [&] { tavix::call<TavixFrameBinaryArithmeticByCPU>(a, a, 10u, kOne, kOne, kNone, a); });
  EXPECT_EQ(silent.status(), TAVIX_ERROR_INVALID_PARAM);
  EXPECT_EQ(silent.message(), "");
}

TEST(Call, ExceptionsOfOpenCvBecomeErrors) {
  const tavix::Frame frame(TAVIX_PIX_FMT_GRAY8, 8, 8);
  const auto copy = [&] {
    tavix::call<TavixFrameRoiByCPU>(frame, frame, TavixRect{0, 0, 9, 9}, TavixRect{0, 0, 9, 9});
  };
  const tavix::Error error = error_of(copy);
  EXPECT_EQ(error.function(), "TavixFrameRoiByCPU");
  EXPECT_EQ(error.status(), tavix::Error::kException);
  EXPECT_NE(error.message().find("OpenCV"), std::string::npos) << error.message();
}

TEST(Call, OutputsAreTakenOver) {
  const tavix::Frame frame(TAVIX_PIX_FMT_BGR24, 8, 6);
  tavix::Frame half;
  tavix::call<TavixFrameResizeByScaleByCPU>(frame, tavix::out(half), 0.5, 0.5, 1);
  EXPECT_EQ(half.width(), 4);
  tavix::Array means;
  tavix::call<TavixFrameStatisticalFunctionByCPU>(frame, int(TAVIX_STAT_OP_MEAN),
                                                  tavix::out(means));
  ASSERT_EQ(means.size(), 3u);
  EXPECT_EQ(means[2], 0);
  tavix::ChannelFrames channels;
  tavix::call<TavixFrameChannelSplitByCPU>(frame, tavix::out(channels), 5u);
  EXPECT_TRUE(channels.red && channels.blue);
  EXPECT_FALSE(channels.green || channels.alpha);
}

TEST(Call, RefusedOutputsKeepWhatTheyHeld) {
  const Lines lines;
  const tavix::Frame frame(TAVIX_PIX_FMT_GRAY8, 8, 6);
  tavix::Frame kept(TAVIX_PIX_FMT_GRAY8, 2, 2);
  TavixFrameV2 *record = kept.get();
  error_of([&] { tavix::call<TavixFrameResizeByScaleByCPU>(frame, tavix::out(kept), 0., 0., 1); });
  EXPECT_EQ(kept.get(), record);
  // The red channel is made before the green one is refused: freed, not lost.
  tavix::ChannelFrames channels;
  error_of([&] { tavix::call<TavixFrameChannelSplitByCPU>(frame, tavix::out(channels), 3u); });
  EXPECT_FALSE(channels.red || channels.green);
}

// The mask's new frame is freed by the function itself, which leaves its address behind.
TEST(Call, StaleOutputsAreNotFreedAgain) {
  const Lines lines;
  const tavix::Frame frame(TAVIX_PIX_FMT_BGR24, 8, 6), mask(TAVIX_PIX_FMT_GRAY8, 8, 6);
  TavixFrameV2 without_pixels = *mask;
  without_pixels.data[0] = nullptr;
  tavix::Frame masked;
  error_of([&] { tavix::call<TavixFrameAddMaskByCPU>(frame, without_pixels, tavix::out(masked)); });
  EXPECT_FALSE(masked);
}

TEST(Check, ThrowsTheLastLineOfItsThread) {
  const Lines lines;
  EXPECT_NO_THROW(tavix::check(TAVIX_OK, "nothing"));
  TavixLoggerLogV2(TAVIX_LOG_ERROR, "file", "function", 1, "ours");
  std::thread([] { TavixLoggerLogV2(TAVIX_LOG_ERROR, "file", "function", 1, "theirs"); }).join();
  const tavix::Error error = error_of([] { tavix::check(TAVIX_ERROR_MEMORY, "work"); });
  EXPECT_STREQ(error.what(), "work: TAVIX_ERROR_MEMORY: ours");
}

}  // namespace
