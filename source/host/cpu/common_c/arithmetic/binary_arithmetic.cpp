// SPDX-License-Identifier: Apache-2.0
// Portable binary arithmetic. The loops are plain, without a branch on operation or type inside, so
// that a compiler can vectorise them.
#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <type_traits>

#include "common/frame_access.h"
#include "common/frame_checks.h"
#include "common/log.h"
#include "common/parallel/tavix_parallel_wrapper.h"
#include "common/pixel_format.h"
#include "common/rounding.h"
#include "cpu/common_c/arithmetic/binary_arithmetic.h"
#include "cpu/common_c/arithmetic/binary_ops.h"
#include "cpu/common_c/arithmetic/channel_parameters.h"
#include "cpu/common_c/arithmetic/channel_tables.h"
#include "cpu/common_c/arithmetic/run_operation.h"

namespace tavix::module {

namespace {

// Elements after which the parameters of 8-bit and float rows repeat: whole pixels and whole
// vectors.
constexpr int32_t kBytePeriod = 48, kFloatPeriod = 12;

// Elements of one strip: whole periods, and small enough for the first cache.
constexpr int32_t kStrip = 3072;
static_assert(kStrip % kBytePeriod == 0);

template <class Predicate>
bool all_channels(const ChannelParameters &values, int32_t channels, const Predicate &holds) {
  return std::all_of(values.begin(), values.begin() + channels, holds);
}

// One operand of 8-bit arithmetic: sat(round(float(sample * scale))), a table for each channel.
class ScaledOperand {
 public:
  ScaledOperand(const ChannelParameters &scale, int32_t channels)
      : neutral_(all_channels(scale, channels, [](double s) { return s == 1.0; })) {
    if (neutral_) return;
    tables_.fill(channels, [&](uint8_t v, int32_t c) { return round_to_u8(float(v * scale[c])); });
  }

  // The scaled samples of src: src itself where the scale changes nothing, else in strip.
  const uint8_t *row(const uint8_t *src, uint8_t *strip, int32_t n, int32_t channels) const {
    if (neutral_) return src;
    tables_.map_row(src, strip, n, channels);
    return strip;
  }

 private:
  bool neutral_;
  ChannelTables tables_;
};

// The offset of an 8-bit result: sat(round(offset) + result). An offset far within int32 adds or
// takes away a byte, saturating; near its ends and beyond, rounding to int32 has the last word.
class ByteOffset {
 public:
  ByteOffset(const ChannelParameters &offset, int32_t channels)
      : channels_(channels),
        offset_{std::rint(offset[0]), std::rint(offset[1]), std::rint(offset[2]),
                std::rint(offset[3])},
        neutral_(all_channels(offset_, channels, [](double g) { return g == 0.0; })),
        saturates_(all_channels(offset_, channels, [](double g) { return std::fabs(g) < 0x1p30; })),
        added_(clamped(offset_, 1), channels),
        taken_(clamped(offset_, -1), channels) {}

  bool neutral() const { return neutral_; }

  void add_to(uint8_t *row, int32_t n) const {
    if (saturates_) {
      for_each_element<kBytePeriod>(n, [=, this](int32_t i, int32_t k) {
        row[i] = Sub::run(Add::run(row[i], added_.lanes[k]), taken_.lanes[k]);
      });
    } else {
      for (int32_t i = 0; i < n; ++i) row[i] = round_to_u8(offset_[i % channels_] + row[i]);
    }
  }

 private:
  using Add = BinaryOp<TAVIX_BINARY_OP_ADD>;
  using Sub = BinaryOp<TAVIX_BINARY_OP_SUB>;

  static ChannelParameters clamped(ChannelParameters values, double sign) {
    for (double &v : values) v = std::fmin(std::fmax(sign * v, 0.0), 255.0);
    return values;
  }

  int32_t channels_;
  ChannelParameters offset_;
  bool neutral_, saturates_;
  ParameterPattern<uint8_t, kBytePeriod> added_, taken_;
};

// Plain byte loop; dst may be a or b.
template <int op>
void combine_bytes(const uint8_t *a, const uint8_t *b, uint8_t *dst, int32_t n) {
#pragma GCC ivdep
  for (int32_t i = 0; i < n; ++i) dst[i] = BinaryOp<op>::run(a[i], b[i]);
}

// The float chain on scaled operands. Offset is double, or float where the offsets are floats: the
// sum of two floats rounded to double and then to float is the sum rounded once. The quotient stays
// a double until the offset is added.
template <int op, class Offset>
float combine_floats(float a, float b, Offset offset) {
  if constexpr (op == TAVIX_BINARY_OP_DIV) {
    const double quotient = double(a) / double(b) + offset;
    return float(std::fabs(double(b)) < DBL_EPSILON ? DBL_EPSILON : quotient);
  } else {
    return float(Offset(BinaryOp<op>::run(a, b)) + offset);
  }
}

bool all_floats(const ChannelParameters &values, int32_t channels) {
  return all_channels(values, channels, [](double v) { return double(float(v)) == v; });
}

template <class T, int op>
class BinaryArithmeticBody final : public ParallelLoopBody {
 public:
  explicit BinaryArithmeticBody(const BinaryJob &job)
      : src1_(job.src1),
        src2_(job.src2),
        dst_(job.dst),
        alpha_(copy_parameters(job.alpha)),
        beta_(copy_parameters(job.beta)),
        gamma_(copy_parameters(job.gamma)) {}

  void operator()(const Range &rows) const override {
    if (!has_pixels(src1_->video)) return;
    const int32_t channels = src1_->video.channels;
    if constexpr (std::is_same_v<T, uint8_t>) {
      run_bytes(rows, channels);
    } else if (!all_floats(gamma_, channels)) {
      run_floats<double, double>(rows, channels);
    } else if (!all_floats(alpha_, channels) || !all_floats(beta_, channels)) {
      run_floats<double, float>(rows, channels);
    } else {
      run_floats<float, float>(rows, channels);
    }
  }

 private:
  void run_bytes(const Range &rows, int32_t channels) const {
    const ScaledOperand scaled1(alpha_, channels), scaled2(beta_, channels);
    const ByteOffset offset(gamma_, channels);

    uint8_t strip1[kStrip], strip2[kStrip], result[kStrip];
    const auto run_row = [&](int32_t n, const uint8_t *src1, const uint8_t *src2, uint8_t *dst) {
      for (int64_t i = 0; i < n; i += kStrip) {  // 64-bit: the strip after the longest row's last
        const int32_t count = int32_t(std::min<int64_t>(kStrip, n - i));
        const uint8_t *a = scaled1.row(src1 + i, strip1, count, channels);
        const uint8_t *b = scaled2.row(src2 + i, strip2, count, channels);
        if (offset.neutral()) {
          combine_bytes<op>(a, b, dst + i, count);
        } else {
          combine_bytes<op>(a, b, result, count);
          offset.add_to(result, count);
          if constexpr (op == TAVIX_BINARY_OP_DIV) clear_zero_divisors(b, result, count);
          std::memcpy(dst + i, result, size_t(count));
        }
      }
    };
    for_each_long_row<uint8_t>(rows.start, rows.end, run_row, *src1_, *src2_, *dst_);
  }

  // No offset is added to a zero-divisor result, on purpose.
  static void clear_zero_divisors(const uint8_t *b, uint8_t *result, int32_t n) {
    for (int32_t i = 0; i < n; ++i) result[i] = b[i] == 0 ? 0 : result[i];
  }

  // Scale and Offset: double, or float where the parameters are floats. The product of two floats
  // is exact in double and rounded once either way.
  template <class Scale, class Offset>
  void run_floats(const Range &rows, int32_t channels) const {
    const ParameterPattern<Scale, kFloatPeriod> alpha(alpha_, channels), beta(beta_, channels);
    const ParameterPattern<Offset, kFloatPeriod> gamma(gamma_, channels);
    const auto run_row = [&](int32_t n, const uint8_t *src1, const uint8_t *src2, uint8_t *dst) {
      for_each_element<kFloatPeriod>(n, [&](int64_t i, int32_t k) {
        const float a = float(load<float>(src1, i) * alpha.lanes[k]);
        const float b = float(load<float>(src2, i) * beta.lanes[k]);
        store(dst, i, combine_floats<op>(a, b, gamma.lanes[k]));
      });
    };
    for_each_long_row<float>(rows.start, rows.end, run_row, *src1_, *src2_, *dst_);
  }

  const TavixFrameV2 *src1_;
  const TavixFrameV2 *src2_;
  TavixFrameV2 *dst_;
  ChannelParameters alpha_;
  ChannelParameters beta_;
  ChannelParameters gamma_;
};

struct BinaryC {
  template <class T, int op>
  using Body = BinaryArithmeticBody<T, op>;
};

}  // namespace

int32_t BinaryChecks::operator()(const BinaryJob &job, uint32_t op) const {
  const auto &[src1_frame, src2_frame, dst_frame, alpha, beta, gamma] = job;
  TAVIX_REFUSE_AS_IF(unit, function, any_null(src1_frame, src2_frame, dst_frame),
                     TAVIX_ERROR_INVALID_PARAM,
                     "src1_frame = (%p) src2_frame = (%p) dst_frame = (%p) one or more input "
                     "frames are null",
                     src1_frame, src2_frame, dst_frame);
  const TavixVideoInfo &src1 = src1_frame->video, &src2 = src2_frame->video,
                       &dst = dst_frame->video;
  // The missing comma and the doubled parentheses belong to the texts.
  TAVIX_REFUSE_AS_IF(unit, function, !same_shape(src1, src2), TAVIX_ERROR_INVALID_PARAM,
                     "src1_frame info (width=%d, height=%d, channels=%d, format=%d). src2_frame "
                     "info : (width=%d height=%d, channels=%d, format=%d))",
                     src1.width, src1.height, src1.channels, src1.format, src2.width, src2.height,
                     src2.channels, src2.format);
  TAVIX_REFUSE_AS_IF(unit, function, !same_shape(src1, dst), TAVIX_ERROR_INVALID_PARAM,
                     "src1_frame info (width=%d, height=%d, channels=%d, format=%d). dst_frame "
                     "info : (width=%d, height=%d, channels=%d, format=%d))",
                     src1.width, src1.height, src1.channels, src1.format, dst.width, dst.height,
                     dst.channels, dst.format);
  const bool supported = is_rgb_family(src1.format);
  TAVIX_REFUSE_AS_IF(unit, function, !supported && tell_unsupported, TAVIX_ERROR_UNSUPPORTED,
                     "Unsupported pixel format: %d", src1.format);
  if (!supported) return TAVIX_ERROR_UNSUPPORTED;          // silent, on purpose
  if (op >= kBinaryOps) return TAVIX_ERROR_INVALID_PARAM;  // silent, on purpose
  TAVIX_REFUSE_AS_IF(unit, function, !is_empty(src1) && src1.channels > kMaxChannels,
                     TAVIX_ERROR_INVALID_PARAM, "src1_frame channels(%d) must not exceed %d",
                     src1.channels, kMaxChannels);
  TAVIX_RETURN_IF_REFUSED(check_row_elements(unit, function, src1));
  TAVIX_REFUSE_AS_IF(unit, function, any_null(alpha, beta, gamma), TAVIX_ERROR_INVALID_PARAM,
                     "alpha(%p), beta(%p) and gamma(%p) must not be nullptr", alpha, beta, gamma);
  TAVIX_REFUSE_AS_IF(unit, function,
                     has_pixels(src1) && any_plane_null(src1_frame, src2_frame, dst_frame),
                     TAVIX_ERROR_INVALID_PARAM,
                     "src1_frame->data[0](%p), src2_frame->data[0](%p) and dst_frame->data[0](%p) "
                     "must not be nullptr",
                     src1_frame->data[0], src2_frame->data[0], dst_frame->data[0]);
  return TAVIX_OK;
}

}  // namespace tavix::module

using namespace tavix::module;

int32_t TavixFrameBinaryArithmeticCommonC(const TavixFrameV2 *src1_frame,
                                          const TavixFrameV2 *src2_frame, uint32_t op,
                                          const double *alpha, const double *beta,
                                          const double *gamma, TavixFrameV2 *dst_frame) {
  const BinaryJob job = {src1_frame, src2_frame, dst_frame, alpha, beta, gamma};
  const BinaryChecks check = {kArithmeticUnit, __func__, true};
  if (const int32_t status = check(job, op); status != TAVIX_OK) return status;
  run_operation<BinaryC>(job, op, BinaryOps{});
  return TAVIX_OK;
}
