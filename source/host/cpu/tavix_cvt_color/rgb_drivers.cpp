// SPDX-License-Identifier: Apache-2.0
#include "cpu/tavix_cvt_color/rgb_drivers.h"

#include "common/frame_access.h"
#include "cpu/tavix_cvt_color/rgb_rows.h"
#include "cpu/tavix_cvt_color/run_rows.h"

namespace tavix::module {

namespace {

// Rows of 8-bit formats are joined where neither side has padding, for they treat every pixel
// alike. Of floats, which pixels of a row round half to even is part of the result.
class PackedBody final : public ParallelLoopBody {
 public:
  PackedBody(const PackedJob &job, PackedRow *convert, bool is_8_bit)
      : job_(job),
        convert_(convert),
        gapless_(is_8_bit && job.src_linesize == int64_t(job.width) * job.src_step &&
                 job.dst_linesize == int64_t(job.width) * job.dst_step) {}

  void operator()(const Range &rows) const override {
    for_each_joined(rows.start, rows.end, job_.width, int64_t(job_.width) * kMaxChannels, gapless_,
                    [this](int32_t y, int32_t pixels) {
                      convert_(row(job_.src, job_.src_linesize, y),
                               row(job_.dst, job_.dst_linesize, y), pixels);
                    });
  }

 private:
  const PackedJob &job_;
  PackedRow *convert_;
  bool gapless_;
};

// The conversions by name.
using ParallelConvertBGR2RGB = PackedBody;
using ParallelConvertBGRA2RGBA = PackedBody;
using ParallelConvertBGR2BGRA = PackedBody;
using ParallelConvertBGRA2BGR = PackedBody;
using ParallelConvertGray2BGR = PackedBody;
using ParallelConvertGray2BGRA = PackedBody;
using ParallelConvertBGR2Gray = PackedBody;
using ParallelConvertRGB2BGRF32 = PackedBody;
using ParallelConvertGray2BGRF32 = PackedBody;
using ParallelConvertRGBF322BGR = PackedBody;
using ParallelConvertRGBF32Family = PackedBody;

class ParallelConvertRGBF322Gray final : public ParallelLoopBody {
 public:
  ParallelConvertRGBF322Gray(const PackedJob &job, WeightedRow *convert)
      : job_(job), convert_(convert) {}

  void operator()(const Range &rows) const override {
    for (int32_t y = rows.start; y < rows.end; ++y)
      convert_(row(job_.src, job_.src_linesize, y), row(job_.dst, job_.dst_linesize, y), job_.width,
               job_.gray);
  }

 private:
  const PackedJob &job_;
  WeightedRow *convert_;
};

Range rows_of(const PackedJob &job) {
  return {0, job.width > 0 ? job.height : 0, 1};
}

void run_bytes(const PackedJob &job, const RgbRows &rows, PackedRow *convert) {
  run_rows(rows_of(job), PackedBody(job, convert, true), rows.bytes_on_all_workers);
}

void run_floats(const PackedJob &job, PackedRow *convert) {
  parallel_for_(rows_of(job), PackedBody(job, convert, false), -1.0);
}

// Rows shorter than a vector of floats are portable.
const RgbRows &float_rows(const PackedJob &job) {
  return job.width >= 8 ? rgb_rows() : kRgbRowsC;
}

}  // namespace

void shuffle_bytes(const PackedJob &job) {
  const RgbRows &rows = rgb_rows();
  run_bytes(job, rows, rows.shuffle_bytes(job.src_step, job.dst_step, job.swap));
}

void bytes_to_gray(const PackedJob &job) {
  const RgbRows &rows = rgb_rows();
  run_bytes(job, rows, rows.bytes_to_gray(job.src_step, job.r_first));
}

void shuffle_floats(const PackedJob &job) {
  run_floats(job, float_rows(job).shuffle_floats(job.src_step, job.dst_step, job.swap));
}

void bytes_to_floats(const PackedJob &job) {
  run_floats(job, float_rows(job).bytes_to_floats(job.src_step, job.dst_step, job.swap));
}

void floats_to_bytes(const PackedJob &job) {
  run_floats(job, float_rows(job).floats_to_bytes(job.src_step, job.dst_step, job.swap));
}

void floats_to_gray(const PackedJob &job) {
  WeightedRow *const convert = float_rows(job).floats_to_gray(job.src_step, job.r_first);
  parallel_for_(rows_of(job), ParallelConvertRGBF322Gray(job, convert), -1.0);
}

}  // namespace tavix::module
