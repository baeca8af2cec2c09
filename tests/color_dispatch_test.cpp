// SPDX-License-Identifier: Apache-2.0
// Which conversion serves which pair of formats, what is refused in which order and words, and what
// sizes without pixels do.
#include <gtest/gtest.h>

#include <climits>
#include <map>
#include <string>

#include "color_formats.h"
#include "common/log.h"
#include "cpu/tavix_cvt_color/entries.h"
#include "support/compare.h"
#include "support/core_double.h"
#include "support/guarded_frame.h"
#include "support/seams.h"
#include "tavix/video_common_cpu/color.h"

namespace tavix::test {
namespace {

using module::ConvertEntry;

constexpr auto &kFrameUnit = module::kFrameConvertUnit;
constexpr auto &kEntryUnit = module::kCvtColorUnit;
constexpr char kExported[] = "TavixFrameConvertColorByCPU";

#define EXPECT_QUIET_OK(call)      \
  do {                             \
    EXPECT_EQ(call, TAVIX_OK);     \
    EXPECT_TRUE(logged_nothing()); \
  } while (false)

#define ENTRY(name) \
  { #name, module::Tavix##name }
const std::map<std::string, ConvertEntry *> kEntries = {
    {".", nullptr},      {"Copy", module::ColorCopyCommon},
    ENTRY(BGR2RGB),      ENTRY(BGR2Gray),
    ENTRY(BGR2BGRA),     ENTRY(BGRA2BGR),
    ENTRY(BGRA2Gray),    ENTRY(BGRA2RGBA),
    ENTRY(Gray2BGR),     ENTRY(Gray2BGRA),
    ENTRY(RGB2BGRF32),   ENTRY(Gray2BGRF32),
    ENTRY(RGBF322BGR),   ENTRY(RGBF322Gray),
    ENTRY(RGBF32Family), ENTRY(BGR2NV12),
    ENTRY(BGR2YV12),     ENTRY(BGRA2NV12),
    ENTRY(BGRA2YV12),    ENTRY(Gray2NV12),
    ENTRY(Gray2YV12),    ENTRY(NV122BGR),
    ENTRY(NV122BGRA),    ENTRY(NV122NV21),
    ENTRY(NV122YV12),    ENTRY(NV2BGRF32),
    ENTRY(RGBF322NV12),  ENTRY(RGBF322YV12),
    ENTRY(YUV2BGRF32),   ENTRY(YUV2Gray),
    ENTRY(YV122BGR),     ENTRY(YV122BGRA),
    ENTRY(YV122I420),    ENTRY(YV122NV12),
};
#undef ENTRY

// Cell by cell: source code down, destination code across.
// clang-format off
const char *const kExpected[16][16] = {
    //       0             1             2           3          4             5        6         7              8              9              10              11              12              13              14          15
    {"Copy",       "BGR2RGB",    "BGR2Gray",    ".",    "BGR2BGRA",   "BGR2BGRA",   ".", "BGR2NV12",    "BGR2NV12",    "BGR2YV12",    "BGR2YV12",    "RGB2BGRF32",   "RGB2BGRF32",   "RGB2BGRF32",   "RGB2BGRF32",   "."},  // 0
    {"BGR2RGB",    "Copy",       "BGR2Gray",    ".",    "BGR2BGRA",   "BGR2BGRA",   ".", "BGR2NV12",    "BGR2NV12",    "BGR2YV12",    "BGR2YV12",    "RGB2BGRF32",   "RGB2BGRF32",   "RGB2BGRF32",   "RGB2BGRF32",   "."},  // 1
    {"Gray2BGR",   "Gray2BGR",   "Copy",        ".",    "Gray2BGRA",  "Gray2BGRA",  ".", "Gray2NV12",   "Gray2NV12",   "Gray2YV12",   "Gray2YV12",   "Gray2BGRF32",  "Gray2BGRF32",  "Gray2BGRF32",  "Gray2BGRF32",  "."},  // 2
    {".",          ".",          ".",           "Copy", ".",          ".",          ".", ".",           ".",           ".",           ".",           ".",            ".",            ".",            ".",            "."},  // 3
    {"BGRA2BGR",   "BGRA2BGR",   "BGRA2Gray",   ".",    "Copy",       "BGRA2RGBA",  ".", "BGRA2NV12",   "BGRA2NV12",   "BGRA2YV12",   "BGRA2YV12",   "RGB2BGRF32",   "RGB2BGRF32",   "RGB2BGRF32",   "RGB2BGRF32",   "."},  // 4
    {"BGRA2BGR",   "BGRA2BGR",   "BGRA2Gray",   ".",    "BGRA2RGBA",  "Copy",       ".", "BGRA2NV12",   "BGRA2NV12",   "BGRA2YV12",   "BGRA2YV12",   "RGB2BGRF32",   "RGB2BGRF32",   "RGB2BGRF32",   "RGB2BGRF32",   "."},  // 5
    {".",          ".",          ".",           ".",    ".",          ".",          ".", ".",           ".",           ".",           ".",           ".",            ".",            ".",            ".",            "."},  // 6
    {"NV122BGR",   "NV122BGR",   "YUV2Gray",    ".",    "NV122BGRA",  "NV122BGRA",  ".", "Copy",        "NV122NV21",   "NV122YV12",   "NV122YV12",   "NV2BGRF32",    "NV2BGRF32",    "NV2BGRF32",    "NV2BGRF32",    "."},  // 7
    {"NV122BGR",   "NV122BGR",   "YUV2Gray",    ".",    "NV122BGRA",  "NV122BGRA",  ".", "NV122NV21",   "Copy",        "NV122YV12",   "NV122YV12",   "NV2BGRF32",    "NV2BGRF32",    "NV2BGRF32",    "NV2BGRF32",    "."},  // 8
    {"YV122BGR",   "YV122BGR",   "YUV2Gray",    ".",    "YV122BGRA",  "YV122BGRA",  ".", "YV122NV12",   "YV122NV12",   "Copy",        "YV122I420",   "YUV2BGRF32",   "YUV2BGRF32",   "YUV2BGRF32",   "YUV2BGRF32",   "."},  // 9
    {"YV122BGR",   "YV122BGR",   "YUV2Gray",    ".",    "YV122BGRA",  "YV122BGRA",  ".", "YV122NV12",   "YV122NV12",   "YV122I420",   "Copy",        "YUV2BGRF32",   "YUV2BGRF32",   "YUV2BGRF32",   "YUV2BGRF32",   "."},  // 10
    {"RGBF322BGR", "RGBF322BGR", "RGBF322Gray", ".",    "RGBF322BGR", "RGBF322BGR", ".", "RGBF322NV12", "RGBF322NV12", "RGBF322YV12", "RGBF322YV12", "Copy",         "RGBF32Family", "RGBF32Family", "RGBF32Family", "."},  // 11
    {"RGBF322BGR", "RGBF322BGR", "RGBF322Gray", ".",    "RGBF322BGR", "RGBF322BGR", ".", "RGBF322NV12", "RGBF322NV12", "RGBF322YV12", "RGBF322YV12", "RGBF32Family", "Copy",         "RGBF32Family", "RGBF32Family", "."},  // 12
    {"RGBF322BGR", "RGBF322BGR", "RGBF322Gray", ".",    "RGBF322BGR", "RGBF322BGR", ".", "RGBF322NV12", "RGBF322NV12", "RGBF322YV12", "RGBF322YV12", "RGBF32Family", "RGBF32Family", "Copy",         "RGBF32Family", "."},  // 13
    {"RGBF322BGR", "RGBF322BGR", "RGBF322Gray", ".",    "RGBF322BGR", "RGBF322BGR", ".", "RGBF322NV12", "RGBF322NV12", "RGBF322YV12", "RGBF322YV12", "RGBF32Family", "RGBF32Family", "RGBF32Family", "Copy",         "."},  // 14
    {".",          ".",          ".",           ".",    ".",          ".",          ".", ".",           ".",           ".",           ".",           ".",            ".",            ".",            ".",            "Copy"},  // 15
};
// clang-format on

TEST(ColorTable, EveryCell) {
  for (uint32_t src = 0; src < 16; ++src)
    for (uint32_t dst = 0; dst < 16; ++dst)
      EXPECT_EQ(module::convert_entry(src, dst), kEntries.at(kExpected[src][dst]))
          << src << " -> " << dst;
}

// Codes that no frame can be made of: the record is enough.
TavixFrameV2 record_of(int32_t format) {
  TavixFrameV2 frame = {};
  frame.video.format = format;
  return frame;
}

TEST(ColorRefusals, EmptyCells) {
  for (int32_t src = 0; src < 16; ++src) {
    for (int32_t dst = 0; dst < 16; ++dst) {
      if (module::convert_entry(src, dst) != nullptr) continue;
      const TavixFrameV2 from = record_of(src);
      TavixFrameV2 to = record_of(dst);
      EXPECT_REFUSED(TavixFrameConvertColorByCPU(&from, &to), TAVIX_ERROR_UNSUPPORTED, kFrameUnit,
                     kExported,
                     printed("Current convert color is not implemented, src format: %d, des "
                             "format: %d",
                             src, dst));
    }
  }
}

TEST(ColorRefusals, CodesWithoutRowOrColumn) {
  const struct {
    int32_t src, dst;
    const char *text;
  } kCases[] = {
      {16, 0, "Video format src fmt:16 dst fmt:0 not supported yet"},
      {1, 16, "Video format src fmt:1 dst fmt:16 not supported yet"},
      {INT_MAX, 17, "Video format src fmt:2147483647 dst fmt:17 not supported yet"},
      {-1, 16, "Video format src fmt:-1 dst fmt:16 not supported yet"},
      {16, INT_MIN, "Video format src fmt:16 dst fmt:-2147483648 not supported yet"},
      {-1, 0, "Current convert color is not implemented, src format: -1, des format: 0"},
      {0, -1, "Current convert color is not implemented, src format: 0, des format: -1"},
      {-1, -1, "Current convert color is not implemented, src format: -1, des format: -1"},
      {INT_MIN, 15,
       "Current convert color is not implemented, src format: -2147483648, des format: 15"},
  };
  for (const auto &c : kCases) {
    const TavixFrameV2 from = record_of(c.src);
    TavixFrameV2 to = record_of(c.dst);
    EXPECT_REFUSED(TavixFrameConvertColorByCPU(&from, &to), TAVIX_ERROR_UNSUPPORTED, kFrameUnit,
                   kExported, c.text);
  }
}

TEST(ColorRefusals, NullRecords) {
  GuardedFrame frame({TAVIX_PIX_FMT_BGR24, 2, 2});
  const struct {
    const TavixFrameV2 *src;
    TavixFrameV2 *dst;
  } kCases[] = {{nullptr, frame}, {frame, nullptr}, {nullptr, nullptr}};
  for (const auto &c : kCases) {
    const auto text = printed("src_frame(%p) and dst_frame(%p) must not be nullptr", c.src, c.dst);
    EXPECT_REFUSED(TavixFrameConvertColorByCPU(c.src, c.dst), TAVIX_ERROR_INVALID_PARAM, kFrameUnit,
                   kExported, text);
    EXPECT_REFUSED(module::TavixBGRA2Gray(c.src, c.dst), TAVIX_ERROR_INVALID_PARAM, kEntryUnit,
                   "TavixBGRA2Gray", text);
    EXPECT_REFUSED(module::TavixBGR2Gray(c.src, c.dst), TAVIX_ERROR_INVALID_PARAM, kEntryUnit,
                   "TavixBGR2Gray", "src_frame or dst_frame is NULL");
    EXPECT_REFUSED(module::TavixBGR2RGB(c.src, c.dst), TAVIX_ERROR_INVALID_PARAM, kEntryUnit,
                   "TavixBGR2RGB", "src_frame or dst_frame is NULL");
    EXPECT_REFUSED(module::ColorCopyCommon(c.src, c.dst), TAVIX_ERROR_INVALID_PARAM, kEntryUnit,
                   "ColorCopyCommon", "src_frame or des_frame is NULL");
  }
}

// A pair of frames that convert; a case damages them and names what comes of it.
struct Pair {
  GuardedFrame src, dst;
  Pair(int32_t from, int32_t to) : src({from, 5, 3}), dst({to, 5, 3}) { src.fill(Fill::noise, 1); }
};

// The two entries with checks of their own, in their order: each case also has every later fault.
void expect_own_checks(int32_t from, int32_t to, const char *function) {
  const auto no_sizes = [](Pair &p) { p.src->video.width = -3, p.src->video.height = 0; };
  const auto no_planes = [](Pair &p) { p.src->data[0] = p.dst->data[0] = nullptr; };
  const auto expect = [&](const auto &damage, const std::string &text) {
    Pair pair(from, to);
    pair.src->video.channels = pair.dst->video.channels = 9;
    const auto before = pair.dst.payload();
    damage(pair);
    EXPECT_REFUSED(TavixFrameConvertColorByCPU(pair.src, pair.dst), TAVIX_ERROR_INVALID_PARAM,
                   kEntryUnit, function, text);
    EXPECT_EQ(pair.dst.payload(), before);
  };
  expect([&](Pair &p) { no_planes(p), no_sizes(p); }, "frame data is NULL");
  expect([&](Pair &p) { p.src->data[0] = nullptr, no_sizes(p); }, "frame data is NULL");
  expect([&](Pair &p) { p.dst->data[0] = nullptr, no_sizes(p); }, "frame data is NULL");
  expect(no_sizes, "invalid frame dimensions: -3x0");
  expect([](Pair &p) { p.src->video.width = 0; }, "invalid frame dimensions: 0x3");
  expect([](Pair &p) { p.src->video.height = INT_MIN; }, "invalid frame dimensions: 5x-2147483648");
}

TEST(ColorRefusals, ThreeChannelsToGrey) {
  expect_own_checks(TAVIX_PIX_FMT_RGB24, TAVIX_PIX_FMT_GRAY8, "TavixBGR2Gray");
  expect_own_checks(TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_GRAY8, "TavixBGR2Gray");
}

TEST(ColorRefusals, SwapOfThreeChannels) {
  expect_own_checks(TAVIX_PIX_FMT_RGB24, TAVIX_PIX_FMT_BGR24, "TavixBGR2RGB");
  expect_own_checks(TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_RGB24, "TavixBGR2RGB");
}

// Pairs of each packed entry, and the name it logs under.
const std::map<std::pair<int32_t, int32_t>, const char *> kPackedEntries = {
    {{TAVIX_PIX_FMT_RGB24, TAVIX_PIX_FMT_BGR24}, "TavixBGR2RGB"},
    {{TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_GRAY8}, "TavixBGR2Gray"},
    {{TAVIX_PIX_FMT_RGB24, TAVIX_PIX_FMT_BGRA32}, "TavixBGR2BGRA"},
    {{TAVIX_PIX_FMT_BGRA32, TAVIX_PIX_FMT_RGB24}, "TavixBGRA2BGR"},
    {{TAVIX_PIX_FMT_RGBA32, TAVIX_PIX_FMT_GRAY8}, "TavixBGRA2Gray"},
    {{TAVIX_PIX_FMT_BGRA32, TAVIX_PIX_FMT_RGBA32}, "TavixBGRA2RGBA"},
    {{TAVIX_PIX_FMT_GRAY8, TAVIX_PIX_FMT_RGB24}, "TavixGray2BGR"},
    {{TAVIX_PIX_FMT_GRAY8, TAVIX_PIX_FMT_RGBA32}, "TavixGray2BGRA"},
    {{TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_RGBAF32}, "TavixRGB2BGRF32"},
    {{TAVIX_PIX_FMT_GRAY8, TAVIX_PIX_FMT_RGBF32}, "TavixGray2BGRF32"},
    {{TAVIX_PIX_FMT_BGRAF32, TAVIX_PIX_FMT_BGR24}, "TavixRGBF322BGR"},
    {{TAVIX_PIX_FMT_BGRF32, TAVIX_PIX_FMT_GRAY8}, "TavixRGBF322Gray"},
    {{TAVIX_PIX_FMT_RGBF32, TAVIX_PIX_FMT_BGRAF32}, "TavixRGBF32Family"}};

bool has_own_checks(int32_t from, int32_t to) {
  return from <= TAVIX_PIX_FMT_BGR24 && to <= TAVIX_PIX_FMT_GRAY8;
}

TEST(ColorRefusals, MissingPlanes) {
  for (const auto &[formats, function] : kPackedEntries) {
    if (has_own_checks(formats.first, formats.second)) continue;
    for (const bool source : {true, false}) {
      Pair pair(formats.first, formats.second);
      (source ? pair.src : pair.dst)->data[0] = nullptr;
      const auto before = pair.dst.payload();
      EXPECT_REFUSED(TavixFrameConvertColorByCPU(pair.src, pair.dst), TAVIX_ERROR_INVALID_PARAM,
                     kEntryUnit, function,
                     printed("a plane of src_frame(%p) or dst_frame(%p) is NULL",
                             static_cast<void *>(&*pair.src), static_cast<void *>(&*pair.dst)));
      EXPECT_EQ(pair.dst.payload(), before);
    }
  }
}

// Whether a frame's channel count is read: grey has a step of 1, and a destination of 0 channels
// has those of its format where the conversion does not ask for the frame's own.
bool reads_channels(const std::string &function, bool source, int32_t format, int32_t channels) {
  if (channels_of(format) == 1) return false;
  return source || channels != 0 || function == "TavixGray2BGRF32";
}

// A pixel step that does not hold the format's channels, or more than four, before missing planes.
TEST(ColorRefusals, ImpossibleChannels) {
  for (const auto &[formats, function] : kPackedEntries) {
    const auto [from, to] = formats;
    for (const int32_t channels : {INT_MIN, -4, 0, 1, 2, 3, 4, 5, INT_MAX}) {
      for (const bool source : {true, false}) {
        const int32_t format = source ? from : to;
        if (channels >= channels_of(format) && channels <= 4) continue;
        if (!reads_channels(function, source, format, channels)) continue;
        Pair pair(from, to);
        (source ? pair.src : pair.dst)->video.channels = channels;
        if (!has_own_checks(from, to)) pair.src->data[0] = nullptr;
        const auto before = pair.dst.payload();
        EXPECT_REFUSED(TavixFrameConvertColorByCPU(pair.src, pair.dst), TAVIX_ERROR_INVALID_PARAM,
                       kEntryUnit, function,
                       printed("src channels(%d) and dst channels(%d) do not fit formats %d and %d",
                               pair.src->video.channels, pair.dst->video.channels, from, to));
        EXPECT_EQ(pair.dst.payload(), before);
      }
    }
  }
}

TEST(ColorRefusals, ChannelsThatNothingReadsAreAnyNumber) {
  for (const auto &[formats, function] : kPackedEntries) {
    const auto [from, to] = formats;
    for (const int32_t channels : {INT_MIN, -4, 0, 1, 5, INT_MAX}) {
      for (const bool source : {true, false}) {
        if (reads_channels(function, source, source ? from : to, channels)) continue;
        Pair pair(from, to), expected(from, to);
        (source ? pair.src : pair.dst)->video.channels = channels;
        EXPECT_EQ(TavixFrameConvertColorByCPU(expected.src, expected.dst), TAVIX_OK);
        EXPECT_QUIET_OK(TavixFrameConvertColorByCPU(pair.src, pair.dst));
        EXPECT_EQ(pair.dst.payload(), expected.dst.payload()) << function << ", " << channels;
      }
    }
  }
}

// The offset of a row is a 32-bit product, which these strides would wrap.
TEST(ColorRefusals, PlanesBeyond32Bits) {
  for (const auto &[formats, function] : kPackedEntries) {
    for (const bool source : {true, false}) {
      for (const int32_t linesize : {1 << 30, INT_MAX, INT_MIN}) {
        Pair pair(formats.first, formats.second);
        (source ? pair.src : pair.dst)->linesize[0] = linesize;
        const auto before = pair.dst.payload();
        EXPECT_REFUSED(
            TavixFrameConvertColorByCPU(pair.src, pair.dst), TAVIX_ERROR_INVALID_PARAM, kEntryUnit,
            function,
            printed("linesize[0](%d) of a frame of 3 rows is no span of bytes", linesize));
        EXPECT_EQ(pair.dst.payload(), before);
      }
    }
  }
}

TEST(ColorRefusals, RowsBeyond32Bits) {
  for (const auto &[formats, function] : kPackedEntries) {
    Pair pair(formats.first, formats.second);
    pair.src->video.width = 1 << 30;
    EXPECT_REFUSED(TavixFrameConvertColorByCPU(pair.src, pair.dst), TAVIX_ERROR_INVALID_PARAM,
                   kEntryUnit, function, "rows of 1073741824 pixels are too long");
  }
}

// Without pixels there is nothing to touch, so nothing else is looked at either.
TEST(ColorSizes, WithoutPixelsNothingIsWritten) {
  const struct {
    int32_t width, height;
  } kSizes[] = {{0, 3}, {5, 0}, {-1, 3}, {5, -1}, {INT_MIN, INT_MAX}, {INT_MAX, INT_MIN}, {0, 0}};
  for_each_path([&](const Path &) {
    for (const auto &[formats, function] : kPackedEntries) {
      if (has_own_checks(formats.first, formats.second)) continue;
      for (const auto &size : kSizes) {
        Pair pair(formats.first, formats.second);
        pair.src->video.width = size.width, pair.src->video.height = size.height;
        const auto before = pair.dst.payload();
        EXPECT_QUIET_OK(TavixFrameConvertColorByCPU(pair.src, pair.dst));
        EXPECT_EQ(pair.dst.payload(), before) << function;
        pair.src->data[0] = pair.dst->data[0] = nullptr;
        for (const int32_t channels : {9, 1 << 20, INT_MIN, INT_MAX}) {
          pair.src->video.channels = pair.dst->video.channels = channels;
          EXPECT_QUIET_OK(TavixFrameConvertColorByCPU(pair.src, pair.dst));
        }
      }
    }
  });
}

// The source alone says how much is converted, and from where memory is does not matter.
TEST(ColorSizes, ComeFromTheSource) {
  for (const auto &[formats, function] : kPackedEntries) {
    Pair pair(formats.first, formats.second), other(formats.first, formats.second);
    other.dst->video.width = -7, other.dst->video.height = 1 << 30;
    other.src->memory = 1, other.dst->memory = 2;
    EXPECT_EQ(TavixFrameConvertColorByCPU(pair.src, pair.dst), TAVIX_OK);
    EXPECT_QUIET_OK(TavixFrameConvertColorByCPU(other.src, other.dst));
    EXPECT_EQ(other.dst.payload(), pair.dst.payload()) << function;
    EXPECT_TRUE(other.dst.intact());
  }
}

// Codes without a format.
constexpr int32_t kNameless = 3, kNeverCopied = 6;

TEST(ColorCopy, HandsOverToTheCore) {
  for (int32_t format = 0; format < TAVIX_PIX_FMT_NONE; ++format) {
    if (format == kNeverCopied) continue;
    SCOPED_TRACE(format_name(format));
    core_double().reset();
    GuardedFrame src({format, 5, 3}), dst({format, 5, 3}, {.pad = 3});
    src.fill(Fill::noise, 3);
    core_double().fail_frame_copy(TAVIX_ERROR_INVALID_DATA);
    EXPECT_EQ(TavixFrameConvertColorByCPU(src, dst), TAVIX_ERROR_INVALID_DATA);
    const auto copies = core_double().copy_requests();
    ASSERT_EQ(copies.size(), 1u);
    EXPECT_EQ(copies[0].dst, &*dst);
    EXPECT_EQ(copies[0].src, &*src);
    EXPECT_EQ(copies[0].context, 0u);
    EXPECT_EQ(copies[0].options, 0u);
    core_double().reset();
    if (format == kNameless) continue;  // nothing the core could copy
    EXPECT_QUIET_OK(TavixFrameConvertColorByCPU(src, dst));
    EXPECT_TRUE(same_pixels(*src, *dst));
  }
}

TEST(ColorCopy, RefusesMissingPlanes) {
  for (const bool source : {true, false}) {
    Pair pair(TAVIX_PIX_FMT_NV12, TAVIX_PIX_FMT_NV12);
    (source ? pair.src : pair.dst)->data[0] = nullptr;
    EXPECT_REFUSED(TavixFrameConvertColorByCPU(pair.src, pair.dst), TAVIX_ERROR_INVALID_PARAM,
                   kEntryUnit, "ColorCopyCommon", "frame data is NULL");
  }
  EXPECT_TRUE(core_double().copy_requests().empty());
}

// Without AVX2 conversions among 8-bit formats keep to the calling thread: no arena is made.
TEST(ColorThreads, PortableByteConversionsAreSerial) {
  const ScopedWorkers eight(8);
  const WithoutAvx2 portable;
  for (const auto &[formats, function] : kPackedEntries) {
    Pair pair(formats.first, formats.second);
    TavixDeinitialize();
    core_double().reset();
    EXPECT_EQ(TavixFrameConvertColorByCPU(pair.src, pair.dst), TAVIX_OK);
    const bool floats = is_float_format(formats.first) || is_float_format(formats.second);
    EXPECT_EQ(core_double().registered_callbacks().size(), floats ? 1u : 0u) << function;
  }
}

TEST(ColorThreads, VectorConversionsAreParallel) {
  if (!module::use_avx2()) GTEST_SKIP() << "this processor has no AVX2";
  const ScopedWorkers eight(8);
  for (const auto &[formats, function] : kPackedEntries) {
    Pair pair(formats.first, formats.second);
    TavixDeinitialize();
    core_double().reset();
    EXPECT_EQ(TavixFrameConvertColorByCPU(pair.src, pair.dst), TAVIX_OK);
    EXPECT_EQ(core_double().registered_callbacks().size(), 1u) << function;
  }
}

}  // namespace
}  // namespace tavix::test
