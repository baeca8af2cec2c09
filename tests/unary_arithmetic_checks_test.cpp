// SPDX-License-Identifier: Apache-2.0
// What unary arithmetic refuses, in which order and with which words.
#include "arithmetic_checks.h"
#include "tavix/video_common_cpu.h"

namespace tavix::test {
namespace {

struct Call : ArithmeticCall<decltype(TavixFrameUnaryArithmeticByCPU), 2> {
  using ArithmeticCall::ArithmeticCall;
  int32_t run() { return function_(src1, op, scale, offset, dst); }

  static constexpr char kFirst[] = "src";
  static constexpr int32_t kOperations = 4;

  int32_t op = TAVIX_UNARY_OP_MUL_ADD;
  const double *scale = kOnes, *offset = kOnes;

  static const FrameSlot<Call> kFrames[2];
  static const ParameterSlot<Call> kParameters[2];
};
const FrameSlot<Call> Call::kFrames[] = {{"src", &Call::src1}, {"dst", &Call::dst}};
const ParameterSlot<Call> Call::kParameters[] = {{"scale", &Call::scale},
                                                 {"offset", &Call::offset}};

struct ByCPU : Call {
  static constexpr auto *kUnit = module::kFrameConvertUnit,
                        *kFunction = "TavixFrameUnaryArithmeticByCPU";
  ByCPU() : Call(TavixFrameUnaryArithmeticByCPU) {}

  std::string formats_must_be(const char *ending) const {
    return printed("Invalid input: src->video.format(%d), dst->video.format(%d) must be %s",
                   src1->video.format, dst->video.format, ending);
  }
  static Text<ByCPU> other_format() { return must_be_rgb_text<ByCPU>; }

  template <class C>
  static Checks<C> checks() {
    return joined<C>({null_frame_rows<C>([](const C &c) {
                        return printed("src:(%p), dst:(%p) must not be nullptr", address(c.src1),
                                       address(c.dst));
                      }),
                      null_plane_rows<C>([](const C &c) {
                        return printed("src->data[0](%p), dst->data[0](%p) must not be nullptr",
                                       plane(c.src1), plane(c.dst));
                      }),
                      memory_rows<C>([](const C &c) {
                        return printed("src->memory(%d), dst->memory(%d) must be in host memory",
                                       c.src1->memory, c.dst->memory);
                      }),
                      entry_format_rows<C>()});
  }
};

// What CommonC checks between the planes and the pixels, and AVX before the planes.
template <class C>
Checks<C> other_checks(const Text<C> &shapes) {
  const auto parameters = [](const C &c) {
    return printed("scale(%p) and offset(%p) must not be nullptr", address(c.scale),
                   address(c.offset));
  };
  return joined<C>({shape_rows<C>(&C::dst, shapes),
                    {format_row<C>(TAVIX_PIX_FMT_I420, C::other_format())},
                    operation_rows<C>(),
                    limit_rows<C>(),
                    null_parameter_rows<C>(parameters)});
}

struct CommonC : Call {
  static constexpr auto *kUnit = module::kArithmeticUnit,
                        *kFunction = "TavixFrameUnaryArithmeticCommonC";
  CommonC() : Call(TavixFrameUnaryArithmeticCommonC) {}

  static Text<Call> other_format() { return unsupported_text<Call>; }

  template <class C>
  static Checks<C> checks() {
    return joined<C>({null_frame_rows<C>([](const C &c) {
                        return printed("src:%p or dst:%p is nullptr", address(c.src1),
                                       address(c.dst));
                      }),
                      null_plane_rows<C>([](const C &c) {
                        return printed("src->data[0](%p) or dst->data[0](%p) pointers null",
                                       plane(c.src1), plane(c.dst));
                      }),
                      other_checks<C>([](const C &c) {
                        return "src(" + shape_text(c.src1->video) + ") dst(" +
                               shape_text(c.dst->video) + ") frame info mismatch";
                      })});
  }
};

struct Avx : Call {
  static constexpr auto *kUnit = module::kArithmeticAvxUnit,
                        *kFunction = "TavixFrameUnaryArithmeticAVX";
  Avx() : Call(TavixFrameUnaryArithmeticAVX) {}

  static Text<Avx> other_format() { return nullptr; }

  template <class C>
  static Checks<C> checks() {
    return joined<C>({null_frame_rows<C>([](const C &c) {
                        return printed("src1_frame(%p) or dst_frame(%p) is null", address(c.src1),
                                       address(c.dst));
                      }),
                      other_checks<C>([](const C &c) {
                        return "src1_frame(" + shape_text(c.src1->video) + ") and dst_frame(" +
                               shape_text(c.dst->video) + ") dimension mismatch";
                      }),
                      null_plane_rows<C>([](const C &c) {
                        return printed("src->data[0](%p) and dst->data[0](%p) must not be nullptr",
                                       plane(c.src1), plane(c.dst));
                      })});
  }
};

using Family = CheckedFamily<Call, ByCPU, CommonC, Avx>;
INSTANTIATE_TYPED_TEST_SUITE_P(Unary, ArithmeticChecks, Family);

}  // namespace
}  // namespace tavix::test
