// SPDX-License-Identifier: Apache-2.0
// Every check of the conversions between frames and blobs: its lines, its status, its place in the
// order, and a destination that stays as it was.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "common/log.h"
#include "support/core_double.h"
#include "support/guarded_blob.h"
#include "support/guarded_frame.h"
#include "support/scarce_memory.h"
#include "tavix/video_common_cpu.h"
#include "tavix_blob_set_cpu/blob_layouts.h"

namespace tavix::test {
namespace {

using Lines = std::vector<LogLine>;

enum class Entry { to_blob, list_to_blob, to_frame, list_to_frame };
constexpr Entry kEntries[] = {Entry::to_blob, Entry::list_to_blob, Entry::to_frame,
                              Entry::list_to_frame};

bool to_blob(Entry entry) {
  return entry == Entry::to_blob || entry == Entry::list_to_blob;
}
bool by_list(Entry entry) {
  return entry == Entry::list_to_blob || entry == Entry::list_to_frame;
}
const char *name(Entry entry) {
  constexpr const char *kNames[] = {"TavixFrameToBlobByCPU", "TavixFramesToBlobByCPU",
                                    "TavixBlobToFrameByCPU", "TavixBlobToFramesByCPU"};
  return kNames[int(entry)];
}

// A call that would succeed, for faults to be put into.
struct Call {
  explicit Call(bool planar, int32_t format = TAVIX_PIX_FMT_BGR24)
      : frame({format, 80, 40}, {.pad = 3}),
        blob(TAVIX_DATA_TYPE_INT64, planar ? TAVIX_DATA_FORMAT_NCHW : TAVIX_DATA_FORMAT_NHWC,
             planar ? std::vector{1, 3, 40, 80} : std::vector{1, 40, 80, 3}) {
    frame.fill(Fill::noise, 1);
  }

  int32_t run(Entry entry) {
    TavixFrames *const list = list_is_null ? nullptr : &frames;
    switch (entry) {
      case Entry::to_blob:
        return TavixFrameToBlobByCPU(array[0], blob);
      case Entry::list_to_blob:
        return TavixFramesToBlobByCPU(list, blob);
      case Entry::to_frame:
        return TavixBlobToFrameByCPU(blob, array[0]);
      case Entry::list_to_frame:
        return TavixBlobToFramesByCPU(blob, list);
    }
    return -1;
  }

  // Status and lines as expected; nothing was written anywhere.
  void expect_refused(Entry entry, int32_t status, const Lines &lines) {
    const auto pixels = frame.payload();
    const auto elements = blob.elements<uint8_t>();
    const std::vector<uint8_t> before(elements.begin(), elements.end());
    EXPECT_EQ(run(entry), status);
    const auto logged = core_double().take_logs();
    EXPECT_EQ(logged, lines);
    for (const LogLine &line : logged) EXPECT_GT(line.line, 0);
    EXPECT_TRUE(frame.intact() && frame.payload() == pixels);
    EXPECT_TRUE(blob.intact() && std::equal(before.begin(), before.end(), elements.begin()));
  }

  GuardedFrame frame;
  GuardedBlob blob;
  TavixFrameV2 *array[1] = {frame};
  TavixFrames frames{array, 1};
  bool list_is_null = false;
};

LogLine entry_line(Entry entry, const std::string &text) {
  return {TAVIX_LOG_ERROR, module::kFrameConvertUnit, name(entry), text};
}

LogLine converter_line(const std::string &function, const std::string &text) {
  return {TAVIX_LOG_ERROR, module::kBlobSetUnit, function, text};
}

// A failed conversion has a line of the converter and one of the entry.
Lines conversion_lines(Entry entry, const std::string &function, const std::string &text) {
  return {converter_line(function, text), entry_line(entry, "convert data type failed")};
}

std::string converter(Entry entry, const std::string &layout) {
  return to_blob(entry) ? "FrameHWCToBlob" + layout + "ByCPU" : "Blob" + layout + "ToFrameHWCByCPU";
}

struct Fault {
  std::function<void(Call &)> put;
  int32_t status;
  std::string text;
  bool of_lists = false;
};

std::vector<Fault> joined(std::vector<Fault> faults, const std::vector<Fault> &more) {
  faults.insert(faults.end(), more.begin(), more.end());
  return faults;
}

// Of a list of frames, then of its frame; frame is what messages call it.
std::vector<Fault> list_faults(const std::string &frame, int32_t wrong_count,
                               const std::string &count_text) {
  const std::string list = frame + "s", null = printed("(%p) must not be nullptr", nullptr);
  return {
      {[](Call &c) { c.list_is_null = true; }, kInvalid, list + null, true},
      {[=](Call &c) { c.frames.frame_num = wrong_count; }, kInvalid, count_text, true},
      {[](Call &c) { c.frames.frames = nullptr; }, kInvalid, list + "->frames" + null, true},
      {[](Call &c) { c.array[0] = nullptr; }, kInvalid, frame + " is nullptr"},
  };
}

// What is checked last.
std::vector<Fault> memory_faults(const std::string &frame, const std::string &blob,
                                 int32_t status_of_dims) {
  return {
      {[](Call &c) { c.frame->memory = 1; }, kInvalid, frame + " memory(1) must be in host memory"},
      {[](Call &c) { c.blob->dims[0] = INT32_MAX; }, status_of_dims,
       blob + " of 2147483647 x 3 x 40 x 80 elements exceeds memory"},
      {[](Call &c) { c.frame->linesize[0] = 1 << 26; }, kInvalid,
       frame + "->linesize[0]:67108864 is too large for 40 rows"},
  };
}

// The faults of either direction, in the order of their checks.
std::vector<Fault> to_blob_faults() {
  const std::vector<Fault> shapes = {
      {[](Call &c) { c.blob->dims_size = 8; }, TAVIX_ERROR_INVALID_DATA,
       "dst_blob_dims size:8 need to be 4"},
      {[](Call &) { core_double().fail_blob_buffer_get(); }, TAVIX_ERROR_INVALID_DATA,
       "TavixBlobBufferGet is nullptr"},
      {[](Call &c) { c.frame->data[0] = nullptr; }, kInvalid, "src_frame data[0] is nullptr"},
      {[](Call &c) { c.frame->video.width = 79; }, kInvalid,
       "src_frame_width:79 src_frame_height:40 src_frame_channel:3 need great or equle than "
       "dst_blob_width:80 dst_blob_height:40 dst_blob_channel:3"},
      {[](Call &c) { c.blob->data_type = 1; }, kUnsupported,
       "ConvertUChar dst_blob data_type:1 is not support"},
  };
  return joined(joined(list_faults("src_frame", 2, "src_frame num:2 need to be 1"), shapes),
                memory_faults("src_frame", "dst_blob", TAVIX_ERROR_INVALID_DATA));
}

std::vector<Fault> to_frame_faults() {
  const Fault no_storage = {[](Call &) { core_double().fail_blob_buffer_get(); },
                            TAVIX_ERROR_INVALID_DATA, "TavixBlobBufferGet is nullptr"};
  const std::vector<Fault> shapes = {
      {[](Call &c) { c.frame->data[0] = nullptr; }, kInvalid, "dst_frame->data[0] is nullptr"},
      {[](Call &c) { c.blob->dims_size = 3; }, kInvalid, "src_blob_dims.size:3 need to be 4"},
      {[](Call &c) { c.frame->video.channels = 1; }, kInvalid,
       "dst_frame_width:80 dst_frame_height:40 dst_frame_channel:1 need great or equle than "
       "src_blob_width:80 src_blob_height:40 src_blob_channel:3"},
      {[](Call &c) { c.blob->data_type = 4; }, kUnsupported,
       "ConvertUChar dst_blob data_type:4 is not support"},
  };
  const auto lists = list_faults("dst_frame", 0, "dst_frames->frame_num:0 need to be 1");
  return joined(joined(joined({no_storage}, lists), shapes),
                memory_faults("dst_frame", "src_blob", kInvalid));
}

// Each fault alone, and with all that are checked later: the first gives status and text.
TEST(BlobRefusals, FirstFaultWins) {
  for (const Entry entry : kEntries) {
    auto faults = to_blob(entry) ? to_blob_faults() : to_frame_faults();
    if (!by_list(entry)) std::erase_if(faults, [](const Fault &f) { return f.of_lists; });
    for (const bool planar : {false, true}) {
      const std::string function = converter(entry, planar ? "NCHW" : "NHWC");
      for (size_t first = 0; first < faults.size(); ++first) {
        for (const size_t end : {first + 1, faults.size()}) {
          SCOPED_TRACE(::testing::Message() << name(entry) << ' ' << faults[first].text);
          Call call(planar);
          for (size_t i = first; i < end; ++i) faults[i].put(call);
          call.expect_refused(entry, faults[first].status,
                              conversion_lines(entry, function, faults[first].text));
          core_double().reset();
        }
      }
    }
  }
}

// The number of bytes leaves 64 bits at each of the dimensions, or just exceeds what a process can
// address.
TEST(BlobRefusals, NoTensorExceedsMemory) {
  constexpr int32_t kSizes[][4] = {{INT32_MAX, INT32_MAX, 1, 1},
                                   {1, 1 << 30, 1 << 30, 8},
                                   {1, 1 << 21, 1 << 21, 1 << 21},
                                   {2, 1 << 15, 1 << 15, 1 << 15}};
  for (const Entry entry : kEntries) {
    for (const auto &[n, c, h, w] : kSizes) {
      Call call(true);
      const int32_t dims[] = {n, c, h, w};
      std::ranges::copy(dims, call.blob->dims);
      call.frame->video.channels = c, call.frame->video.height = h, call.frame->video.width = w;
      EXPECT_EQ(call.run(entry), to_blob(entry) ? TAVIX_ERROR_INVALID_DATA : kInvalid);
      EXPECT_EQ(core_double().take_logs(),
                conversion_lines(entry, converter(entry, "NCHW"),
                                 printed("%s_blob of %d x %d x %d x %d elements exceeds memory",
                                         to_blob(entry) ? "dst" : "src", n, c, h, w)));
    }
  }
}

// Sizes fail one by one, whatever the others allow.
TEST(BlobRefusals, EverySizeIsCompared) {
  for (int32_t TavixVideoInfo::*size :
       {&TavixVideoInfo::width, &TavixVideoInfo::height, &TavixVideoInfo::channels}) {
    for (const Entry entry : kEntries) {
      Call call(true);
      call.frame->video.width = call.frame->video.height = call.frame->video.channels = 1000;
      call.frame->video.*size = 2;
      EXPECT_EQ(call.run(entry), kInvalid);
      EXPECT_EQ(core_double().take_logs().size(), 2u);
    }
  }
}

TEST(BlobRefusals, TypesOfFloatFramesHaveTextsOfTheirOwn) {
  for (const uint32_t data_type : {1u, 4u, 7u, 8u, 9u, 10u, 14u, 0xFFFFFFFFu}) {
    for (const Entry entry : kEntries) {
      for (const int32_t format : {TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_BGRF32}) {
        SCOPED_TRACE(::testing::Message() << name(entry) << ' ' << format_name(format) << ", "
                                          << data_type_name(data_type));
        Call call(true, format);
        call.blob->data_type = data_type;
        const char *converts = format == TAVIX_PIX_FMT_BGR24 ? "ConvertUChar"
                               : to_blob(entry)              ? "ConvertFloat"
                                                             : "BlobToFrameDataConvert";
        call.expect_refused(entry, kUnsupported,
                            conversion_lines(entry, converter(entry, "NCHW"),
                                             printed("%s dst_blob data_type:%d is not support",
                                                     converts, int(data_type))));
      }
    }
  }
}

// The size note comes before the refusal of the type.
TEST(BlobRefusals, NoteComesBeforeTheType) {
  Call call(true);
  call.blob->dims[3] = 79;
  call.blob->data_type = 1;
  EXPECT_EQ(call.run(Entry::to_blob), kUnsupported);
  const auto lines = core_double().take_logs();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0].level, TAVIX_LOG_DEBUG);
  EXPECT_EQ(call.run(Entry::to_frame), kUnsupported);
  EXPECT_EQ(core_double().take_logs().at(0).level, TAVIX_LOG_WARNING);
}

struct RefusedLayout {
  uint32_t code, slot;
};
constexpr RefusedLayout kRefusedLayouts[] = {
    {TAVIX_DATA_FORMAT_NHWC4, 2},  {TAVIX_DATA_FORMAT_NC2HW2, 3},   {TAVIX_DATA_FORMAT_NC4HW4, 4},
    {TAVIX_DATA_FORMAT_NC8HW8, 5}, {TAVIX_DATA_FORMAT_NC16HW16, 6}, {TAVIX_DATA_FORMAT_NCDHW, 7},
    {TAVIX_DATA_FORMAT_NHC4W4, 8}, {TAVIX_DATA_FORMAT_CNH4, 9},     {TAVIX_DATA_FORMAT_NDHWC, 10},
    {TAVIX_DATA_FORMAT_CHW, 11},   {TAVIX_DATA_FORMAT_NC, 12},      {TAVIX_DATA_FORMAT_SCALAR, 13},
    {TAVIX_DATA_FORMAT_C, 14}};

// Refusing converters look at nothing: all other records may be missing.
TEST(BlobRefusals, LayoutsWithoutConversion) {
  for (const RefusedLayout &layout : kRefusedLayouts) {
    for (const Entry entry : kEntries) {
      for (const bool records_missing : {false, true}) {
        SCOPED_TRACE(::testing::Message() << name(entry) << ' ' << data_format_name(layout.code));
        Call call(true);
        call.blob->data_format = by_list(entry) ? layout.code : layout.slot;
        call.list_is_null = records_missing;
        if (records_missing) call.array[0] = nullptr;
        const std::string stem = converter(entry, data_format_name(layout.code));
        call.expect_refused(
            entry, kUnsupported,
            conversion_lines(
                entry, stem,
                stem.substr(0, stem.size() - std::string("ByCPU").size()) + " is not support"));
      }
    }
  }
}

// Codes without a slot: lists fold the run from 1000 on, the others take the code as it is.
TEST(BlobRefusals, CodesWithoutALayout) {
  for (const Entry entry : kEntries) {
    std::vector<uint32_t> codes = {15, 16, 17, 999, 1006, 1007, 5000, 0x80000000u, 0xFFFFFFFFu};
    for (const RefusedLayout &layout : kRefusedLayouts) {
      if (layout.code == layout.slot) continue;
      codes.push_back(by_list(entry) ? layout.slot : layout.code);
    }
    for (const uint32_t code : codes) {
      Call call(true);
      call.blob->data_format = code;
      call.expect_refused(
          entry, kUnsupported,
          {entry_line(entry, printed("dst_blob data format:%d is not support", int(code)))});
    }
  }
}

TEST(BlobRefusals, NullBlobs) {
  Call call(true);
  TavixFrames *const list = &call.frames;
  const auto to_blob_text = printed("dst_blob(%p) must not be nullptr", nullptr);
  const auto to_frame_text = printed("src_blob(%p) must not be nullptr", nullptr);
  const auto &unit = module::kFrameConvertUnit;
  EXPECT_REFUSES(TavixFrameToBlobByCPU, (call.frame, nullptr), kInvalid, unit, to_blob_text);
  EXPECT_REFUSES(TavixFramesToBlobByCPU, (list, nullptr), kInvalid, unit, to_blob_text);
  EXPECT_REFUSES(TavixBlobToFrameByCPU, (nullptr, call.frame), kInvalid, unit, to_frame_text);
  EXPECT_REFUSES(TavixBlobToFramesByCPU, (nullptr, list), kInvalid, unit, to_frame_text);
  EXPECT_REFUSES(TavixFrameToBlobByCPU, (nullptr, nullptr), kInvalid, unit, to_blob_text);
}

// The list of one frame, then its array; the second text of a blob's way back names the frame.
TEST(BlobRefusals, FailingAllocations) {
  constexpr struct {
    Entry entry;
    int nth;
    const char *text;
  } kRows[] = {{Entry::to_blob, 1, "malloc TavixFrames failed"},
               {Entry::to_blob, 2, "malloc frames failed"},
               {Entry::to_frame, 1, "malloc TavixFrames failed"},
               {Entry::to_frame, 2, "malloc TavixFrameV2 failed"}};
  for (const auto &row : kRows) {
    for (const bool frame_missing : {false, true}) {
      SCOPED_TRACE(::testing::Message() << name(row.entry) << ' ' << row.text);
      Call call(true);
      if (frame_missing) call.array[0] = nullptr;
      fail_nothrow_new(row.nth);
      call.expect_refused(row.entry, TAVIX_ERROR_MEMORY, {entry_line(row.entry, row.text)});
    }
  }
  // Lists need no allocation, and a code without a layout is refused before it.
  Call call(true);
  fail_nothrow_new(1);
  EXPECT_EQ(call.run(Entry::list_to_blob), TAVIX_OK);
  EXPECT_EQ(call.run(Entry::list_to_frame), TAVIX_OK);
  call.blob->data_format = 15;
  EXPECT_EQ(call.run(Entry::to_blob), kUnsupported);
  fail_nothrow_new(0);
}

// A layout the table never hands to this converter.
TEST(BlobRefusals, NhwcConverterWantsOneOfTwoLayouts) {
  for (const uint32_t code : {2u, 1000u, 0xFFFFFFFFu}) {
    Call call(false);
    call.blob->data_format = code;
    core_double().fail_blob_buffer_get();
    const std::string function = "FrameHWCToBlobNHWCByCPU";
    EXPECT_REFUSED(module::FrameHWCToBlobNHWCByCPU(&call.frames, call.blob), kUnsupported,
                   module::kBlobSetUnit, function,
                   printed("dst_blob data_format:%d need to be NHWC or NCHW", int(code)));
    call.blob->dims_size = 0;
    EXPECT_REFUSED(module::FrameHWCToBlobNHWCByCPU(&call.frames, call.blob),
                   TAVIX_ERROR_INVALID_DATA, module::kBlobSetUnit, function,
                   "dst_blob_dims size:0 need to be 4");
  }
}

// Products that leave 64 bits, and ones that come back into range.
TEST(BlobRefusals, ExtentsBeyondMemory) {
  for (const Entry entry : kEntries) {
    for (const int32_t n : {INT32_MAX, 1 << 30, 1 << 16}) {
      Call call(true);
      call.frame->video = {INT32_MAX, INT32_MAX, INT32_MAX, TAVIX_PIX_FMT_BGR24, 0, 0};
      const int32_t most = n == INT32_MAX ? INT32_MAX : 1 << 30;
      const int32_t dims[] = {n, most, most, most};
      std::copy_n(dims, 4, call.blob->dims);
      const TavixVideoInfo &video = call.frame->video;
      EXPECT_EQ(call.run(entry), to_blob(entry) ? TAVIX_ERROR_INVALID_DATA : kInvalid);
      const auto lines = core_double().take_logs();
      ASSERT_EQ(lines.size(), most == video.width ? 2u : 3u);
      EXPECT_NE(lines[lines.size() - 2].text.find("exceeds memory"), std::string::npos);
    }
  }
}

}  // namespace
}  // namespace tavix::test
