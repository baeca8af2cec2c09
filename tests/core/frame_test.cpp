// SPDX-License-Identifier: Apache-2.0
// Frames of the core: layout, refusals, copies.
#include <gtest/gtest.h>

#include <malloc.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <memory>
#include <numeric>
#include <thread>
#include <utility>
#include <vector>

#include "core/recorded_log.h"
#include "support/compare.h"
#include "support/guarded_frame.h"
#include "support/printed.h"
#include "support/scarce_memory.h"
#include "support/sweep.h"

namespace {

struct Advice {
  uintptr_t address;
  size_t bytes;
  int advice;
};
thread_local std::vector<Advice> advices;

}  // namespace

// The core's calls come here first.
extern "C" __attribute__((visibility("default"))) int madvise(void *address, size_t bytes,
                                                              int advice) noexcept {
  advices.push_back({reinterpret_cast<uintptr_t>(address), bytes, advice});
  return int(syscall(SYS_madvise, address, bytes, advice));
}

namespace tavix::test {
namespace {

struct FreeFrame {
  void operator()(TavixFrameV2 *frame) const { TavixFrameFreeV2(frame); }
};
using Frame = std::unique_ptr<TavixFrameV2, FreeFrame>;

Frame allocate(int32_t format, int32_t width, int32_t height, int32_t alignment) {
  return Frame(TavixVideoFrameAllocV2(format, TAVIX_MEMORY_HOST, width, height, 42, alignment));
}

std::vector<int32_t> named_formats() {
  std::vector<int32_t> formats = kRgbFormats;
  formats.insert(formats.end(), kYuvFormats.begin(), kYuvFormats.end());
  return formats;
}

TEST(FrameAlloc, EveryFormatSizeAndAlignment) {
  RecordedLog log;
  for (const int32_t format : named_formats())
    for (const int32_t width : {1, 2, 3, 63, 64, 65})
      for (const int32_t height : {1, 2, 5})
        for (const int32_t alignment : {1, 2, 16, 64, 4096}) {
          SCOPED_TRACE(::testing::Message() << format_name(format) << ", " << width << 'x' << height
                                            << ", alignment " << alignment);
          const Frame frame = allocate(format, width, height, alignment);
          ASSERT_TRUE(frame);
          EXPECT_EQ(frame->memory, uint32_t(TAVIX_MEMORY_HOST));
          EXPECT_EQ(frame->device, 42u);
          const TavixVideoInfo &video = frame->video;
          EXPECT_EQ(video.channels, channels_of(format));
          EXPECT_EQ(video.width, width);
          EXPECT_EQ(video.height, height);
          EXPECT_EQ(video.format, format);
          EXPECT_EQ(video.color_space, 0);
          EXPECT_EQ(video.color_range, 0);
          EXPECT_EQ(frame->pts | frame->dts | frame->duration | frame->flags, 0);

          const auto planes = plane_shapes(video);
          for (size_t p = 0; p < planes.size(); ++p) {
            ASSERT_NE(frame->data[p], nullptr);
            EXPECT_EQ(reinterpret_cast<uintptr_t>(frame->data[p]) % 64, 0u);
            const int32_t stride = (planes[p].row_bytes + alignment - 1) / alignment * alignment;
            ASSERT_EQ(frame->linesize[p], stride);
            const uint8_t *end = frame->data[p] + stride * planes[p].rows;
            EXPECT_EQ(std::accumulate(static_cast<const uint8_t *>(frame->data[p]), end, 0), 0);
            if (p + 1 < planes.size()) {
              EXPECT_LE(end, frame->data[p + 1]) << "planes overlap";
            }
          }
          for (size_t p = planes.size(); p < TAVIX_FRAME_MAX_PLANES; ++p) {
            EXPECT_EQ(frame->data[p], nullptr);
            EXPECT_EQ(frame->linesize[p], 0);
          }
        }
  EXPECT_TRUE(log.take().empty());
}

TEST(FrameAlloc, EveryByteOfEveryPlaneIsTheCallers) {
  for (const int32_t format : named_formats()) {
    const Frame frame = allocate(format, 7, 5, 16);
    const auto planes = plane_shapes(frame->video);
    for (size_t p = 0; p < planes.size(); ++p)
      std::memset(frame->data[p], int(p + 1), size_t(frame->linesize[p] * planes[p].rows));
    for (size_t p = 0; p < planes.size(); ++p)
      for (int32_t i = 0; i < frame->linesize[p] * planes[p].rows; ++i)
        ASSERT_EQ(frame->data[p][i], p + 1);
  }
}

struct FrameArguments {
  int32_t format;
  uint32_t memory;
  int32_t width, height, alignment;
};

TEST(FrameAlloc, RefusesTheImpossibleWithOneLine) {
  constexpr FrameArguments kImpossible[] = {
      {-1, 0, 4, 4, 1},      {3, 0, 4, 4, 1},        {6, 0, 4, 4, 1},       {16, 0, 4, 4, 1},
      {17, 0, 4, 4, 1},      {INT_MIN, 0, 4, 4, 1},  {INT_MAX, 0, 4, 4, 1}, {256, 0, 4, 4, 1},
      {0, 1, 4, 4, 1},       {0, UINT_MAX, 4, 4, 1}, {0, 0, 0, 4, 1},       {0, 0, -1, 4, 1},
      {0, 0, INT_MIN, 4, 1}, {0, 0, 4, 0, 1},        {0, 0, 4, -1, 1},      {0, 0, 4, INT_MIN, 1},
      {0, 0, 4, 4, 0},       {0, 0, 4, 4, -1},       {0, 0, 4, 4, INT_MIN}, {0, 0, 4, 4, 3},
      {0, 0, 4, 4, 6},       {0, 0, 4, 4, 65},
  };
  RecordedLog log;
  for (const auto &[format, memory, width, height, alignment] : kImpossible) {
    EXPECT_EQ(TavixVideoFrameAllocV2(format, memory, width, height, 0, alignment), nullptr);
    EXPECT_TRUE(log.only_error(
        "TavixVideoFrameAllocV2",
        printed("frame of format %d, memory %u, size %dx%d, row alignment %d is impossible", format,
                memory, width, height, alignment)));
  }
}

TEST(FrameAlloc, RefusesPlanesWhoseRowsA32BitOffsetCannotReach) {
  constexpr FrameArguments kTooLarge[] = {
      {2, 0, INT_MAX, INT_MAX, 1}, {2, 0, 65536, 32768, 1},      {0, 0, 1 << 30, 1, 1},
      {14, 0, INT_MAX, 1, 1},      {2, 0, INT_MAX, 1, 2},        {2, 0, 1, 2, 1 << 30},
      {7, 0, INT_MAX, 1, 1},       {10, 0, INT_MAX, INT_MAX, 1},
  };
  RecordedLog log;
  for (const auto &[format, memory, width, height, alignment] : kTooLarge) {
    EXPECT_EQ(TavixVideoFrameAllocV2(format, memory, width, height, 0, alignment), nullptr);
    EXPECT_TRUE(
        log.only_error("TavixVideoFrameAllocV2",
                       printed("frame of format %d, size %dx%d, row alignment %d is too large",
                               format, width, height, alignment)));
  }
  EXPECT_TRUE(allocate(TAVIX_PIX_FMT_GRAY8, 1, 1, 1 << 30)) << "the largest alignment";
  EXPECT_TRUE(allocate(TAVIX_PIX_FMT_GRAY8, INT_MAX, 1, 1)) << "the largest plane";
}

TEST(FrameAlloc, ReportsMissingMemory) {
  RecordedLog log;
  TavixDeinitialize();                                       // kept memory would be freed first
  for (const auto fail : {fail_nothrow_new, fail_calloc}) {  // the record, the planes
    fail(1);
    EXPECT_FALSE(allocate(TAVIX_PIX_FMT_NV12, 6, 5, 1));
    EXPECT_TRUE(
        log.only_error("TavixVideoFrameAllocV2", "no memory for a frame of format 7, size 6x5"));
  }
}

// Bytes of a packed GRAY8 frame that differ from value.
int64_t bytes_other_than(const Frame &frame, uint8_t value) {
  return frame->video.width * int64_t(frame->video.height) -
         std::count(frame->data[0], frame->data[0] + frame->video.width * frame->video.height,
                    value);
}

TEST(FrameAlloc, MemoryOfFreedFramesIsZeroAgain) {
  // Sizes around those of the blocks that the core keeps, smaller after larger and the reverse.
  for (const int32_t height : {2047, 2048, 2600, 2300, 2048, 16383, 16384, 14000, 16390, 2048}) {
    const Frame frame = allocate(TAVIX_PIX_FMT_GRAY8, 2048, height, 1);
    ASSERT_TRUE(frame);
    ASSERT_EQ(bytes_other_than(frame, 0), 0) << height;
    std::memset(frame->data[0], 0xA5, 2048 * size_t(height));
  }
}

TEST(FrameAlloc, LiveFramesShareNoMemory) {
  for (int round = 0; round < 3; ++round) {
    std::vector<Frame> frames;
    for (int n = 0; n < 7; ++n) {  // more than the core keeps
      frames.push_back(allocate(TAVIX_PIX_FMT_GRAY8, 2048, 2048 + 64 * n, 1));
      ASSERT_TRUE(frames.back());
      std::memset(frames.back()->data[0], n, 2048 * size_t(frames.back()->video.height));
    }
    for (int n = 0; n < 7; ++n) EXPECT_EQ(bytes_other_than(frames[size_t(n)], uint8_t(n)), 0);
  }
}

TEST(FrameAlloc, ThreadsTakeKeptMemoryOneAtATime) {
  std::atomic<int64_t> wrong = 0;
  std::vector<std::thread> threads;
  for (int t = 1; t <= 4; ++t)
    threads.emplace_back([t, &wrong] {
      for (int n = 0; n < 40; ++n) {
        const Frame frame = allocate(TAVIX_PIX_FMT_GRAY8, 2048, 2048 + 100 * (n % 3), 1);
        wrong += bytes_other_than(frame, 0);
        std::memset(frame->data[0], t, 2048 * size_t(frame->video.height));
        wrong += bytes_other_than(frame, uint8_t(t));
      }
    });
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// Bytes that malloc has given out.
size_t bytes_in_use() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

TEST(FrameAlloc, FreedMemoryIsKeptForTheNextFrameUntilTheEnd) {
  constexpr size_t kBytes = size_t(1920) * 1080 * 12;
  TavixDeinitialize();
  const size_t before = bytes_in_use();
  EXPECT_TRUE(allocate(TAVIX_PIX_FMT_BGRF32, 1920, 1080, 1));
  const size_t kept = bytes_in_use();
  EXPECT_GE(kept, before + kBytes);
  {
    const Frame next = allocate(TAVIX_PIX_FMT_BGRF32, 1920, 1080, 1);
    EXPECT_LT(bytes_in_use(), kept + kBytes);
  }
  TavixDeinitialize();
  EXPECT_LT(bytes_in_use(), before + kBytes);
}

// A frame whose memory, alignment included, has so many bytes.
constexpr int32_t kMega = 1 << 20;
Frame of_block(int32_t bytes) {
  return allocate(TAVIX_PIX_FMT_GRAY8, bytes - 64, 1, 1);
}

// Whether a frame of 4 MiB or more comes without new memory, which would be asked for as large
// pages.
bool takes_kept(int32_t bytes) {
  advices.clear();
  EXPECT_TRUE(of_block(bytes));
  return advices.empty();
}

TEST(FrameAlloc, KeepsBlocksOfFourToThirtyTwoMegabytes) {
  const auto is_kept = [](int32_t bytes) {
    TavixDeinitialize();
    const size_t before = bytes_in_use();
    EXPECT_TRUE(of_block(bytes));
    return bytes_in_use() >= before + size_t(bytes);
  };
  EXPECT_FALSE(is_kept(4 * kMega - 64));
  EXPECT_TRUE(is_kept(4 * kMega));
  EXPECT_TRUE(is_kept(32 * kMega));
  EXPECT_FALSE(is_kept(32 * kMega + 64));
}

TEST(FrameAlloc, TakesKeptBlocksOfUpToAQuarterMore) {
  const auto serves = [](int32_t freed, int32_t next) {
    TavixDeinitialize();
    EXPECT_FALSE(takes_kept(freed));
    return takes_kept(next);
  };
  EXPECT_FALSE(serves(8 * kMega - 64, 8 * kMega));
  EXPECT_TRUE(serves(8 * kMega, 8 * kMega));
  EXPECT_TRUE(serves(10 * kMega, 8 * kMega));
  EXPECT_FALSE(serves(10 * kMega + 64, 8 * kMega));
}

TEST(FrameAlloc, KeptBlocksStayWhereTheyDoNotFitAndKeepTheirSize) {
  TavixDeinitialize();
  EXPECT_FALSE(takes_kept(10 * kMega));
  EXPECT_FALSE(takes_kept(20 * kMega));
  EXPECT_TRUE(takes_kept(8 * kMega)) << "the first";
  EXPECT_TRUE(takes_kept(10 * kMega)) << "the first, of its whole size again";
}

TEST(FrameAlloc, KeepsFourBlocksAndReplacesThemInTurn) {
  const auto free_together = [](int count, int32_t bytes) {
    std::vector<Frame> frames;
    advices.clear();
    for (int n = 0; n < count; ++n) frames.push_back(of_block(bytes));
    return int(advices.size());  // those that malloc gave
  };
  TavixDeinitialize();
  const size_t before = bytes_in_use();
  EXPECT_EQ(free_together(4, 5 * kMega), 4);
  EXPECT_EQ(free_together(3, 8 * kMega), 3);
  EXPECT_EQ(free_together(2, 5 * kMega), 1) << "one was left";
  TavixDeinitialize();
  EXPECT_EQ(free_together(4, 5 * kMega), 4);
  EXPECT_EQ(free_together(5, 8 * kMega), 5);
  EXPECT_EQ(free_together(5, 8 * kMega), 1) << "four were kept";
  TavixDeinitialize();
  EXPECT_LT(bytes_in_use(), before + kMega);
}

TEST(FrameAlloc, HasTheMemoryItNeedsWhereKeptBlocksMustGoFirstToo) {
  for (const bool scarce : {false, true}) {
    SCOPED_TRACE(scarce);
    TavixDeinitialize();
    const size_t before = bytes_in_use();
    if (scarce) {
      EXPECT_FALSE(takes_kept(8 * kMega));
    }
    fail_calloc(scarce ? 1 : 0);
    const Frame frame = of_block(16 * kMega);
    fail_calloc(0);
    ASSERT_TRUE(frame);
    EXPECT_GE(bytes_in_use(), before + 16 * size_t(kMega));
    EXPECT_LT(bytes_in_use(), before + 17 * size_t(kMega));
  }
}
#endif

TEST(FrameAlloc, AsksForLargePagesInsideALargeFrame) {
  constexpr size_t kPage = 4096;
  for (const int32_t height : {2047, 2048, 2049}) {
    SCOPED_TRACE(height);
    TavixDeinitialize();  // a kept block has asked before
    advices.clear();
    const Frame frame = allocate(TAVIX_PIX_FMT_GRAY8, 2048, height, 1);
    ASSERT_TRUE(frame);
    ASSERT_EQ(advices.size(), height < 2048 ? 0u : 1u);
    if (advices.empty()) continue;
    const auto start = reinterpret_cast<uintptr_t>(frame->data[0]);
    const size_t size = 2048 * size_t(height);
    const Advice &asked = advices[0];
    EXPECT_EQ(asked.advice, MADV_HUGEPAGE);
    EXPECT_EQ(asked.address % kPage, 0u);
    EXPECT_GE(asked.address, start);
    EXPECT_LE(asked.address + asked.bytes, start + size);
    EXPECT_GE(asked.bytes, size - kPage);
  }
}

TEST(FrameFree, IgnoresNull) {
  TavixFrameFreeV2(nullptr);
}

void set_metadata(TavixFrameV2 &frame) {
  frame.video.color_space = 5;
  frame.video.color_range = 2;
  frame.pts = 1LL << 40;
  frame.dts = -7;
  frame.duration = 40;
  frame.flags = 9;
}

void expect_metadata(const TavixFrameV2 &frame) {
  EXPECT_EQ(frame.video.color_space, 5);
  EXPECT_EQ(frame.video.color_range, 2);
  EXPECT_EQ(frame.pts, 1LL << 40);
  EXPECT_EQ(frame.dts, -7);
  EXPECT_EQ(frame.duration, 40);
  EXPECT_EQ(frame.flags, 9);
}

TEST(FrameCopy, EveryFormatAndSizeWithinTheStridesOfBoth) {
  RecordedLog log;
  for (const FrameLayout &dst_layout : kLayouts) {
    sweep({.formats = named_formats(),
           .widths = numbers(1, 9),
           .heights = numbers(1, 5),
           .fills = {Fill::noise}},
          1000, [&](const SweepCase &c) {
            SCOPED_TRACE(::testing::Message() << "to " << dst_layout);
            GuardedFrame src(c.shape, c.layout), dst(c.shape, dst_layout);
            src.fill(c.fill, c.seed);
            dst.fill(Fill::zeros, 0);
            set_metadata(*src);
            dst->device = 3;
            ASSERT_EQ(TavixFrameCopyV2(dst, src, 0, 0), TAVIX_OK);
            EXPECT_EQ(dst.payload(), src.payload());
            EXPECT_TRUE(dst.intact() && src.intact());
            expect_metadata(*dst);
            EXPECT_EQ(dst->device, 3u) << "the context of the allocation stays";
          });
  }
  EXPECT_TRUE(log.take().empty());
}

TEST(FrameCopy, FloatsKeepEveryBit) {
  GuardedFrame src({TAVIX_PIX_FMT_BGRAF32, 33, 3}), dst({TAVIX_PIX_FMT_BGRAF32, 33, 3}, {1});
  src.fill(Fill::specials, 5);
  EXPECT_EQ(TavixFrameCopyV2(dst, src, 0, 0), TAVIX_OK);
  EXPECT_EQ(dst.payload(), src.payload());
}

TEST(FrameCopy, OntoItself) {
  GuardedFrame frame({TAVIX_PIX_FMT_I420, 5, 3}, {2});
  frame.fill(Fill::noise, 1);
  const auto before = frame.payload();
  EXPECT_EQ(TavixFrameCopyV2(frame, frame, 0, 0), TAVIX_OK);
  EXPECT_EQ(frame.payload(), before);
}

TEST(FrameCopy, StridesBelowThePayloadBoundEachRow) {
  for (const int32_t stride : {4, -4}) {
    GuardedFrame src({TAVIX_PIX_FMT_GRAY8, 10, 2}), dst({TAVIX_PIX_FMT_GRAY8, 10, 2});
    src.fill(Fill::noise, 2);
    dst.fill(Fill::zeros, 0);
    dst->linesize[0] = stride;
    if (stride < 0) dst->data[0] += 4;
    EXPECT_EQ(TavixFrameCopyV2(dst, src, 0, 0), TAVIX_OK);
    for (int32_t y = 0; y < 2; ++y)
      for (int32_t x = 0; x < 4; ++x)
        EXPECT_EQ(dst.get<uint8_t>(4 * (stride < 0 ? 1 - y : y) + x, 0), src.get<uint8_t>(x, y));
    EXPECT_EQ(dst.get<uint8_t>(8, 0), 0);
    EXPECT_EQ(dst.get<uint8_t>(0, 1), 0);
  }
}

TEST(FrameCopy, AbsurdRecordsCopyNothing) {
  constexpr struct {
    int32_t width, height;
  } kAbsurd[] = {{0, 3}, {3, 0}, {-1, 3}, {3, -1}, {INT_MIN, 3}, {3, INT_MIN}};
  for (const auto &[width, height] : kAbsurd) {
    GuardedFrame src({TAVIX_PIX_FMT_NV12, 3, 3}), dst({TAVIX_PIX_FMT_NV12, 3, 3});
    src.fill(Fill::noise, 2);
    dst.fill(Fill::zeros, 0);
    const auto before = dst.payload();
    set_metadata(*src);
    src->video.width = dst->video.width = width;
    src->video.height = dst->video.height = height;
    EXPECT_EQ(TavixFrameCopyV2(dst, src, 0, 0), TAVIX_OK);
    EXPECT_EQ(dst.payload(), before);
    expect_metadata(*dst);
  }
  GuardedFrame src({TAVIX_PIX_FMT_GRAY8, 3, 1}), dst({TAVIX_PIX_FMT_GRAY8, 3, 1});
  src.fill(Fill::noise, 2);
  src->linesize[0] = INT_MIN;
  EXPECT_EQ(TavixFrameCopyV2(dst, src, 0, 0), TAVIX_OK);
  EXPECT_EQ(dst.payload(), src.payload()) << "one row needs no stride";
  src->video.width = dst->video.width = 0;
  src->video.height = dst->video.height = 3;
  EXPECT_EQ(TavixFrameCopyV2(dst, src, 0, 0), TAVIX_OK) << "rows of no pixels need none either";
}

TEST(FrameCopy, LeavesPlanesThatTheFormatHasNot) {
  for (const int32_t format : named_formats()) {
    SCOPED_TRACE(format_name(format));
    GuardedFrame src({format, 6, 4}), dst({format, 6, 4});
    uint8_t full[256], empty[256] = {};
    std::ranges::fill(full, uint8_t(1));
    for (size_t p = plane_shapes(src->video).size(); p < TAVIX_FRAME_MAX_PLANES; ++p) {
      src->data[p] = full, dst->data[p] = empty;
      src->linesize[p] = dst->linesize[p] = 64;
    }
    EXPECT_EQ(TavixFrameCopyV2(dst, src, 0, 0), TAVIX_OK);
    EXPECT_TRUE(std::ranges::all_of(empty, [](uint8_t b) { return b == 0; }));
  }
}

TEST(FrameCopy, ReachesTheLargestOffsetOf32Bits) {
  constexpr size_t kOffset = INT32_MAX;
  void *const addresses = mmap(nullptr, kOffset + 1, PROT_READ | PROT_WRITE,
                               MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (addresses == MAP_FAILED) GTEST_SKIP() << "two gigabytes of addresses";
  GuardedFrame src({TAVIX_PIX_FMT_GRAY8, 1, 2}), dst({TAVIX_PIX_FMT_GRAY8, 1, 2});
  src.fill(Fill::noise, 1);
  auto *const bytes = static_cast<uint8_t *>(addresses);
  dst->data[0] = bytes;
  dst->linesize[0] = INT32_MAX;
  EXPECT_EQ(TavixFrameCopyV2(dst, src, 0, 0), TAVIX_OK);
  EXPECT_EQ(bytes[0], src.get<uint8_t>(0, 0));
  EXPECT_EQ(bytes[kOffset], src.get<uint8_t>(0, 1));
  munmap(addresses, kOffset + 1);
}

class FrameCopyRefusal : public ::testing::Test {
 protected:
  FrameCopyRefusal() {
    src_.fill(Fill::noise, 1);
    dst_.fill(Fill::zeros, 0);
    set_metadata(*src_);
  }

  void expect_refused(int32_t status, const std::string &message) {
    const auto before = dst_.payload();
    EXPECT_EQ(TavixFrameCopyV2(dst_, src_, 0, 0), status);
    EXPECT_TRUE(log_.only_error("TavixFrameCopyV2", message));
    EXPECT_EQ(dst_.payload(), before);
    EXPECT_EQ(dst_->pts, 0);
    EXPECT_EQ(dst_->video.color_space, 0);
  }

  GuardedFrame src_{{TAVIX_PIX_FMT_I420, 5, 3}}, dst_{{TAVIX_PIX_FMT_I420, 5, 3}};
  RecordedLog log_;
};

TEST_F(FrameCopyRefusal, NullRecords) {
  TavixFrameV2 *src = src_, *dst = dst_;
  const TavixFrameV2 *const none = nullptr;
  EXPECT_EQ(TavixFrameCopyV2(nullptr, src, 0, 0), TAVIX_ERROR_INVALID_PARAM);
  EXPECT_TRUE(log_.only_error("TavixFrameCopyV2",
                              printed("dst(%p) and src(%p) must not be nullptr", none, src)));
  EXPECT_EQ(TavixFrameCopyV2(dst, nullptr, 0, 0), TAVIX_ERROR_INVALID_PARAM);
  EXPECT_TRUE(log_.only_error("TavixFrameCopyV2",
                              printed("dst(%p) and src(%p) must not be nullptr", dst, none)));
}

TEST_F(FrameCopyRefusal, MemoryOtherThanHost) {
  src_->memory = 1;
  expect_refused(TAVIX_ERROR_INVALID_PARAM, "dst memory(0) and src memory(1) must be host memory");
  src_->memory = 0, dst_->memory = 2;
  expect_refused(TAVIX_ERROR_INVALID_PARAM, "dst memory(2) and src memory(0) must be host memory");
}

TEST_F(FrameCopyRefusal, FormatOrSizeDifferent) {
  src_->video.format = TAVIX_PIX_FMT_YV12;
  expect_refused(TAVIX_ERROR_INVALID_PARAM,
                 "dst(format=10, 5x3) and src(format=9, 5x3) must agree");
  src_->video.format = TAVIX_PIX_FMT_I420, src_->video.width = 6;
  expect_refused(TAVIX_ERROR_INVALID_PARAM,
                 "dst(format=10, 5x3) and src(format=10, 6x3) must agree");
  src_->video.width = 5, dst_->video.height = 4;
  expect_refused(TAVIX_ERROR_INVALID_PARAM,
                 "dst(format=10, 5x4) and src(format=10, 5x3) must agree");
}

TEST_F(FrameCopyRefusal, FormatsWithoutPlanes) {
  for (const int32_t format : {-1, 3, 6, 16, 17, INT_MIN, INT_MAX}) {
    src_->video.format = dst_->video.format = format;
    expect_refused(TAVIX_ERROR_UNSUPPORTED,
                   printed("frames of format %d have no planes to copy", format));
  }
}

// Such rows lie where no 32-bit product of row and stride reaches.
TEST_F(FrameCopyRefusal, PlanesBeyond32BitOffsets) {
  constexpr struct {
    int32_t linesize, height, rows;
    size_t plane;
  } kFar[] = {{1 << 30, 3, 3, 0}, {-(1 << 30), 3, 3, 0}, {INT_MIN, 2, 2, 0},
              {INT_MAX, 3, 3, 0}, {INT_MAX, 5, 3, 2},    {2, INT_MAX, INT_MAX, 0}};
  for (const auto &[linesize, height, rows, plane] : kFar) {
    src_->video.height = dst_->video.height = height;
    for (GuardedFrame *frame : {&src_, &dst_}) {
      const int32_t before = std::exchange((*frame)->linesize[plane], linesize);
      expect_refused(TAVIX_ERROR_INVALID_PARAM,
                     printed("plane %zu of dst(linesize=%d) and src(linesize=%d) is too large for "
                             "%d rows",
                             plane, dst_->linesize[plane], src_->linesize[plane], rows));
      (*frame)->linesize[plane] = before;
    }
  }
}

TEST_F(FrameCopyRefusal, NullPlanes) {
  for (const int plane : {0, 1, 2}) {
    for (GuardedFrame *frame : {&src_, &dst_}) {
      uint8_t *const plane_data = (*frame)->data[plane];
      (*frame)->data[plane] = nullptr;
      expect_refused(TAVIX_ERROR_INVALID_PARAM,
                     printed("plane %d of dst(%p) and src(%p) must not be nullptr", plane,
                             dst_->data[plane], src_->data[plane]));
      (*frame)->data[plane] = plane_data;
    }
  }
}

}  // namespace
}  // namespace tavix::test
