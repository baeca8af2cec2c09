// SPDX-License-Identifier: Apache-2.0
// Portable unary arithmetic: double precision throughout, with the C library's functions.
#include "cpu/common_c/arithmetic/unary_arithmetic.h"

#include <cfloat>
#include <cmath>
#include <type_traits>

#include "common/frame_access.h"
#include "common/frame_checks.h"
#include "common/log.h"
#include "common/pixel_format.h"
#include "common/rounding.h"
#include "cpu/common_c/arithmetic/channel_parameters.h"
#include "cpu/common_c/arithmetic/channel_tables.h"
#include "cpu/common_c/arithmetic/run_operation.h"
#include "tavix/video_common_cpu/arithmetic.h"

namespace tavix::module {

namespace {

constexpr auto &kUnit = kArithmeticUnit;

// What happens to a scaled sample before the offset is added.
template <int op>
double apply(double v) {
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
class UnaryArithmeticBody final : public ParallelLoopBody {
 public:
  explicit UnaryArithmeticBody(const UnaryJob &job)
      : src_(job.src),
        dst_(job.dst),
        scale_(copy_parameters(job.scale)),
        offset_(copy_parameters(job.offset)) {}

  void operator()(const Range &rows) const override {
    if constexpr (std::is_same_v<T, uint8_t>) {
      run_bytes(rows);
    } else {
      run_floats(rows);
    }
  }

 private:
  void run_bytes(const Range &rows) const {
    const int32_t channels = std::clamp(src_->video.channels, 0, kMaxChannels);
    ChannelTables tables;
    tables.fill(channels, [&](uint8_t x, int32_t c) {
      return round_to_u8(apply<op>(x * scale_[c]) + offset_[c]);
    });
    const auto run_row = [&](int32_t n, const uint8_t *src, uint8_t *dst) {
      tables.map_row(src, dst, n, channels);
    };
    for_each_long_row<uint8_t>(rows.start, rows.end, run_row, *src_, *dst_);
  }

  void run_floats(const Range &rows) const {
    constexpr int32_t kPeriod = 12;
    const ParameterPattern<double, kPeriod> scale(scale_, src_->video.channels),
        offset(offset_, src_->video.channels);
    const auto run_row = [&](int32_t n, const uint8_t *src, uint8_t *dst) {
      for_each_element<kPeriod>(n, [&](int64_t i, int32_t k) {
        store(dst, i, float(apply<op>(load<float>(src, i) * scale.lanes[k]) + offset.lanes[k]));
      });
    };
    for_each_long_row<float>(rows.start, rows.end, run_row, *src_, *dst_);
  }

  const TavixFrameV2 *src_;
  TavixFrameV2 *dst_;
  ChannelParameters scale_;
  ChannelParameters offset_;
};

struct UnaryC {
  template <class T, int op>
  using Body = UnaryArithmeticBody<T, op>;
};

}  // namespace

int32_t guard_unary(const char *unit, const char *function, const UnaryJob &job) {
  const TavixVideoInfo &video = job.video();
  TAVIX_REFUSE_AS_IF(unit, function, !is_empty(video) && video.channels > kMaxChannels,
                     TAVIX_ERROR_INVALID_PARAM, "src channels(%d) must not exceed %d",
                     video.channels, kMaxChannels);
  TAVIX_RETURN_IF_REFUSED(check_row_elements(unit, function, video));
  TAVIX_REFUSE_AS_IF(unit, function, any_null(job.scale, job.offset), TAVIX_ERROR_INVALID_PARAM,
                     "scale(%p) and offset(%p) must not be nullptr", job.scale, job.offset);
  TAVIX_REFUSE_AS_IF(unit, function, has_pixels(video) && any_plane_null(job.src, job.dst),
                     TAVIX_ERROR_INVALID_PARAM,
                     "src->data[0](%p) and dst->data[0](%p) must not be nullptr", job.src->data[0],
                     job.dst->data[0]);
  return TAVIX_OK;
}

}  // namespace tavix::module

using namespace tavix::module;

int32_t TavixFrameUnaryArithmeticCommonC(const TavixFrameV2 *src, int32_t op, const double *scale,
                                         const double *offset, TavixFrameV2 *dst) {
  TAVIX_REFUSE_IF(kUnit, any_null(src, dst), TAVIX_ERROR_INVALID_PARAM,
                  "src:%p or dst:%p is nullptr", src, dst);
  TAVIX_REFUSE_IF(kUnit, any_plane_null(src, dst), TAVIX_ERROR_INVALID_PARAM,
                  "src->data[0](%p) or dst->data[0](%p) pointers null", src->data[0], dst->data[0]);
  const TavixVideoInfo &a = src->video, &b = dst->video;
  TAVIX_REFUSE_IF(kUnit, !same_shape(a, b), TAVIX_ERROR_INVALID_PARAM,
                  "src(width=%d, height=%d, channels=%d, format=%d) dst(width=%d, height=%d, "
                  "channels=%d, format=%d) frame info mismatch",
                  a.width, a.height, a.channels, a.format, b.width, b.height, b.channels, b.format);
  TAVIX_REFUSE_IF(kUnit, !is_rgb_family(a.format), TAVIX_ERROR_UNSUPPORTED,
                  "Unsupported pixel format: %d", a.format);
  if (op < 0 || op >= kUnaryOps) return TAVIX_ERROR_INVALID_PARAM;  // silent, on purpose
  const UnaryJob job = {src, dst, scale, offset};
  if (const int32_t status = guard_unary(kUnit, __func__, job); status != TAVIX_OK) return status;

  run_operation<UnaryC>(job, uint32_t(op), UnaryOps{});
  return TAVIX_OK;
}
