// SPDX-License-Identifier: Apache-2.0
// Rows that store their results past the caches give what rows give that do not. Here every row
// does that starts at a whole line: the cache is said to have one byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <vector>

#include "cpu/x86/past_caches.h"
#include "cpu/x86/prefetch.h"
#include "support/guarded_blob.h"
#include "support/guarded_frame.h"
#include "support/names.h"
#include "support/seams.h"
#include "tavix/video_common_cpu.h"

namespace tavix::test {
namespace {

constexpr int64_t kTiny = 1, kUnknown = 0;
constexpr int32_t kFormats[] = {TAVIX_PIX_FMT_GRAY8,   TAVIX_PIX_FMT_BGR24,  TAVIX_PIX_FMT_BGRA32,
                                TAVIX_PIX_FMT_GRAYF32, TAVIX_PIX_FMT_BGRF32, TAVIX_PIX_FMT_BGRAF32};
constexpr int32_t kWidths[] = {1, 5, 16, 31, 64, 100, 200};

// Packed rows without gaps, the first at a whole line, or some bytes off it.
GuardedFrame frame_at(const FrameShape &shape, int32_t off, uint64_t seed) {
  const auto bytes = int32_t(GuardedFrame(shape).payload().size());
  GuardedFrame frame(shape, {.shift = (64 - bytes % 64) % 64 + (64 - off) % 64});
  EXPECT_EQ(reinterpret_cast<uintptr_t>(frame->data[0]) % 64, uintptr_t(off));
  frame.fill(Fill::noise, seed);
  return frame;
}

// Expects the same from run with a cache that holds nothing as with one of unknown size.
void expect_same(const std::function<std::vector<uint8_t>()> &run) {
  for (const module::CpuLevel level : levels()) {
    SCOPED_TRACE(name_of(level));
    const ScopedLevel scoped(level);
    module::cpu_features();  // the probe comes first, so that it cannot undo the change
    std::vector<uint8_t> results[2];
    for (const int64_t cache : {kUnknown, kTiny}) {
      const Scoped<int64_t> size(module::detail::last_cache, cache);
      results[cache] = run();
    }
    EXPECT_EQ(results[kUnknown], results[kTiny]);
  }
}

TEST(PastCaches, AreRowsBeyondTheCacheThatStartAtALine) {
  alignas(64) const uint8_t line[64] = {};
  module::cpu_features();
  const Scoped<int64_t> cache(module::detail::last_cache, 1000);
  EXPECT_FALSE(module::goes_past_caches(1250, line));
  EXPECT_TRUE(module::goes_past_caches(1251, line));
  EXPECT_FALSE(module::goes_past_caches(1251, line + 32));
  module::detail::last_cache = kUnknown;
  EXPECT_FALSE(module::goes_past_caches(INT64_MAX, line));
}

TEST(AskingAhead, LongStreamsAskOnProcessorsOfOneMakerOnly) {
  module::cpu_features();
  constexpr module::Ahead kRows = {100, 1000};
  for (const char initial : {'G', 'A'}) {
    const Scoped<char> vendor(module::detail::features.vendor[0], initial);
    EXPECT_FALSE(kRows.holds(100));
    EXPECT_TRUE(kRows.holds(101));
    EXPECT_TRUE(kRows.holds(1000));
    EXPECT_EQ(kRows.holds(1001), initial == 'G');
  }
}

TEST(PastCaches, BinaryArithmeticIsTheSame) {
  constexpr double kAlpha[4] = {1, 0.7, 1.3, 2}, kOne[4] = {1, 1, 1, 1},
                   kGamma[4] = {0, 3, 0.5, -2};
  for (const int32_t format : kFormats) {
    for (uint32_t op = TAVIX_BINARY_OP_ADD; op <= TAVIX_BINARY_OP_XOR; ++op) {
      for (const int32_t width : kWidths) {
        for (const int32_t off : {0, 4}) {
          for (const double *alpha : {kOne, kAlpha}) {
            SCOPED_TRACE(::testing::Message() << format_name(format) << ' ' << binary_op_name(op)
                                              << ", width " << width << ", off by " << off);
            const FrameShape shape = {format, width, 3};
            GuardedFrame a = frame_at(shape, 0, 1), b = frame_at(shape, 8, 2);
            GuardedFrame dst = frame_at(shape, off, 3);
            expect_same([&] {
              dst.fill(Fill::noise, 3);
              EXPECT_EQ(TavixFrameBinaryArithmeticByCPU(a, b, op, alpha, kOne, kGamma, dst),
                        TAVIX_OK);
              EXPECT_TRUE(dst.intact());
              return dst.payload();
            });
          }
        }
      }
    }
  }
}

TEST(PastCaches, UnaryArithmeticInPlaceIsTheSame) {
  constexpr double kScale[4] = {1, 0.7, 1.3, 2}, kOffset[4] = {0, 3, 0.5, -2};
  for (const int32_t format : kFormats) {
    for (int32_t op = TAVIX_UNARY_OP_MUL_ADD; op <= TAVIX_UNARY_OP_LOG; ++op) {
      for (const int32_t width : kWidths) {
        SCOPED_TRACE(::testing::Message()
                     << format_name(format) << ' ' << unary_op_name(op) << ", width " << width);
        GuardedFrame frame = frame_at({format, width, 3}, 0, 1);
        const auto before = frame.payload();
        expect_same([&] {
          frame.set_payload(before);
          EXPECT_EQ(TavixFrameUnaryArithmeticByCPU(frame, op, kScale, kOffset, frame), TAVIX_OK);
          EXPECT_TRUE(frame.intact());
          return frame.payload();
        });
      }
    }
  }
}

TEST(PastCaches, PackedColourIsTheSame) {
  int converted = 0;
  for (const int32_t from : kFormats) {
    for (const int32_t to : {TAVIX_PIX_FMT_GRAY8, TAVIX_PIX_FMT_RGB24, TAVIX_PIX_FMT_RGBA32,
                             TAVIX_PIX_FMT_RGBF32, TAVIX_PIX_FMT_RGBAF32}) {
      for (const int32_t width : kWidths) {
        for (const int32_t off : {0, 4}) {
          GuardedFrame src = frame_at({from, width, 3}, 8, 1),
                       dst = frame_at({to, width, 3}, off, 2);
          if (TavixFrameConvertColorByCPU(src, dst) != TAVIX_OK) continue;  // no such conversion
          ++converted;
          SCOPED_TRACE(::testing::Message() << format_name(from) << " -> " << format_name(to)
                                            << ", width " << width << ", off by " << off);
          expect_same([&] {
            dst.fill(Fill::noise, 2);
            EXPECT_EQ(TavixFrameConvertColorByCPU(src, dst), TAVIX_OK);
            EXPECT_TRUE(dst.intact());
            return dst.payload();
          });
        }
      }
    }
  }
  EXPECT_GT(converted, 200);
}

TEST(PastCaches, ColourOutOfFourTwoZeroIsTheSame) {
  for (const int32_t from : {TAVIX_PIX_FMT_NV12, TAVIX_PIX_FMT_NV21, TAVIX_PIX_FMT_I420}) {
    for (const int32_t to :
         {TAVIX_PIX_FMT_RGB24, TAVIX_PIX_FMT_BGRA32, TAVIX_PIX_FMT_BGRF32, TAVIX_PIX_FMT_RGBAF32}) {
      // Every row of 64 or 448 pixels starts at a whole line, and other rows do not.
      for (const int32_t width : {64, 448, 66, 7}) {
        SCOPED_TRACE(::testing::Message()
                     << format_name(from) << " -> " << format_name(to) << ", width " << width);
        GuardedFrame src({from, width, 6}), dst = frame_at({to, width, 6}, 0, 2);
        src.fill(Fill::noise, 1);
        expect_same([&] {
          dst.fill(Fill::noise, 2);
          EXPECT_EQ(TavixFrameConvertColorByCPU(src, dst), TAVIX_OK);
          EXPECT_TRUE(dst.intact());
          return dst.payload();
        });
      }
    }
  }
}

TEST(PastCaches, TensorsAreTheSame) {
  for (const int32_t format :
       {TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_BGRA32, TAVIX_PIX_FMT_BGRF32, TAVIX_PIX_FMT_BGRAF32}) {
    // Planes of 64 pixels in 16 rows start at whole lines, others do not.
    for (const int32_t width : {64, 33, 7}) {
      SCOPED_TRACE(::testing::Message() << format_name(format) << ", width " << width);
      GuardedFrame frame = frame_at({format, width, 16}, 0, 1);
      const bool floats = format == TAVIX_PIX_FMT_BGRF32 || format == TAVIX_PIX_FMT_BGRAF32;
      GuardedBlob blob(floats ? TAVIX_DATA_TYPE_FLOAT32 : TAVIX_DATA_TYPE_UINT8,
                       TAVIX_DATA_FORMAT_NCHW, {1, frame->video.channels, 16, width});
      const auto pixels = frame.payload();
      expect_same([&] {
        const auto elements = blob.elements<uint8_t>();
        std::ranges::fill(elements, uint8_t(0));
        frame.set_payload(pixels);
        EXPECT_EQ(TavixFrameToBlobByCPU(frame, blob), TAVIX_OK);
        EXPECT_TRUE(blob.intact());
        return std::vector<uint8_t>(elements.begin(), elements.end());
      });
      expect_same([&] {
        frame.set_payload(std::vector<uint8_t>(pixels.size()));
        EXPECT_EQ(TavixBlobToFrameByCPU(blob, frame), TAVIX_OK);
        EXPECT_TRUE(frame.intact());
        EXPECT_EQ(frame.payload(), pixels);
        return frame.payload();
      });
    }
  }
}

}  // namespace
}  // namespace tavix::test
