// SPDX-License-Identifier: Apache-2.0
// Portable binary arithmetic. The loops are plain, without a branch on operation or type inside, so
// that a compiler can vectorise them.
#include <algorithm>
#include <cfloat>
#include <cmath>

#include "common/frame_access.h"
#include "common/numbers.h"
#include "cpu/common_c/arithmetic/binary_ops.h"
#include "cpu/common_c/arithmetic/channel_parameters.h"
#include "cpu/common_c/arithmetic/channel_tables.h"
#include "cpu/common_c/arithmetic/operation_rows.h"

namespace tavix::module {

namespace {

// Elements after which the parameters of 8-bit and float rows repeat: whole pixels and whole
// vectors.
constexpr int32_t kBytePeriod = 48, kFloatPeriod = 12;

// Elements of one strip: whole periods, and small enough for the first cache.
constexpr int32_t kStrip = 3072;
static_assert(kStrip % kBytePeriod == 0);

template <class Predicate>
bool all_channels(const double *values, int32_t channels, const Predicate &holds) {
  return std::all_of(values, values + channels, holds);
}

// One operand of 8-bit arithmetic: sat(round(float(sample * scale))), a table for each channel.
class ScaledOperand {
 public:
  ScaledOperand(const double *scale, int32_t channels)
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

// The operation on scaled bytes and the offset of its result: sat(round(offset) + result). An
// offset far within int32 adds or takes away a byte, saturating; near its ends and beyond, rounding
// to int32 has the last word.
template <int op>
class ByteOperation {
 public:
  ByteOperation(const double *gamma, int32_t channels)
      : channels_(channels),
        offset_{std::rint(gamma[0]), std::rint(gamma[1]), std::rint(gamma[2]), std::rint(gamma[3])},
        neutral_(all_channels(offset_, channels, [](double g) { return g == 0.0; })),
        saturates_(all_channels(offset_, channels, [](double g) { return std::fabs(g) < 0x1p30; })),
        added_(clamped(1), channels),
        taken_(clamped(-1), channels) {}

  // dst may be a or b.
  void run(const uint8_t *a, const uint8_t *b, uint8_t *dst, int32_t n) const {
    if (neutral_) {
      TAVIX_INDEPENDENT_ITERATIONS
      for (int32_t i = 0; i < n; ++i) dst[i] = BinaryOp<op>::run(a[i], b[i]);
    } else if (saturates_) {
      for_each_element<kBytePeriod>(n, [=, this](int64_t i, int32_t k) {
        const uint8_t result = Add::run(BinaryOp<op>::run(a[i], b[i]), added_.lanes[k]);
        dst[i] = unless_by_zero(b[i], Sub::run(result, taken_.lanes[k]));
      });
    } else {
      for (int32_t i = 0; i < n; ++i) {
        const double result = offset_[i % channels_] + BinaryOp<op>::run(a[i], b[i]);
        dst[i] = unless_by_zero(b[i], round_to_u8(result));
      }
    }
  }

 private:
  using Add = BinaryOp<TAVIX_BINARY_OP_ADD>;
  using Sub = BinaryOp<TAVIX_BINARY_OP_SUB>;

  // No offset is added to a zero-divisor result, on purpose.
  static uint8_t unless_by_zero(uint8_t b, uint8_t result) {
    return op == TAVIX_BINARY_OP_DIV && b == 0 ? 0 : result;
  }

  ChannelParameters clamped(double sign) const {
    ChannelParameters bytes;
    for (size_t c = 0; c < bytes.size(); ++c)
      bytes[c] = std::fmin(std::fmax(sign * offset_[c], 0.0), 255.0);
    return bytes;
  }

  int32_t channels_;
  double offset_[kMaxChannels];
  bool neutral_, saturates_;
  ParameterPattern<uint8_t, kBytePeriod> added_, taken_;
};

// The float chain on scaled operands. Offset is double, or float where the offsets are floats: the
// sum of two floats rounded to double and then to float is the sum rounded once. The quotient stays
// a double until the offset is added.
template <int op, class Offset>
float combine_floats_c(float a, float b, Offset offset) {
  if constexpr (op == TAVIX_BINARY_OP_DIV) {
    const double quotient = double(a) / double(b) + offset;
    return float(std::fabs(double(b)) < DBL_EPSILON ? DBL_EPSILON : quotient);
  } else {
    return float(Offset(BinaryOp<op>::run(a, b)) + offset);
  }
}

bool all_floats(const double *values, int32_t channels) {
  return all_channels(values, channels, [](double v) { return double(float(v)) == v; });
}

template <class T, int op>
class BinaryArithmeticBody;

template <int op>
class BinaryArithmeticBody<uint8_t, op> final : public ParallelLoopBody {
 public:
  explicit BinaryArithmeticBody(const BinaryJob &job)
      : job_(job),
        channels_(job.video().channels),
        scaled1_(job.alpha, channels_),
        scaled2_(job.beta, channels_),
        operation_(job.gamma, channels_) {}

  void operator()(const Range &rows) const override {
    job_.for_each_row<uint8_t>(rows, [this](int32_t n, const uint8_t *src1, const uint8_t *src2,
                                            uint8_t *dst) {
      uint8_t strip1[kStrip], strip2[kStrip];
      for (int64_t i = 0; i < n; i += kStrip) {  // 64-bit: the strip after the longest row's last
        const int32_t count = int32_t(std::min<int64_t>(kStrip, n - i));
        operation_.run(scaled1_.row(src1 + i, strip1, count, channels_),
                       scaled2_.row(src2 + i, strip2, count, channels_), dst + i, count);
      }
    });
  }

 private:
  const BinaryJob job_;
  const int32_t channels_;
  const ScaledOperand scaled1_, scaled2_;
  const ByteOperation<op> operation_;
};

template <int op>
class BinaryArithmeticBody<float, op> final : public ParallelLoopBody {
 public:
  explicit BinaryArithmeticBody(const BinaryJob &job) : job_(job) {}

  void operator()(const Range &rows) const override {
    const int32_t channels = job_.video().channels;
    if (!all_floats(job_.gamma, channels)) {
      run<double, double>(rows);
    } else if (!all_floats(job_.alpha, channels) || !all_floats(job_.beta, channels)) {
      run<double, float>(rows);
    } else {
      run<float, float>(rows);
    }
  }

 private:
  // Scale and Offset: double, or float where the parameters are floats. The product of two floats
  // is exact in double and rounded once either way.
  template <class Scale, class Offset>
  void run(const Range &rows) const {
    const int32_t channels = job_.video().channels;
    const ParameterPattern<Scale, kFloatPeriod> alpha(job_.alpha, channels),
        beta(job_.beta, channels);
    const ParameterPattern<Offset, kFloatPeriod> gamma(job_.gamma, channels);
    const auto run_row = [&](int32_t n, const uint8_t *src1, const uint8_t *src2, uint8_t *dst) {
      for_each_element<kFloatPeriod>(n, [&](int64_t i, int32_t k) {
        const float a = float(load<float>(src1, i) * alpha.lanes[k]);
        const float b = float(load<float>(src2, i) * beta.lanes[k]);
        store(dst, i, combine_floats_c<op>(a, b, gamma.lanes[k]));
      });
    };
    job_.for_each_row<float>(rows, run_row);
  }

  const BinaryJob job_;
};

}  // namespace

constinit const BinaryRows kBinaryRowsC = BinaryRows::of<BinaryArithmeticBody>();

}  // namespace tavix::module
