// SPDX-License-Identifier: Apache-2.0
// Drivers of the packed conversions: all rows of a job that has pixels. A member of the record of
// row kernels makes a driver.
#pragma once

#include <type_traits>

#include "common/frame_access.h"
#include "common/parallel/tavix_parallel_wrapper.h"
#include "cpu/tavix_cvt_color/rgb_rows.h"

namespace tavix::module {

// Two planes of one size. Line sizes are bytes, steps elements: 3 or 4, or 1 for grey.
struct PackedJob {
  const uint8_t *src;
  int32_t src_linesize, src_step;
  uint8_t *dst;
  int32_t dst_linesize, dst_step;
  int32_t width, height;
  bool r_first;             // of a source of colour
  bool swap;                // the sides differ in channel order
  const GrayWeights &gray;  // of the source's colour space

  Range rows() const { return {0, width > 0 ? height : 0, 1}; }

  // Whether neither side has padding, for elements of these types.
  template <class Src, class Dst>
  bool is_gapless() const {
    return src_linesize == int64_t(width) * src_step * int64_t(sizeof(Src)) &&
           dst_linesize == int64_t(width) * dst_step * int64_t(sizeof(Dst));
  }
};

inline PackedRow *kernel_of(const PackedJob &job, const RgbRows &rows,
                            PackedRows RgbRows::*member) {
  return (rows.*member).find(job.src_step, job.dst_step, job.swap);
}
template <class Row>
Row *kernel_of(const PackedJob &job, const RgbRows &rows, GrayRows<Row> RgbRows::*member) {
  return (rows.*member).find(job.src_step, job.r_first);
}

// Rows without gaps are joined.
template <class Row>
class PackedBody final : public ParallelLoopBody {
 public:
  PackedBody(const PackedJob &job, Row *convert, bool gapless)
      : job_(job), convert_(convert), gapless_(gapless) {}

  void operator()(const Range &rows) const override {
    for_each_joined(rows.start, rows.end, job_.width,
                    int64_t(job_.width) * kMaxChannels * int64_t(sizeof(float)), gapless_,
                    [this](int32_t y, int32_t pixels) {
                      run(row(job_.src, job_.src_linesize, y), row(job_.dst, job_.dst_linesize, y),
                          pixels);
                    });
  }

 private:
  void run(const uint8_t *src, uint8_t *dst, int32_t pixels) const {
    if constexpr (std::is_same_v<Row, WeightedRow>)
      convert_(src, dst, pixels, job_.gray);
    else
      convert_(src, dst, pixels);
  }

  const PackedJob &job_;
  Row *convert_;
  bool gapless_;
};

// Among 8-bit formats: on all workers with vector rows, in the calling thread with portable ones.
template <auto member>
void convert_bytes(const PackedJob &job) {
  const RgbRows &rows = rgb_rows();
  run_rows(job.rows(),
           PackedBody(job, kernel_of(job, rows, member), job.is_gapless<uint8_t, uint8_t>()),
           rows.bytes_on_all_workers);
}

// To and from floats: always on all workers. Rows shorter than a vector of floats are portable.
// Rows that treat every pixel alike name their elements; where floats are rounded, which pixels of
// a row round half to even is part of the result.
template <auto member, class... Alike>
void convert_floats(const PackedJob &job) {
  const RgbRows &rows = job.width >= 8 ? rgb_rows() : kRgbRowsC;
  bool gapless = false;
  if constexpr (sizeof...(Alike) > 0) gapless = job.is_gapless<Alike...>();
  parallel_for_(job.rows(), PackedBody(job, kernel_of(job, rows, member), gapless), -1.0);
}

// The conversions by name, and their bodies.
inline constexpr auto &BGR2RGB = convert_bytes<&RgbRows::shuffle_bytes>, &BGRA2RGBA = BGR2RGB,
                      &BGR2BGRA = BGR2RGB, &BGRA2BGR = BGR2RGB, &Gray2BGR = BGR2RGB,
                      &Gray2BGRA = BGR2RGB;
inline constexpr auto &BGR2Gray = convert_bytes<&RgbRows::bytes_to_gray>;
inline constexpr auto &RGB2BGRF32 = convert_floats<&RgbRows::bytes_to_floats, uint8_t, float>,
                      &Gray2BGRF32 = RGB2BGRF32;
inline constexpr auto &RGBF322BGR = convert_floats<&RgbRows::floats_to_bytes>;
inline constexpr auto &RGBF32Family = convert_floats<&RgbRows::shuffle_floats, float, float>;
inline constexpr auto &RGBF322Gray = convert_floats<&RgbRows::floats_to_gray>;

typedef PackedBody<PackedRow> ParallelConvertBGR2RGB, ParallelConvertBGRA2RGBA,
    ParallelConvertBGR2BGRA, ParallelConvertBGRA2BGR, ParallelConvertGray2BGR,
    ParallelConvertGray2BGRA, ParallelConvertBGR2Gray, ParallelConvertRGB2BGRF32,
    ParallelConvertGray2BGRF32, ParallelConvertRGBF322BGR, ParallelConvertRGBF32Family;
using ParallelConvertRGBF322Gray = PackedBody<WeightedRow>;

}  // namespace tavix::module
