// SPDX-License-Identifier: Apache-2.0
// Portable unary arithmetic: double precision throughout, with the C library's functions.
#include <cfloat>
#include <cmath>

#include "common/frame_access.h"
#include "common/numbers.h"
#include "cpu/common_c/arithmetic/channel_parameters.h"
#include "cpu/common_c/arithmetic/channel_tables.h"
#include "cpu/common_c/arithmetic/operation_rows.h"
#include "tavix/video_common_cpu/arithmetic.h"

namespace tavix::module {

namespace {

// What happens to a scaled sample before the offset is added.
template <int op>
double apply_c(double v) {
  switch (op) {
    case TAVIX_UNARY_OP_SQRT:
      return v < 0 ? 0 : std::sqrt(v);
    case TAVIX_UNARY_OP_EXP:
      return std::exp(v);
    case TAVIX_UNARY_OP_LOG:
      return std::log(v > DBL_EPSILON ? v : DBL_EPSILON);
    default:
      return v;
  }
}

template <class T, int op>
class UnaryArithmeticBody;

template <int op>
class UnaryArithmeticBody<uint8_t, op> final : public ParallelLoopBody {
 public:
  explicit UnaryArithmeticBody(const UnaryJob &job) : job_(job) {
    tables_.fill(job.video().channels, [&](uint8_t x, int32_t c) {
      return round_to_u8(apply_c<op>(x * job.scale[c]) + job.offset[c]);
    });
  }

  void operator()(const Range &rows) const override {
    const int32_t channels = job_.video().channels;
    job_.for_each_row<uint8_t>(rows, [&](int32_t n, const uint8_t *src, uint8_t *dst) {
      tables_.map_row(src, dst, n, channels);
    });
  }

 private:
  const UnaryJob job_;
  ChannelTables tables_;
};

template <int op>
class UnaryArithmeticBody<float, op> final : public ParallelLoopBody {
 public:
  explicit UnaryArithmeticBody(const UnaryJob &job)
      : job_(job),
        scale_(job.scale, job.video().channels),
        offset_(job.offset, job.video().channels) {}

  void operator()(const Range &rows) const override {
    job_.for_each_row<float>(rows, [this](int32_t n, const uint8_t *src, uint8_t *dst) {
      for_each_element<kWholePixels>(n, [&](int64_t i, int32_t k) {
        store(dst, i, float(apply_c<op>(load<float>(src, i) * scale_.lanes[k]) + offset_.lanes[k]));
      });
    });
  }

 private:
  const UnaryJob job_;
  const ParameterPattern<double, kWholePixels> scale_, offset_;
};

}  // namespace

constinit const UnaryRows kUnaryRowsC = UnaryRows::of<UnaryArithmeticBody>();

}  // namespace tavix::module
