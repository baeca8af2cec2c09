// SPDX-License-Identifier: Apache-2.0
// What binary arithmetic refuses, in which order and with which words.
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
    frames[0].fill(Fill::noise, 1), frames[1].fill(Fill::noise, 2), frames[2].fill(Fill::noise, 3);
    before = frames[2].payload();
  }

  void set_all(int32_t TavixVideoInfo::*field, int32_t value) {
    for (GuardedFrame &frame : frames) frame->video.*field = value;
  }
  bool untouched() const { return frames[2].payload() == before && frames[2].intact(); }

  GuardedFrame frames[3] = {GuardedFrame(kShape), GuardedFrame(kShape), GuardedFrame(kShape)};
  TavixFrameV2 *src1 = frames[0], *src2 = frames[1], *dst = frames[2];
  uint32_t op = TAVIX_BINARY_OP_ADD;
  const double *alpha = kOnes, *beta = kOnes, *gamma = kOnes;
  std::vector<uint8_t> before;
};

struct ByCPU : Call {
  int32_t run() { return TavixFrameBinaryArithmeticByCPU(src1, src2, op, alpha, beta, gamma, dst); }
};
struct CommonC : Call {
  static constexpr bool kTellsUnsupported = true;
  int32_t run() {
    return TavixFrameBinaryArithmeticCommonC(src1, src2, op, alpha, beta, gamma, dst);
  }
};
struct Avx : Call {
  static constexpr bool kTellsUnsupported = false;
  int32_t run() { return TavixFrameBinaryArithmeticAVX(src1, src2, op, alpha, beta, gamma, dst); }
};
struct AvxWithoutAvx2 : Avx {
  WithoutAvx2 portable;
};

constexpr int32_t kInvalid = TAVIX_ERROR_INVALID_PARAM;
constexpr int32_t kUnsupported = TAVIX_ERROR_UNSUPPORTED;

const void *plane(const TavixFrameV2 *frame) {
  return frame->data[0];
}

template <class SomeCall>
void expect_other_formats_refused(std::string (*text)(const SomeCall &), const char *unit,
                                  const char *function) {
  for (const int32_t format : {3, 6, 7, 8, 9, 10, 16, 17, -1, INT_MIN, INT_MAX}) {
    SomeCall call;
    call.set_all(&TavixVideoInfo::format, format);
    expect_refusal(call, {"another format", nullptr, kUnsupported, text}, unit, function);
  }
}

// --- ByCPU ---------------------------------------------------------------------------------------

std::string null_frames(const ByCPU &c) {
  return printed(
      "Invalid input: src1_frame(%p), src2_frame(%p), and dst_frame(%p) must not be nullptr",
      static_cast<void *>(c.src1), static_cast<void *>(c.src2), static_cast<void *>(c.dst));
}
std::string not_host(const ByCPU &c) {
  return printed(
      "Invalid input: src1_frame(%d), src2_frame(%d), and dst_frame(%d) must all be in host memory",
      c.src1->memory, c.src2->memory, c.dst->memory);
}
std::string null_planes(const ByCPU &c) {
  return printed(
      "Invalid input: src1_frame->data[0](%p), src2_frame->data[0](%p), and dst_frame->data[0](%p) "
      "must not be nullptr",
      plane(c.src1), plane(c.src2), plane(c.dst));
}
std::string with_formats(const ByCPU &c, const char *ending) {
  return printed(
      "Invalid input: src1_frame->video.format(%d), src2_frame->video.format(%d), and "
      "dst_frame->video.format(%d) must be %s",
      c.src1->video.format, c.src2->video.format, c.dst->video.format, ending);
}
std::string formats_differ(const ByCPU &c) {
  return with_formats(c, "the same");
}
std::string not_rgb(const ByCPU &c) {
  return with_formats(c, "either RGB Family");
}

const Check<ByCPU> kByCpuChecks[] = {
    {"null src1", [](ByCPU &c) { c.src1 = nullptr; }, kInvalid, null_frames},
    {"null src2", [](ByCPU &c) { c.src2 = nullptr; }, kInvalid, null_frames},
    {"null dst", [](ByCPU &c) { c.dst = nullptr; }, kInvalid, null_frames},
    {"src1 memory", [](ByCPU &c) { c.src1->memory = 1; }, kInvalid, not_host},
    {"src2 memory", [](ByCPU &c) { c.src2->memory = UINT_MAX; }, kInvalid, not_host},
    {"dst memory", [](ByCPU &c) { c.dst->memory = 2; }, kInvalid, not_host},
    {"all memory", [](ByCPU &c) { c.src1->memory = c.src2->memory = c.dst->memory = 1; }, kInvalid,
     not_host},
    {"src1 plane", [](ByCPU &c) { c.src1->data[0] = nullptr; }, kInvalid, null_planes},
    {"src2 plane", [](ByCPU &c) { c.src2->data[0] = nullptr; }, kInvalid, null_planes},
    {"dst plane", [](ByCPU &c) { c.dst->data[0] = nullptr; }, kInvalid, null_planes},
    {"src2 format", [](ByCPU &c) { c.src2->video.format = TAVIX_PIX_FMT_RGB24; }, kInvalid,
     formats_differ},
    {"dst format", [](ByCPU &c) { c.dst->video.format = TAVIX_PIX_FMT_NONE; }, kInvalid,
     formats_differ},
    {"NV12", [](ByCPU &c) { c.set_all(&TavixVideoInfo::format, TAVIX_PIX_FMT_NV12); }, kUnsupported,
     not_rgb},
};

TEST(BinaryArithmeticChecks, ByCPU) {
  expect_checks(kByCpuChecks, module::kFrameConvertUnit, "TavixFrameBinaryArithmeticByCPU");
}

TEST(BinaryArithmeticChecks, ByCPURefusesEveryOtherFormat) {
  expect_other_formats_refused(not_rgb, module::kFrameConvertUnit,
                               "TavixFrameBinaryArithmeticByCPU");
}

// --- CommonC and AVX
// -------------------------------------------------------------------------------------

template <class C>
std::string null_frames(const C &c) {
  return printed(
      "src1_frame = (%p) src2_frame = (%p) dst_frame = (%p) one or more input frames are null",
      static_cast<void *>(c.src1), static_cast<void *>(c.src2), static_cast<void *>(c.dst));
}
template <class C>
std::string src2_differs(const C &c) {
  const TavixVideoInfo &a = c.src1->video, &b = c.src2->video;
  return printed(
      "src1_frame info (width=%d, height=%d, channels=%d, format=%d). src2_frame info : (width=%d "
      "height=%d, channels=%d, format=%d))",
      a.width, a.height, a.channels, a.format, b.width, b.height, b.channels, b.format);
}
template <class C>
std::string dst_differs(const C &c) {
  const TavixVideoInfo &a = c.src1->video, &b = c.dst->video;
  return printed(
      "src1_frame info (width=%d, height=%d, channels=%d, format=%d). dst_frame info : (width=%d, "
      "height=%d, channels=%d, format=%d))",
      a.width, a.height, a.channels, a.format, b.width, b.height, b.channels, b.format);
}
template <class C>
std::string unsupported(const C &c) {
  return printed("Unsupported pixel format: %d", c.src1->video.format);
}
template <class C>
std::string too_many_channels(const C &c) {
  return printed("src1_frame channels(%d) must not exceed 4", c.src1->video.channels);
}
template <class C>
std::string row_too_long(const C &c) {
  return printed("width(%d) * channels(%d) must not exceed 2147483647 elements of a row",
                 c.src1->video.width, c.src1->video.channels);
}
template <class C>
std::string null_parameters(const C &c) {
  return printed("alpha(%p), beta(%p) and gamma(%p) must not be nullptr",
                 static_cast<const void *>(c.alpha), static_cast<const void *>(c.beta),
                 static_cast<const void *>(c.gamma));
}
template <class C>
std::string null_planes(const C &c) {
  return printed(
      "src1_frame->data[0](%p), src2_frame->data[0](%p) and dst_frame->data[0](%p) must not be "
      "nullptr",
      plane(c.src1), plane(c.src2), plane(c.dst));
}

template <class C>
const Check<C> kImplementationChecks[] = {
    {"null src1", [](C &c) { c.src1 = nullptr; }, kInvalid, null_frames<C>},
    {"null src2", [](C &c) { c.src2 = nullptr; }, kInvalid, null_frames<C>},
    {"null dst", [](C &c) { c.dst = nullptr; }, kInvalid, null_frames<C>},
    {"src2 width", [](C &c) { c.src2->video.width = 4; }, kInvalid, src2_differs<C>},
    {"src2 height", [](C &c) { c.src2->video.height = 4; }, kInvalid, src2_differs<C>},
    {"src2 channels", [](C &c) { c.src2->video.channels = 4; }, kInvalid, src2_differs<C>},
    {"src2 format", [](C &c) { c.src2->video.format = 0; }, kInvalid, src2_differs<C>},
    {"dst width", [](C &c) { c.dst->video.width = -4; }, kInvalid, dst_differs<C>},
    {"dst height", [](C &c) { c.dst->video.height = 2; }, kInvalid, dst_differs<C>},
    {"dst channels", [](C &c) { c.dst->video.channels = 1; }, kInvalid, dst_differs<C>},
    {"dst format", [](C &c) { c.dst->video.format = 15; }, kInvalid, dst_differs<C>},
    {"I420", [](C &c) { c.set_all(&TavixVideoInfo::format, TAVIX_PIX_FMT_I420); }, kUnsupported,
     C::kTellsUnsupported ? unsupported<C> : nullptr},
    {"operation 10", [](C &c) { c.op = 10; }, kInvalid, nullptr},
    {"operation -1", [](C &c) { c.op = uint32_t(-1); }, kInvalid, nullptr},
    {"five channels", [](C &c) { c.set_all(&TavixVideoInfo::channels, 5); }, kInvalid,
     too_many_channels<C>},
    {"row of too many elements", [](C &c) { c.set_all(&TavixVideoInfo::width, 1 << 30); }, kInvalid,
     row_too_long<C>},
    {"null alpha", [](C &c) { c.alpha = nullptr; }, kInvalid, null_parameters<C>},
    {"null beta", [](C &c) { c.beta = nullptr; }, kInvalid, null_parameters<C>},
    {"null gamma", [](C &c) { c.gamma = nullptr; }, kInvalid, null_parameters<C>},
    {"src1 plane", [](C &c) { c.src1->data[0] = nullptr; }, kInvalid, null_planes<C>},
    {"src2 plane", [](C &c) { c.src2->data[0] = nullptr; }, kInvalid, null_planes<C>},
    {"dst plane", [](C &c) { c.dst->data[0] = nullptr; }, kInvalid, null_planes<C>},
};

TEST(BinaryArithmeticChecks, CommonC) {
  expect_checks(kImplementationChecks<CommonC>, module::kArithmeticUnit,
                "TavixFrameBinaryArithmeticCommonC");
}

TEST(BinaryArithmeticChecks, CommonCRefusesEveryOtherFormat) {
  expect_other_formats_refused<CommonC>(unsupported, module::kArithmeticUnit,
                                        "TavixFrameBinaryArithmeticCommonC");
}

TEST(BinaryArithmeticChecks, AVX) {
  expect_checks(kImplementationChecks<Avx>, module::kArithmeticAvxUnit,
                "TavixFrameBinaryArithmeticAVX");
}

TEST(BinaryArithmeticChecks, AVXRefusesEveryOtherFormat) {
  expect_other_formats_refused<Avx>(nullptr, module::kArithmeticAvxUnit,
                                    "TavixFrameBinaryArithmeticAVX");
}

TEST(BinaryArithmeticChecks, AVXWithoutAvx2ComesAfterEveryOtherCheck) {
  const char *const unit = module::kArithmeticAvxUnit, *const function =
                                                           "TavixFrameBinaryArithmeticAVX";
  expect_checks(kImplementationChecks<AvxWithoutAvx2>, unit, function);
  AvxWithoutAvx2 call;
  EXPECT_REFUSED(call.run(), kUnsupported, unit, function, "the processor has no AVX2");
  EXPECT_TRUE(call.untouched());
}

template <class C>
void expect_not_to_look_at_memory() {
  C call;
  call.src1->memory = 1, call.dst->memory = 9;
  EXPECT_SILENT(EXPECT_EQ(call.run(), TAVIX_OK));
  EXPECT_FALSE(call.untouched());
}

TEST(BinaryArithmeticChecks, ImplementationsDoNotLookAtMemory) {
  expect_not_to_look_at_memory<CommonC>();
  if (module::use_avx2()) expect_not_to_look_at_memory<Avx>();
}

TEST(BinaryArithmeticChecks, EntryLeavesTheRestToTheImplementation) {
  const WithoutAvx2 portable;
  const auto expect_as_common_c = [](void (*fault)(Call &)) {
    ByCPU entry;
    CommonC implementation;
    fault(entry), fault(implementation);
    const int32_t status = entry.run();
    const auto lines = core_double().take_logs();
    EXPECT_EQ(status, implementation.run());
    EXPECT_EQ(status, kInvalid);
    EXPECT_EQ(lines, core_double().take_logs());
    EXPECT_TRUE(entry.untouched());
  };
  expect_as_common_c([](Call &c) { c.src2->video.width = 4; });
  expect_as_common_c([](Call &c) { c.dst->video.channels = 4; });
  expect_as_common_c([](Call &c) { c.op = 10; });
  expect_as_common_c([](Call &c) { c.set_all(&TavixVideoInfo::channels, 5); });

  ByCPU without_parameters;
  without_parameters.beta = nullptr;
  EXPECT_EQ(without_parameters.run(), kInvalid);
  EXPECT_EQ(core_double().take_logs().size(), 1u);
}

}  // namespace
}  // namespace tavix::test
