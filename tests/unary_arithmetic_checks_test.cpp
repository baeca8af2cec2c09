// SPDX-License-Identifier: Apache-2.0
// What unary arithmetic refuses, in which order and with which words.
#include <gtest/gtest.h>

#include <climits>

#include "common/units.h"
#include "support/check_table.h"
#include "support/guarded_frame.h"
#include "support/seams.h"
#include "tavix/video_common_cpu.h"

namespace tavix::test {
namespace {

constexpr double kOnes[4] = {1, 1, 1, 1};
constexpr FrameShape kShape = {TAVIX_PIX_FMT_BGR24, 5, 3};

// A valid call, until a fault changes it.
struct Call {
  Call() {
    frames[0].fill(Fill::noise, 1), frames[1].fill(Fill::noise, 2);
    before = frames[1].payload();
  }

  void set_both(int32_t TavixVideoInfo::*field, int32_t value) {
    for (GuardedFrame &frame : frames) frame->video.*field = value;
  }
  bool untouched() const { return frames[1].payload() == before && frames[1].intact(); }

  GuardedFrame frames[2] = {GuardedFrame(kShape), GuardedFrame(kShape)};
  TavixFrameV2 *src = frames[0], *dst = frames[1];
  int32_t op = TAVIX_UNARY_OP_MUL_ADD;
  const double *scale = kOnes, *offset = kOnes;
  std::vector<uint8_t> before;
};

struct ByCPU : Call {
  int32_t run() { return TavixFrameUnaryArithmeticByCPU(src, op, scale, offset, dst); }
};
struct CommonC : Call {
  int32_t run() { return TavixFrameUnaryArithmeticCommonC(src, op, scale, offset, dst); }
};
struct Avx : Call {
  int32_t run() { return TavixFrameUnaryArithmeticAVX(src, op, scale, offset, dst); }
};
struct AvxWithoutAvx2 : Avx {
  WithoutAvx2 portable;
};

constexpr int32_t kInvalid = TAVIX_ERROR_INVALID_PARAM;
constexpr int32_t kUnsupported = TAVIX_ERROR_UNSUPPORTED;
constexpr char kByCpuName[] = "TavixFrameUnaryArithmeticByCPU";
constexpr char kCommonCName[] = "TavixFrameUnaryArithmeticCommonC";
constexpr char kAvxName[] = "TavixFrameUnaryArithmeticAVX";

const void *plane(const TavixFrameV2 *frame) {
  return frame->data[0];
}

// The format of both frames: outside the RGB family, below it and beyond every code.
template <class C>
void expect_other_formats_refused(std::string (*text)(const C &), const char *unit,
                                  const char *function) {
  for (const int32_t format : {3, 6, 7, 8, 9, 10, 16, 17, -1, INT_MIN, INT_MAX}) {
    C call;
    call.set_both(&TavixVideoInfo::format, format);
    expect_refusal(call, {"another format", nullptr, kUnsupported, text}, unit, function);
  }
}

// --- ByCPU ---------------------------------------------------------------------------------------

std::string null_frames(const ByCPU &c) {
  return printed("src:(%p), dst:(%p) must not be nullptr", static_cast<void *>(c.src),
                 static_cast<void *>(c.dst));
}
std::string null_planes(const ByCPU &c) {
  return printed("src->data[0](%p), dst->data[0](%p) must not be nullptr", plane(c.src),
                 plane(c.dst));
}
std::string not_host(const ByCPU &c) {
  return printed("src->memory(%d), dst->memory(%d) must be in host memory", c.src->memory,
                 c.dst->memory);
}
std::string formats_differ(const ByCPU &c) {
  return printed("Invalid input: src->video.format(%d), dst->video.format(%d) must be the same",
                 c.src->video.format, c.dst->video.format);
}
std::string not_rgb(const ByCPU &c) {
  return printed(
      "Invalid input: src->video.format(%d), dst->video.format(%d) must be either RGB Family",
      c.src->video.format, c.dst->video.format);
}

const Check<ByCPU> kByCpuChecks[] = {
    {"null src", [](ByCPU &c) { c.src = nullptr; }, kInvalid, null_frames},
    {"null dst", [](ByCPU &c) { c.dst = nullptr; }, kInvalid, null_frames},
    {"src plane", [](ByCPU &c) { c.src->data[0] = nullptr; }, kInvalid, null_planes},
    {"dst plane", [](ByCPU &c) { c.dst->data[0] = nullptr; }, kInvalid, null_planes},
    {"src memory", [](ByCPU &c) { c.src->memory = UINT_MAX; }, kInvalid, not_host},
    {"dst memory", [](ByCPU &c) { c.dst->memory = 2; }, kInvalid, not_host},
    {"both memory", [](ByCPU &c) { c.src->memory = c.dst->memory = 1; }, kInvalid, not_host},
    {"dst format", [](ByCPU &c) { c.dst->video.format = TAVIX_PIX_FMT_NONE; }, kInvalid,
     formats_differ},
    {"NV12", [](ByCPU &c) { c.set_both(&TavixVideoInfo::format, TAVIX_PIX_FMT_NV12); },
     kUnsupported, not_rgb},
};

TEST(UnaryArithmeticChecks, ByCPU) {
  expect_checks(kByCpuChecks, module::kFrameConvertUnit, kByCpuName);
}

TEST(UnaryArithmeticChecks, ByCPURefusesEveryOtherFormat) {
  expect_other_formats_refused(not_rgb, module::kFrameConvertUnit, kByCpuName);
}

// --- CommonC and AVX -----------------------------------------------------------------------------

std::string null_frames(const CommonC &c) {
  return printed("src:%p or dst:%p is nullptr", static_cast<void *>(c.src),
                 static_cast<void *>(c.dst));
}
std::string null_frames(const Avx &c) {
  return printed("src1_frame(%p) or dst_frame(%p) is null", static_cast<void *>(c.src),
                 static_cast<void *>(c.dst));
}
std::string null_planes(const CommonC &c) {
  return printed("src->data[0](%p) or dst->data[0](%p) pointers null", plane(c.src), plane(c.dst));
}
std::string null_planes(const Avx &c) {
  return printed("src->data[0](%p) and dst->data[0](%p) must not be nullptr", plane(c.src),
                 plane(c.dst));
}
std::string shapes_differ(const CommonC &c) {
  const TavixVideoInfo &a = c.src->video, &b = c.dst->video;
  return printed(
      "src(width=%d, height=%d, channels=%d, format=%d) dst(width=%d, height=%d, channels=%d, "
      "format=%d) frame info mismatch",
      a.width, a.height, a.channels, a.format, b.width, b.height, b.channels, b.format);
}
std::string shapes_differ(const Avx &c) {
  const TavixVideoInfo &a = c.src->video, &b = c.dst->video;
  return printed(
      "src1_frame(width=%d, height=%d, channels=%d, format=%d) and dst_frame(width=%d, height=%d, "
      "channels=%d, format=%d) dimension mismatch",
      a.width, a.height, a.channels, a.format, b.width, b.height, b.channels, b.format);
}
std::string unsupported(const CommonC &c) {
  return printed("Unsupported pixel format: %d", c.src->video.format);
}

template <class C>
std::vector<Check<C>> null_checks() {
  const auto text = [](const C &c) { return null_frames(c); };
  return {{"null src", [](C &c) { c.src = nullptr; }, kInvalid, text},
          {"null dst", [](C &c) { c.dst = nullptr; }, kInvalid, text}};
}

template <class C>
std::vector<Check<C>> plane_checks() {
  const auto text = [](const C &c) { return null_planes(c); };
  return {{"src plane", [](C &c) { c.src->data[0] = nullptr; }, kInvalid, text},
          {"dst plane", [](C &c) { c.dst->data[0] = nullptr; }, kInvalid, text}};
}

// What is checked between the records and the planes in one, after the planes in the other.
template <class C>
std::vector<Check<C>> other_checks(std::string (*unsupported_text)(const C &)) {
  const auto shape = [](const C &c) { return shapes_differ(c); };
  const auto channels = [](const C &c) {
    return printed("src channels(%d) must not exceed 4", c.src->video.channels);
  };
  const auto row = [](const C &c) {
    return printed("width(%d) * channels(%d) must not exceed 2147483647 elements of a row",
                   c.src->video.width, c.src->video.channels);
  };
  const auto parameters = [](const C &c) {
    return printed("scale(%p) and offset(%p) must not be nullptr",
                   static_cast<const void *>(c.scale), static_cast<const void *>(c.offset));
  };
  return {
      {"dst width", [](C &c) { c.dst->video.width = -4; }, kInvalid, shape},
      {"dst height", [](C &c) { c.dst->video.height = 2; }, kInvalid, shape},
      {"dst channels", [](C &c) { c.dst->video.channels = 1; }, kInvalid, shape},
      {"dst format", [](C &c) { c.dst->video.format = 15; }, kInvalid, shape},
      {"I420", [](C &c) { c.set_both(&TavixVideoInfo::format, TAVIX_PIX_FMT_I420); }, kUnsupported,
       unsupported_text},
      {"operation 4", [](C &c) { c.op = 4; }, kInvalid, nullptr},
      {"operation -1", [](C &c) { c.op = -1; }, kInvalid, nullptr},
      {"five channels", [](C &c) { c.set_both(&TavixVideoInfo::channels, 5); }, kInvalid, channels},
      {"row of too many elements", [](C &c) { c.set_both(&TavixVideoInfo::width, 1 << 30); },
       kInvalid, row},
      {"null scale", [](C &c) { c.scale = nullptr; }, kInvalid, parameters},
      {"null offset", [](C &c) { c.offset = nullptr; }, kInvalid, parameters},
  };
}

template <class C>
std::vector<Check<C>> joined(std::vector<Check<C>> all,
                             std::initializer_list<std::vector<Check<C>>> more) {
  for (const auto &checks : more) all.insert(all.end(), checks.begin(), checks.end());
  return all;
}

TEST(UnaryArithmeticChecks, CommonC) {
  expect_checks(
      joined(null_checks<CommonC>(), {plane_checks<CommonC>(), other_checks<CommonC>(unsupported)}),
      module::kArithmeticUnit, kCommonCName);
}

template <class C>
void expect_avx_checks() {
  expect_checks(joined(null_checks<C>(), {other_checks<C>(nullptr), plane_checks<C>()}),
                module::kArithmeticAvxUnit, kAvxName);
}

TEST(UnaryArithmeticChecks, AVX) {
  expect_avx_checks<Avx>();
}

TEST(UnaryArithmeticChecks, AVXWithoutAvx2ComesAfterEveryOtherCheck) {
  expect_avx_checks<AvxWithoutAvx2>();
  AvxWithoutAvx2 call;
  EXPECT_REFUSED(call.run(), kUnsupported, module::kArithmeticAvxUnit, kAvxName,
                 "the processor has no AVX2");
  EXPECT_TRUE(call.untouched());
}

TEST(UnaryArithmeticChecks, ImplementationsRefuseEveryOtherFormat) {
  expect_other_formats_refused<CommonC>(unsupported, module::kArithmeticUnit, kCommonCName);
  expect_other_formats_refused<Avx>(nullptr, module::kArithmeticAvxUnit, kAvxName);
}

template <class C>
void expect_not_to_look_at_memory() {
  C call;
  call.src->memory = 1, call.dst->memory = 9;
  EXPECT_SILENT(EXPECT_EQ(call.run(), TAVIX_OK));
  EXPECT_FALSE(call.untouched());
}

TEST(UnaryArithmeticChecks, ImplementationsDoNotLookAtMemory) {
  expect_not_to_look_at_memory<CommonC>();
  if (module::use_avx2()) expect_not_to_look_at_memory<Avx>();
}

TEST(UnaryArithmeticChecks, EntryLeavesTheRestToTheImplementation) {
  const WithoutAvx2 portable;
  constexpr void (*kFaults[])(Call &) = {
      [](Call &c) { c.dst->video.width = 4; },
      [](Call &c) { c.dst->video.channels = 4; },
      [](Call &c) { c.op = 4; },
      [](Call &c) { c.set_both(&TavixVideoInfo::channels, 5); },
      [](Call &c) { c.scale = nullptr; },
  };
  for (const auto fault : kFaults) {
    ByCPU entry;
    CommonC implementation;
    fault(entry), fault(implementation);
    const int32_t status = entry.run();
    const size_t lines = core_double().take_logs().size();
    EXPECT_EQ(status, implementation.run());
    EXPECT_EQ(status, kInvalid);
    EXPECT_EQ(lines, core_double().take_logs().size());
    EXPECT_TRUE(entry.untouched());
  }
}

}  // namespace
}  // namespace tavix::test
