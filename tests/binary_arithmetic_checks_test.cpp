// SPDX-License-Identifier: Apache-2.0
// What binary arithmetic refuses, in which order and with which words.
#include "arithmetic_checks.h"
#include "tavix/video_common_cpu.h"

namespace tavix::test {
namespace {

struct Call : ArithmeticCall<decltype(TavixFrameBinaryArithmeticByCPU), 3> {
  using ArithmeticCall::ArithmeticCall;
  int32_t run() { return function_(src1, src2, op, alpha, beta, gamma, dst); }

  static constexpr char kFirst[] = "src1_frame";
  static constexpr uint32_t kOperations = 10;

  TavixFrameV2 *src2 = frames_[1];
  uint32_t op = TAVIX_BINARY_OP_ADD;
  const double *alpha = kOnes, *beta = kOnes, *gamma = kOnes;

  static const FrameSlot<Call> kFrames[3];
  static const ParameterSlot<Call> kParameters[3];
};
const FrameSlot<Call> Call::kFrames[] = {
    {"src1", &Call::src1}, {"src2", &Call::src2}, {"dst", &Call::dst}};
const ParameterSlot<Call> Call::kParameters[] = {
    {"alpha", &Call::alpha}, {"beta", &Call::beta}, {"gamma", &Call::gamma}};

struct ByCPU : Call {
  static constexpr auto *kUnit = module::kFrameConvertUnit,
                        *kFunction = "TavixFrameBinaryArithmeticByCPU";
  ByCPU() : Call(TavixFrameBinaryArithmeticByCPU) {}

  std::string null_frames() const {
    return printed(
        "Invalid input: src1_frame(%p), src2_frame(%p), and dst_frame(%p) must not be nullptr",
        address(src1), address(src2), address(dst));
  }
  std::string not_host() const {
    return printed(
        "Invalid input: src1_frame(%d), src2_frame(%d), and dst_frame(%d) must all be in host "
        "memory",
        src1->memory, src2->memory, dst->memory);
  }
  std::string null_planes() const {
    return printed(
        "Invalid input: src1_frame->data[0](%p), src2_frame->data[0](%p), and "
        "dst_frame->data[0](%p) must not be nullptr",
        plane(src1), plane(src2), plane(dst));
  }
  std::string formats_must_be(const char *ending) const {
    return printed(
        "Invalid input: src1_frame->video.format(%d), src2_frame->video.format(%d), and "
        "dst_frame->video.format(%d) must be %s",
        src1->video.format, src2->video.format, dst->video.format, ending);
  }

  static Text<ByCPU> other_format() { return must_be_rgb_text<ByCPU>; }
  template <class C>
  static Checks<C> checks() {
    return joined<C>({
        null_frame_rows<C>(&C::null_frames),
        memory_rows<C>(&C::not_host),
        null_plane_rows<C>(&C::null_planes),
        {{"src2 is RGB24", [](C &c) { c.src2->video.format = TAVIX_PIX_FMT_RGB24; }, kInvalid,
          [](const C &c) { return c.formats_must_be("the same"); }}},
        entry_format_rows<C>(),
    });
  }
};

// CommonC and AVX.
struct Implementation : Call {
  using Call::Call;

  std::string null_frames() const {
    return printed(
        "src1_frame = (%p) src2_frame = (%p) dst_frame = (%p) one or more input frames are null",
        address(src1), address(src2), address(dst));
  }
  std::string src2_differs() const {
    return "src1_frame info (" + shape_text(src1->video) + "). src2_frame info : (" +
           printed("width=%d height=%d, channels=%d, format=%d))", src2->video.width,
                   src2->video.height, src2->video.channels, src2->video.format);
  }
  std::string dst_differs() const {
    return "src1_frame info (" + shape_text(src1->video) + "). dst_frame info : (" +
           shape_text(dst->video) + "))";
  }
  std::string null_parameters() const {
    return printed("alpha(%p), beta(%p) and gamma(%p) must not be nullptr", address(alpha),
                   address(beta), address(gamma));
  }
  std::string null_planes() const {
    return printed(
        "src1_frame->data[0](%p), src2_frame->data[0](%p) and dst_frame->data[0](%p) must not be "
        "nullptr",
        plane(src1), plane(src2), plane(dst));
  }

  template <class C>
  static Checks<C> checks() {
    return joined<C>({
        null_frame_rows<C>(&C::null_frames),
        shape_rows<C>(&C::src2, &C::src2_differs),
        shape_rows<C>(&C::dst, &C::dst_differs),
        {format_row<C>(TAVIX_PIX_FMT_I420, C::other_format())},
        operation_rows<C>(),
        limit_rows<C>(),
        null_parameter_rows<C>(&C::null_parameters),
        null_plane_rows<C>(&C::null_planes),
    });
  }
};

struct CommonC : Implementation {
  static constexpr auto *kUnit = module::kArithmeticUnit,
                        *kFunction = "TavixFrameBinaryArithmeticCommonC";
  CommonC() : Implementation(TavixFrameBinaryArithmeticCommonC) {}

  static Text<Call> other_format() { return unsupported_text<Call>; }
};

struct Avx : Implementation {
  static constexpr auto *kUnit = module::kArithmeticAvxUnit,
                        *kFunction = "TavixFrameBinaryArithmeticAVX";
  Avx() : Implementation(TavixFrameBinaryArithmeticAVX) {}

  static Text<Avx> other_format() { return nullptr; }
};

using Family = CheckedFamily<Call, ByCPU, CommonC, Avx>;
INSTANTIATE_TYPED_TEST_SUITE_P(Binary, ArithmeticChecks, Family);

}  // namespace
}  // namespace tavix::test
