// SPDX-License-Identifier: Apache-2.0
// The normalising conversion between 8-bit and float frames, bit for bit, and its refusals.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "common/log.h"
#include "normalization_reference.h"
#include "support/compare.h"
#include "support/core_double.h"
#include "support/guarded_frame.h"
#include "support/seams.h"
#include "support/sweep.h"
#include "tavix/video_common_cpu.h"

namespace tavix::test {
namespace {

constexpr char kFunction[] = "TavixFrameDataTypeConvertNormalizationFuseByCPU";
constexpr auto &kUnit = module::kFrameConvertUnit;

constexpr NormVals kNeutral = {0, 0, 0, 0, 1, 1, 1, 1};
// Makes +0 of -0, which +0 leaves alone.
constexpr NormVals kNegativeZeros = {-0.0f, -0.0f, -0.0f, -0.0f, 1, 1, 1, 1};

struct Frame {
  TavixFrameV2 *frame = nullptr;
  ~Frame() { TavixFrameFreeV2(frame); }
  TavixFrameV2 *operator->() const { return frame; }
};

int32_t convert(const TavixFrameV2 *src, Frame &dst, int32_t data_type, const float *norm_vals) {
  return TavixFrameDataTypeConvertNormalizationFuseByCPU(src, &dst.frame, data_type, norm_vals);
}

// Both types, both paths; looks at the new frame, what was asked of the core, and the source.
void check(const GuardedFrame &src, const NormVals &values) {
  const int32_t format = src->video.format;
  const auto before = src.payload();
  for (const int32_t data_type : {TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_TYPE_UINT8}) {
    const bool to_float = data_type == TAVIX_DATA_TYPE_FLOAT32;
    const int32_t dst_format = to_float == is_float_format(format) ? format : float_partner(format);
    for_each_path([&](const Path &path) {
      if (path.workers != 1) return;
      SCOPED_TRACE(::testing::Message() << "to " << data_type_name(uint32_t(data_type)));
      core_double().reset();
      Frame dst;
      EXPECT_EQ(convert(src, dst, data_type, values.data()), TAVIX_OK);
      EXPECT_TRUE(logged_nothing());
      ASSERT_NE(dst.frame, nullptr);
      const auto requests = core_double().frame_requests();
      ASSERT_EQ(requests.size(), 1u);
      EXPECT_EQ(requests[0].format, dst_format);
      EXPECT_EQ(requests[0].memory, src->memory);
      EXPECT_EQ(requests[0].width, src->video.width);
      EXPECT_EQ(requests[0].height, src->video.height);
      EXPECT_EQ(requests[0].device, src->device);
      EXPECT_EQ(requests[0].alignment, 1);
      EXPECT_EQ(requests[0].frame, dst.frame);
      expect_normalized(src, *dst.frame, values);
      EXPECT_TRUE(src.intact() && src.payload() == before);
    });
  }
}

// Means and scales of ordinary pictures, of either sign, and of no picture at all.
NormVals random_values(Random &random) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  constexpr float kOdd[] = {0.0f, -0.0f, 1e30f, -1e30f, kInfinity, 1e-40f, 0.5f, 255.0f};
  NormVals values;
  for (size_t i = 0; i < values.size(); ++i) {
    const float ordinary = float(random.below(20001) - 10000) / (i < 4 ? 37.0f : 3001.0f);
    values[i] = random.below(12) == 0 ? kOdd[random.below(8)] : ordinary;
  }
  return values;
}

TEST(Normalization, EveryFormatSizeAndStride) {
  std::vector<int32_t> widths = numbers(1, 130);
  widths.insert(widths.end(), {191, 192, 193, 1000});
  sweep({.formats = kRgbFormats, .widths = widths, .heights = numbers(1, 5)}, 1200,
        [](const SweepCase &s) {
          GuardedFrame src(s.shape, s.layout);
          src.fill(s.fill, s.seed);
          src->device = s.seed;
          Random random(s.seed);
          const int32_t kind = random.below(8);
          check(src, kind == 0 ? kNeutral : kind == 1 ? kNegativeZeros : random_values(random));
        });
}

// Rows with gaps as wide as themselves, in frames whose new form has none.
TEST(Normalization, GapsAsWideAsRows) {
  for (const int32_t format : kRgbFormats) {
    const int32_t row_bytes = 16 * channels_of(format) * (is_float_format(format) ? 4 : 1);
    for (const int32_t times : {1, 3}) {
      SCOPED_TRACE(::testing::Message() << format_name(format) << ", " << times << " times");
      GuardedFrame src({format, 16, 3}, {.pad = times * row_bytes});
      src.fill(Fill::noise, 5);
      check(src, kNeutral);
    }
  }
}

// Without a float form, bytes stay bytes; what is converted is the first plane.
TEST(Normalization, FirstPlaneOfOtherFormats) {
  GuardedFrame src({TAVIX_PIX_FMT_NV12, 34, 4});
  src.fill(Fill::noise, 1);
  const NormVals values = {3, 0, 0, 0, 1.25f, 0, 0, 0};
  Frame dst;
  EXPECT_EQ(convert(src, dst, TAVIX_DATA_TYPE_UINT8, values.data()), TAVIX_OK);
  EXPECT_EQ(dst->video.format, TAVIX_PIX_FMT_NV12);
  expect_normalized<uint8_t, uint8_t>(src, *dst.frame, values);
}

// Fewer channels than the format has are converted as the record says.
TEST(Normalization, FewerChannelsThanTheFormat) {
  GuardedFrame src({TAVIX_PIX_FMT_BGRA32, 33, 2, 2});
  src.fill(Fill::noise, 1);
  const NormVals values = {1, 2, 3, 4, 5, 6, 7, 8};
  Frame dst;
  EXPECT_EQ(convert(src, dst, TAVIX_DATA_TYPE_FLOAT32, values.data()), TAVIX_OK);
  expect_normalized<uint8_t, float>(src, *dst.frame, values);
}

// The floats next to every tie and every integer of 0..255, where one rounding more would show.
TEST(Normalization, RoundsHalvesUp) {
  std::vector<float> values = {2.5f,
                               254.6f,
                               -7.0f,
                               300.0f,
                               254.5f,
                               255.0f,
                               -0.0f,
                               0x1.fffffep-2f,
                               0x1p-149f,
                               -0x1p-149f,
                               std::nanf(""),
                               -std::nanf(""),
                               std::numeric_limits<float>::infinity(),
                               -std::numeric_limits<float>::infinity()};
  for (int32_t half = 0; half <= 512; ++half) {
    for (int32_t step = -8; step <= 8; ++step) {
      float value = float(half) / 2;
      for (int32_t i = 0; i < std::abs(step); ++i)
        value = std::nextafter(value, step < 0 ? -1000.0f : 1000.0f);
      values.push_back(value);
    }
  }
  Random random(1);
  for (int32_t i = 0; i < by_effort(1000000, 20000); ++i) {
    const auto bits = uint32_t(random.next() % 0x43800000u);  // up to 256
    float value;
    std::memcpy(&value, &bits, sizeof(value));
    values.push_back(value);
  }
  GuardedFrame src({TAVIX_PIX_FMT_GRAYF32, int32_t(values.size()), 1});
  for (size_t i = 0; i < values.size(); ++i) src.set(int64_t(i), 0, values[i]);
  check(src, kNeutral);

  Frame dst;
  ASSERT_EQ(convert(src, dst, TAVIX_DATA_TYPE_UINT8, kNeutral.data()), TAVIX_OK);
  const std::vector<uint8_t> first(dst->data[0], dst->data[0] + 12);
  EXPECT_EQ(first, (std::vector<uint8_t>{3, 255, 0, 255, 255, 255, 0, 0, 0, 0, 0, 0}));
}

TEST(Normalization, ImageToUnitRangeAndBack) {
  GuardedFrame image({TAVIX_PIX_FMT_RGB24, 16, 16});
  for (int32_t i = 0; i < 256; ++i)
    for (int32_t c = 0; c < 3; ++c) image.set(i % 16 * 3 + c, i / 16, uint8_t(i));
  const NormVals down = {0, 0, 0, 0, 1 / 255.0f, 1 / 255.0f, 1 / 255.0f, 1 / 255.0f};
  const NormVals up = {0, 0, 0, 0, 255, 255, 255, 255};
  Frame unit, back;
  ASSERT_EQ(convert(image, unit, TAVIX_DATA_TYPE_FLOAT32, down.data()), TAVIX_OK);
  ASSERT_EQ(convert(unit.frame, back, TAVIX_DATA_TYPE_UINT8, up.data()), TAVIX_OK);
  EXPECT_EQ(unit->video.format, TAVIX_PIX_FMT_RGBF32);
  EXPECT_TRUE(same_pixels(*image, *back.frame));
}

// Other types are accepted without a word: a frame of the other form, its pixels as the core made
// them.
TEST(Normalization, OtherTypesLeaveThePixelsUnset) {
  GuardedFrame bytes({TAVIX_PIX_FMT_BGR24, 4, 4}), floats({TAVIX_PIX_FMT_GRAYF32, 4, 4});
  bytes->video.channels =
      5;  // as nothing reads a sample, neither channels nor a stride are too much
  floats->linesize[0] = 1 << 30;
  for (const int32_t data_type : {1, 2, 5, 12, -1, INT32_MIN}) {
    for (GuardedFrame *src : {&bytes, &floats}) {
      core_double().alter_frames([](TavixFrameV2 &frame) {
        std::memset(frame.data[0], 0x77, size_t(frame.linesize[0]) * frame.video.height);
      });
      Frame dst;
      EXPECT_EQ(convert(*src, dst, data_type, nullptr), TAVIX_OK);
      EXPECT_TRUE(logged_nothing());
      ASSERT_NE(dst.frame, nullptr);
      EXPECT_EQ(dst->video.format, float_partner((*src)->video.format));
      const size_t size = size_t(dst->linesize[0]) * dst->video.height;
      EXPECT_EQ(std::vector<uint8_t>(dst->data[0], dst->data[0] + size),
                std::vector<uint8_t>(size, 0x77));
    }
  }
}

class NormalizationRefusals : public ::testing::Test {
 protected:
  // Frames the output may hold at the end.
  enum class Output { untouched, null, new_frame };

  void expect_refused(int32_t status, const std::vector<LogLine> &lines, Output output,
                      int32_t data_type = TAVIX_DATA_TYPE_FLOAT32) {
    TavixFrameV2 before;
    TavixFrameV2 *dst = &before;
    EXPECT_EQ(
        TavixFrameDataTypeConvertNormalizationFuseByCPU(src_pointer_, &dst, data_type, norm_vals_),
        status);
    EXPECT_EQ(core_double().take_logs(), lines);
    EXPECT_EQ(core_double().outstanding_frames(), output == Output::new_frame ? 1 : 0);
    switch (output) {
      case Output::untouched:
        EXPECT_EQ(dst, &before);
        EXPECT_TRUE(core_double().frame_requests().empty());
        break;
      case Output::null:
        EXPECT_EQ(dst, nullptr);
        break;
      case Output::new_frame:
        ASSERT_EQ(dst, core_double().frame_requests().back().frame);
        expect_blank(*dst);
        TavixFrameFreeV2(dst);
        break;
    }
  }

  static void expect_blank(const TavixFrameV2 &frame) {
    for (int32_t i = 0; i < frame.linesize[0] * frame.video.height; ++i)
      ASSERT_EQ(frame.data[0][i], 0);
  }

  static LogLine line(const std::string &text, const char *function = kFunction) {
    return {TAVIX_LOG_ERROR, kUnit, function, text};
  }
  static std::vector<LogLine> kernel_lines(const std::string &text) {
    return {line(text, "DataTypeConvertCPU"), line("DataTypeConvertCPU failed:7")};
  }

  GuardedFrame src_{{TAVIX_PIX_FMT_BGR24, 4, 4}};
  TavixFrameV2 *src_pointer_ = src_;
  const float *norm_vals_ = kNeutral.data();
};

TEST_F(NormalizationRefusals, NullSource) {
  src_pointer_ = nullptr;
  expect_refused(TAVIX_ERROR_INVALID_PARAM,
                 {line(printed("src_frame(%p) must not be nullptr", nullptr))}, Output::untouched);
}

TEST_F(NormalizationRefusals, FormatsWithoutTheOtherForm) {
  src_->data[0] = nullptr;  // a later fault
  for (const int32_t format : kOtherFormats) {
    src_->video.format = format;
    const auto text =
        printed("TavixFrameDataTypeConvertByCPU not suppoted input data format:%d", format);
    for (const int32_t data_type : {TAVIX_DATA_TYPE_FLOAT32 + 0, TAVIX_DATA_TYPE_INT64 + 0})
      expect_refused(TAVIX_ERROR_INVALID_PARAM, {line(text)}, Output::untouched, data_type);
    EXPECT_EQ(TavixFrameDataTypeConvertNormalizationFuseByCPU(src_, nullptr, 0, nullptr),
              TAVIX_ERROR_INVALID_PARAM);
    EXPECT_EQ(core_double().take_logs(), std::vector{line(text)}) << "wins over a null output";
  }
  src_->video.format = TAVIX_PIX_FMT_NONE;
  expect_refused(TAVIX_ERROR_INVALID_PARAM,
                 {line("TavixFrameDataTypeConvertByCPU not suppoted input data format:16")},
                 Output::untouched, TAVIX_DATA_TYPE_UINT8);
}

TEST_F(NormalizationRefusals, NullOutput) {
  EXPECT_REFUSED(TavixFrameDataTypeConvertNormalizationFuseByCPU(src_, nullptr, 0, kNeutral.data()),
                 TAVIX_ERROR_INVALID_PARAM, kUnit, kFunction,
                 printed("dst_frame(%p) must not be nullptr", nullptr));
  EXPECT_TRUE(core_double().frame_requests().empty());
}

TEST_F(NormalizationRefusals, FailingAllocation) {
  core_double().fail_frame_allocation();
  src_->data[0] = nullptr;  // a later fault
  expect_refused(TAVIX_ERROR_MEMORY, {line("TavixVideoFrameAllocV2 error")}, Output::null);
}

TEST_F(NormalizationRefusals, NullPlane) {
  src_->data[0] = nullptr;
  norm_vals_ = nullptr;  // a later fault
  const std::vector lines = {line("src_frame data[0] is nullptr")};
  expect_refused(TAVIX_ERROR_INVALID_PARAM, lines, Output::null);
  expect_refused(TAVIX_ERROR_INVALID_PARAM, lines, Output::null, TAVIX_DATA_TYPE_INT64);
}

TEST_F(NormalizationRefusals, NullParameters) {
  norm_vals_ = nullptr;
  TavixFrameV2 *dst = nullptr;
  core_double().alter_frames([&](TavixFrameV2 &frame) {
    dst = &frame;
    frame.video.width = 5;  // a later fault
  });
  EXPECT_EQ(TavixFrameDataTypeConvertNormalizationFuseByCPU(src_, &dst, 0, nullptr),
            TAVIX_ERROR_INVALID_PARAM);
  EXPECT_EQ(core_double().take_logs(),
            kernel_lines(printed("DataTypeConvertCPU src_frame:%p des_frame:%p or norm_vals:%p is "
                                 "nullptr",
                                 static_cast<void *>(&*src_), static_cast<void *>(dst), nullptr)));
  EXPECT_EQ(core_double().outstanding_frames(), 1);
  dst->video.width = 4;
  expect_blank(*dst);
  TavixFrameFreeV2(dst);
}

// A core whose frames are not what was asked for.
TEST_F(NormalizationRefusals, FramesThatDiffer) {
  const auto expect = [&](auto alter, const char *dst) {
    core_double().alter_frames(alter);
    const auto text = printed(
        "DataTypeConvertCPU src frame memory width height:0, 4, 4 is differenct dst:%s!", dst);
    expect_refused(TAVIX_ERROR_INVALID_PARAM, kernel_lines(text), Output::new_frame);
    core_double().reset();
  };
  expect([](TavixFrameV2 &frame) { frame.memory = 1; }, "1, 4, 4");
  expect([](TavixFrameV2 &frame) { frame.video.width = 3; }, "0, 3, 4");
  expect([](TavixFrameV2 &frame) { frame.video.height = 3; }, "0, 4, 3");
}

// Nothing is allocated there, whatever the core could do.
TEST_F(NormalizationRefusals, MemoryThatIsNotTheHosts) {
  src_->memory = 1;
  src_->video.channels = 5;  // later faults
  src_->data[0] = nullptr;
  for (const int32_t data_type : {TAVIX_DATA_TYPE_FLOAT32 + 0, TAVIX_DATA_TYPE_INT64 + 0})
    expect_refused(TAVIX_ERROR_INVALID_PARAM, {line("src_frame memory(1) must be in host memory")},
                   Output::untouched, data_type);
}

// More than four would leave the parameters: nothing is allocated.
TEST_F(NormalizationRefusals, MoreThanFourChannels) {
  src_->data[0] = nullptr;  // a later fault
  for (const int32_t channels : {5, INT32_MAX}) {
    src_->video.channels = channels;
    expect_refused(
        TAVIX_ERROR_INVALID_PARAM,
        {line(printed("src_frame channels(%d) must not exceed those of format(12)", channels))},
        Output::untouched);
  }
}

// Rows that lie 2^31 bytes apart: the offset of a row has 32 bits.
TEST_F(NormalizationRefusals, RowsOutOfReach) {
  src_->linesize[0] = 1 << 30;
  expect_refused(TAVIX_ERROR_INVALID_PARAM,
                 {line("src_frame->linesize[0]:1073741824 is too large for 4 rows")},
                 Output::untouched);
  src_->linesize[0] = 12;
  core_double().alter_frames([](TavixFrameV2 &frame) { frame.linesize[0] = 1 << 30; });
  expect_refused(TAVIX_ERROR_INVALID_PARAM,
                 {line("dst_frame->linesize[0]:1073741824 is too large for 4 rows")}, Output::null);
  core_double().reset();
  src_->video.width = src_->video.channels = 1;  // rows of one element are rows
  src_->linesize[0] = 1 << 30;
  expect_refused(TAVIX_ERROR_INVALID_PARAM,
                 {line("src_frame->linesize[0]:1073741824 is too large for 4 rows")},
                 Output::untouched);
}

// More than the format has would leave the new frame.
TEST_F(NormalizationRefusals, MoreChannelsThanTheFormat) {
  src_->video.channels = 4;
  expect_refused(TAVIX_ERROR_INVALID_PARAM,
                 {line("src_frame channels(4) must not exceed those of format(12)")}, Output::null);
}

// Refused before anything is made, even where the new frame's rows would be long enough.
TEST(Normalization, FiveChannelsAreRefusedBeforeTheAllocation) {
  GuardedFrame src({TAVIX_PIX_FMT_BGRA32, 10, 3, 4});
  src->video.width = 8, src->video.channels = 5;
  Frame dst;
  EXPECT_REFUSED(convert(src, dst, TAVIX_DATA_TYPE_FLOAT32, kNeutral.data()),
                 TAVIX_ERROR_INVALID_PARAM, kUnit, kFunction,
                 "src_frame channels(5) must not exceed those of format(14)");
  EXPECT_TRUE(core_double().frame_requests().empty());
}

TEST_F(NormalizationRefusals, NewFrameWithoutPlane) {
  core_double().alter_frames([](TavixFrameV2 &frame) { frame.data[0] = nullptr; });
  expect_refused(TAVIX_ERROR_MEMORY, {line("TavixVideoFrameAllocV2 error")}, Output::null);
}

// Without channels there is nothing to convert; a frame without pixels the core does not make.
TEST(Normalization, EmptyFrames) {
  GuardedFrame src({TAVIX_PIX_FMT_BGR24, 4, 4});
  for (int32_t TavixVideoInfo::*size :
       {&TavixVideoInfo::width, &TavixVideoInfo::height, &TavixVideoInfo::channels}) {
    for (const int32_t value : {0, -1, INT32_MIN}) {
      TavixFrameV2 record = *src;
      record.video.*size = value;
      TavixFrameV2 *dst = nullptr;
      const int32_t status =
          TavixFrameDataTypeConvertNormalizationFuseByCPU(&record, &dst, 0, kNeutral.data());
      EXPECT_EQ(status, size == &TavixVideoInfo::channels ? TAVIX_OK : TAVIX_ERROR_MEMORY);
      if (dst != nullptr) TavixFrameFreeV2(dst);
    }
  }
}

}  // namespace
}  // namespace tavix::test
