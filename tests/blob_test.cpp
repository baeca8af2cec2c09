// SPDX-License-Identifier: Apache-2.0
// Frames into blobs and back, bit for bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "blob_reference.h"
#include "common/log.h"
#include "support/compare.h"
#include "support/core_double.h"
#include "support/guarded_blob.h"
#include "support/guarded_frame.h"
#include "support/seams.h"
#include "support/sweep.h"
#include "tavix/video_common_cpu.h"
#include "tavix_blob_set_cpu/blob_layouts.h"

namespace tavix::test {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes bytes_of(const GuardedBlob &blob) {
  const auto elements = blob.elements<uint8_t>();
  return {elements.begin(), elements.end()};
}

void fill(std::span<uint8_t> bytes, Random &random) {
  std::generate(bytes.begin(), bytes.end(), [&] { return uint8_t(random.next()); });
}

// Conversions run on the calling thread: only the processor matters.
void for_each_processor(const std::function<void()> &run) {
  for_each_path([&](const Path &path) {
    if (path.workers == 1) run();
  });
}

uint32_t layout(bool planar) {
  return planar ? TAVIX_DATA_FORMAT_NCHW : TAVIX_DATA_FORMAT_NHWC;
}

const char *to_blob_name(bool planar) {
  return planar ? "FrameHWCToBlobNCHWByCPU" : "FrameHWCToBlobNHWCByCPU";
}
const char *to_frame_name(bool planar) {
  return planar ? "BlobNCHWToFrameHWCByCPU" : "BlobNHWCToFrameHWCByCPU";
}

// The note of a frame that a blob does not cover.
std::vector<LogLine> note(int32_t level, const char *function, const char *frame, const char *blob,
                          const TavixVideoInfo &video, const Extents &e) {
  if (video.width == e.w && video.height == e.h && video.channels == e.c) return {};
  return {{level, module::kBlobSetUnit, function,
           printed("%s_frame_width:%d %s_frame_height:%d %s_frame_channel:%d is different from "
                   "%s_blob_width:%d %s_blob_height:%d %s_blob_channel:%d",
                   frame, video.width, frame, video.height, frame, video.channels, blob, e.w, blob,
                   e.h, blob, e.c)}};
}

struct Case {
  Extents extents;
  uint32_t data_type;
  bool planar, by_list;
};

std::ostream &operator<<(std::ostream &out, const Case &c) {
  return out << (c.planar ? "NCHW " : "NHWC ") << c.extents.n << " x " << c.extents.c << " x "
             << c.extents.h << " x " << c.extents.w << ", " << data_type_name(c.data_type)
             << (c.by_list ? ", list" : ", frame");
}

template <class T>
void check_frame_to_blob(const GuardedFrame &src, const Case &c) {
  SCOPED_TRACE(::testing::Message() << "frame to blob " << c);
  const Bytes before = src.payload();
  const Bytes expected = expected_blob<T>(src, c.data_type, c.extents, c.planar);
  for_each_processor([&] {
    GuardedBlob blob(c.data_type, layout(c.planar), c.extents.dims(c.planar));
    TavixFrameV2 frame = *src, *frames[] = {&frame};
    const TavixFrames list{frames, 1};
    EXPECT_EQ(c.by_list ? TavixFramesToBlobByCPU(&list, blob) : TavixFrameToBlobByCPU(&frame, blob),
              TAVIX_OK);
    EXPECT_EQ(core_double().take_logs(),
              note(TAVIX_LOG_DEBUG, to_blob_name(c.planar), "src", "dst", frame.video, c.extents));
    EXPECT_TRUE(same_values<uint8_t>(expected, bytes_of(blob)));
    EXPECT_TRUE(blob.intact());
    EXPECT_TRUE(src.intact() && src.payload() == before);
  });
}

template <class T>
void check_blob_to_frame(const FrameShape &shape, const FrameLayout &frame_layout, const Case &c,
                         uint64_t seed, const Bytes &content = {}) {
  SCOPED_TRACE(::testing::Message() << "blob to frame " << c);
  Random random(seed);
  GuardedBlob blob(c.data_type, layout(c.planar), c.extents.dims(c.planar));
  fill(blob.elements<uint8_t>(), random);
  std::copy(content.begin(), content.end(), blob.elements<uint8_t>().begin());
  const Bytes before = bytes_of(blob);
  GuardedFrame expected(shape, frame_layout);
  expected.fill(Fill::noise, seed);
  write_expected<T>(before.data(), c.data_type, c.extents, c.planar, expected);
  for_each_processor([&] {
    GuardedFrame dst(shape, frame_layout);
    dst.fill(Fill::noise, seed);
    TavixFrameV2 *frames[] = {dst};
    TavixFrames list{frames, 1};
    EXPECT_EQ(c.by_list ? TavixBlobToFramesByCPU(blob, &list) : TavixBlobToFrameByCPU(blob, dst),
              TAVIX_OK);
    EXPECT_EQ(core_double().take_logs(), note(TAVIX_LOG_WARNING, to_frame_name(c.planar), "dst",
                                              "src", dst->video, c.extents));
    EXPECT_TRUE(same_values<uint8_t>(expected.payload(), dst.payload()));
    EXPECT_TRUE(dst.intact());
    EXPECT_TRUE(blob.intact() && bytes_of(blob) == before);
  });
}

void check_both_ways(const GuardedFrame &src, const FrameLayout &frame_layout, const Case &c,
                     uint64_t seed) {
  const TavixVideoInfo &video = src->video;
  const FrameShape shape{video.format, video.width, video.height, video.channels};
  if (is_float_format(video.format)) {
    check_frame_to_blob<float>(src, c);
    check_blob_to_frame<float>(shape, frame_layout, c, seed);
  } else {
    check_frame_to_blob<uint8_t>(src, c);
    check_blob_to_frame<uint8_t>(shape, frame_layout, c, seed);
  }
}

// The whole frame, or a part of it.
int32_t part(int32_t whole, Random &random) {
  return random.below(3) == 0 ? random.below(whole + 1) : whole;
}

void check_all_types(const SweepCase &s) {
  GuardedFrame src(s.shape, s.layout);
  src.fill(s.fill, s.seed);
  const TavixVideoInfo &video = src->video;
  Random random(s.seed);
  for (const uint32_t data_type : kBlobTypes) {
    for (const bool planar : {false, true}) {
      const Extents extents{1 + random.below(3), part(video.channels, random),
                            part(video.height, random), part(video.width, random)};
      check_both_ways(src, s.layout, {extents, data_type, planar, random.below(2) == 0}, s.seed);
    }
  }
}

// Widths up to a vector block and over it, and those around the strips rows are cut into.
std::vector<int32_t> widths() {
  std::vector<int32_t> list = numbers(1, 130);
  list.insert(list.end(), {511, 512, 513, 543, 1024, 1061});
  return list;
}

TEST(Blob, HoldsEveryFormatInEveryTypeAndLayout) {
  sweep({.formats = kRgbFormats, .widths = widths()}, 400, check_all_types);
}

// Some megabytes without gaps are copied in one piece.
TEST(Blob, LongCopies) {
  GuardedFrame src({TAVIX_PIX_FMT_BGR24, 1301, 1103});
  src.fill(Fill::noise, 1);
  check_both_ways(src, {}, {{1, 3, 1103, 1301}, TAVIX_DATA_TYPE_UINT8, false, false}, 2);
}

// Outside the RGB family the first plane counts as bytes of as many channels as the record says.
TEST(Blob, TakesTheFirstPlaneOfOtherFormats) {
  sweep({.formats = kOtherFormats, .widths = {1, 33, 64}, .heights = {0, 2}}, 60,
        [](const SweepCase &s) {
          GuardedFrame planes({TAVIX_PIX_FMT_GRAY8, s.shape.width, s.shape.height}, s.layout);
          planes.fill(s.fill, s.seed);
          planes->video.format = s.shape.format;
          const Extents extents{2, 1, s.shape.height, s.shape.width};
          for (const uint32_t data_type : kBlobTypes)
            check_frame_to_blob<uint8_t>(planes, {extents, data_type, true, false});
        });
}

// Strips hold a limited number of elements; pixels may have any.
TEST(Blob, TakesAnyNumberOfChannels) {
  Random random(1);
  for (const int32_t format : {TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_BGRF32}) {
    for (const int32_t channels : {1, 2, 3, 4, 5, 17, 2047, 2048, 2049, 5000}) {
      const FrameShape shape{format, channels < 100 ? 600 : 3, 2, channels};
      GuardedFrame src(shape);
      src.fill(Fill::noise, uint64_t(channels));
      for (const int32_t used : {1, channels - 1, channels}) {
        for (const bool planar : {false, true}) {
          const Extents extents{1, used, 2, shape.width};
          for (const uint32_t data_type : {TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_TYPE_UINT8})
            check_both_ways(src, {}, {extents, data_type, planar, false}, 3);
        }
      }
    }
  }
}

// Floats of any bits: every exponent, NaN of every kind.
TEST(Blob, TruncatesEveryKindOfFloat) {
  const int32_t width = by_effort(40000, 4000);
  GuardedFrame src({TAVIX_PIX_FMT_GRAYF32, width, 2});
  Random random(7);
  for (int32_t x = 0; x < width; ++x) {
    src.set(x, 0, uint32_t(random.next()));
    // Next to the integers, over the whole range of 64 bits.
    const double near = std::ldexp(1.0 + random.below(256) / 256.0, random.below(66) - 1);
    const float value = std::nextafter(float(near), random.below(2) == 0 ? 0.0f : 1e30f);
    src.set(x, 1, random.below(2) == 0 ? value : -value);
  }
  for (const uint32_t data_type : kBlobTypes)
    check_frame_to_blob<float>(src, {{1, 1, 2, width}, data_type, true, false});
}

template <class T>
Bytes integers(int32_t count, Random &random) {
  Bytes bytes(size_t(count) * sizeof(T));
  for (int32_t i = 0; i < count; ++i) {
    // A leading one, a tail that is a tie of floats or next to it, either sign.
    const int shift = random.below(64);
    const uint64_t lead = (uint64_t(1) << 63 | random.next() << 32) >> shift;
    const uint64_t tie = shift < 39 ? uint64_t(1) << (39 - shift) : 0;
    const uint64_t near =
        lead - lead % (2 * tie + (tie == 0)) + tie + uint64_t(random.below(3)) - 1;
    const T value = T(random.below(2) == 0 ? near : 0 - near);
    std::memcpy(&bytes[size_t(i) * sizeof(T)], &value, sizeof(T));
  }
  return bytes;
}

// Ties, and integers next to them on either side, whatever lies between them and a double.
TEST(Blob, RoundsIntegersToFloatsOnce) {
  const int32_t width = by_effort(40000, 4000);
  Random random(11);
  const FrameShape shape{TAVIX_PIX_FMT_GRAYF32, width, 1};
  const auto check = [&](uint32_t data_type, const Bytes &content) {
    check_blob_to_frame<float>(shape, {}, {{1, 1, 1, width}, data_type, true, false}, 1, content);
  };
  check(TAVIX_DATA_TYPE_INT64, integers<int64_t>(width, random));
  check(TAVIX_DATA_TYPE_UINT32, integers<uint32_t>(width, random));
  check(TAVIX_DATA_TYPE_INT32, integers<int32_t>(width, random));
  check(TAVIX_DATA_TYPE_INT64, Bytes(size_t(width) * 8, 0xFF));
}

TEST(Blob, KeepsTheLastImageOfABatch) {
  GuardedBlob blob(TAVIX_DATA_TYPE_UINT8, TAVIX_DATA_FORMAT_NCHW, {3, 1, 1, 2});
  const uint8_t images[] = {1, 2, 3, 4, 5, 6};
  std::copy_n(images, 6, blob.elements<uint8_t>().begin());
  GuardedFrame dst({TAVIX_PIX_FMT_GRAY8, 2, 1});
  EXPECT_SILENT(TavixBlobToFrameByCPU(blob, dst));
  EXPECT_EQ(dst.payload(), (Bytes{5, 6}));
}

// A few values anyone can check by hand.
TEST(Blob, WrapsInsteadOfSaturating) {
  const struct {
    float value;
    uint8_t byte;
  } kRows[] = {{255.9f, 255}, {256.0f, 0},   {300.7f, 44}, {-1.5f, 255},      {-0.9f, 0},
               {0x1p31f, 0},  {-0x1p31f, 0}, {1e30f, 0},   {std::nanf(""), 0}};
  GuardedFrame floats({TAVIX_PIX_FMT_GRAYF32, 1, 1}), bytes({TAVIX_PIX_FMT_GRAY8, 1, 1});
  GuardedBlob blob(TAVIX_DATA_TYPE_UINT8, TAVIX_DATA_FORMAT_NCHW, {1, 1, 1, 1});
  GuardedBlob float_blob(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NCHW, {1, 1, 1, 1});
  GuardedBlob words(TAVIX_DATA_TYPE_UINT16, TAVIX_DATA_FORMAT_NHWC, {1, 1, 1, 1});
  for_each_processor([&] {
    for (const auto &row : kRows) {
      floats.set(0, 0, row.value);
      EXPECT_EQ(TavixFrameToBlobByCPU(floats, blob), TAVIX_OK);
      EXPECT_EQ(blob.elements<uint8_t>()[0], row.byte) << row.value;
      float_blob.elements<float>()[0] = row.value;
      EXPECT_EQ(TavixBlobToFrameByCPU(float_blob, bytes), TAVIX_OK);
      EXPECT_EQ(bytes.get<uint8_t>(0, 0), row.byte) << row.value;
    }
    words.elements<uint16_t>()[0] = 0x134;
    EXPECT_EQ(TavixBlobToFrameByCPU(words, bytes), TAVIX_OK);
    EXPECT_EQ(bytes.get<uint8_t>(0, 0), 0x34);
  });
}

// The storage of a blob may start anywhere.
TEST(Blob, NeedsNoAlignment) {
  const Extents extents{1, 3, 3, 37};
  const GuardedFrame source = [] {
    GuardedFrame frame({TAVIX_PIX_FMT_BGRF32, 37, 3}, {.pad = 3, .shift = 1});
    frame.fill(Fill::noise, 5);
    return frame;
  }();
  for (const uint32_t data_type : kBlobTypes) {
    for (const bool planar : {false, true}) {
      const Bytes expected = expected_blob<float>(source, data_type, extents, planar);
      for_each_processor([&] {
        GuardedBlob blob(data_type, layout(planar), extents.dims(planar), expected.size() + 1);
        EXPECT_SILENT(TavixFrameToBlobByCPU(source, blob));
        Bytes actual = bytes_of(blob);
        EXPECT_EQ(actual.back(), kSentinel);
        actual.pop_back();
        EXPECT_TRUE(same_values<uint8_t>(expected, actual));

        GuardedFrame back({TAVIX_PIX_FMT_BGRF32, 37, 3}, {.pad = 3, .shift = 1});
        GuardedFrame expected_back({TAVIX_PIX_FMT_BGRF32, 37, 3}, {.pad = 3, .shift = 1});
        write_expected<float>(expected.data(), data_type, extents, planar, expected_back);
        EXPECT_SILENT(TavixBlobToFrameByCPU(blob, back));
        EXPECT_EQ(back.payload(), expected_back.payload());
      });
    }
  }
}

// An element that is never reached is of no type.
TEST(Blob, AcceptsAnyTypeWithoutElements) {
  GuardedFrame frame({TAVIX_PIX_FMT_BGR24, 4, 4});
  frame.fill(Fill::noise, 1);
  const Bytes before = frame.payload();
  for (const uint32_t data_type : {0u, 1u, 4u, 99u}) {
    for (const bool planar : {false, true}) {
      for (const std::vector<int32_t> &dims :
           std::vector<std::vector<int32_t>>{{0, 3, 3, 3},
                                             {1, 0, 4, 3},
                                             {1, 3, 0, 3},
                                             {1, 3, 3, 0},
                                             {-1, 3, 3, 3},
                                             {INT32_MIN, 3, 3, 3},
                                             {INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN}}) {
        GuardedBlob blob(data_type, layout(planar), {}, 8);
        blob->dims_size = 4;
        std::copy(dims.begin(), dims.end(), blob->dims);
        EXPECT_EQ(TavixFrameToBlobByCPU(frame, blob), TAVIX_OK);
        EXPECT_EQ(TavixBlobToFrameByCPU(blob, frame), TAVIX_OK);
        EXPECT_TRUE(blob.intact() && bytes_of(blob) == Bytes(8, kSentinel));
        EXPECT_TRUE(frame.intact() && frame.payload() == before);
        for (const LogLine &line : core_double().take_logs())
          EXPECT_LT(line.level, TAVIX_LOG_ERROR) << line;
      }
    }
  }
}

// Conversions share nothing: one frame, a blob for each thread.
TEST(Blob, ConversionsAreIndependent) {
  GuardedFrame src({TAVIX_PIX_FMT_BGRF32, 129, 33});
  src.fill(Fill::noise, 3);
  const Extents extents{2, 3, 33, 129};
  std::vector<std::thread> threads;
  for (const uint32_t data_type : {TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_TYPE_UINT8,
                                   TAVIX_DATA_TYPE_INT16, TAVIX_DATA_TYPE_INT64}) {
    threads.emplace_back([&, data_type] {
      const Bytes expected = expected_blob<float>(src, data_type, extents, true);
      GuardedBlob blob(data_type, TAVIX_DATA_FORMAT_NCHW, extents.dims(true));
      for (int repeat = 0; repeat < 10; ++repeat) {
        EXPECT_EQ(TavixFrameToBlobByCPU(src, blob), TAVIX_OK);
        EXPECT_EQ(bytes_of(blob), expected);
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
}

// The NHWC converter reads the extents as the blob declares them, and writes in NHWC order.
TEST(Blob, NhwcConverterBelievesTheBlobsLayout) {
  GuardedFrame src({TAVIX_PIX_FMT_BGR24, 5, 2});
  src.fill(Fill::noise, 2);
  TavixFrameV2 *frames[] = {src};
  const TavixFrames list{frames, 1};
  GuardedBlob blob(TAVIX_DATA_TYPE_UINT8, TAVIX_DATA_FORMAT_NCHW, {1, 3, 2, 5});
  EXPECT_SILENT(module::FrameHWCToBlobNHWCByCPU(&list, blob));
  EXPECT_EQ(bytes_of(blob), src.payload());
}

}  // namespace
}  // namespace tavix::test
