// SPDX-License-Identifier: Apache-2.0
#include "cpu/tavix_cvt_color/rgb_drivers.h"

#include <limits>

#include "cpu/tavix_cvt_color/rgb_rows.h"
#include "cpu/tavix_cvt_color/run_rows.h"

namespace tavix::module {

namespace {

// Rows of a job that have pixels.
int32_t rows_of(const PackedJob &job) {
  return job.width > 0 ? job.height : 0;
}

class PackedBody : public ParallelLoopBody {
 public:
  explicit PackedBody(const PackedJob &job, bool flag = false) : job_(job), flag_(flag) {}

 protected:
  template <class Row, class... Constants>
  void run(const Range &rows, Row *kernel, const Constants &...constants) const {
    for (int32_t y = rows.start; y < rows.end; ++y)
      kernel(row(job_.src, job_.src_linesize, y), row(job_.dst, job_.dst_linesize, y), job_.width,
             constants...);
  }

  // As run, for kernels of 8-bit formats that treat every pixel alike: rows without padding on
  // either side are one long row.
  void run_joined(const Range &rows, PackedRow *kernel) const {
    const int64_t elements = int64_t(job_.width) * kMaxChannels;
    if (job_.src_linesize != int64_t(job_.width) * job_.src_step ||
        job_.dst_linesize != int64_t(job_.width) * job_.dst_step ||
        elements * rows.end > std::numeric_limits<int32_t>::max())
      return run(rows, kernel);
    kernel(row(job_.src, job_.src_linesize, rows.start),
           row(job_.dst, job_.dst_linesize, rows.start), job_.width * (rows.end - rows.start));
  }

  void run(const Range &rows, const PackedRows &kernels) const {
    run(rows, kernels(job_.src_step, job_.dst_step, flag_));
  }

  // Float bodies choose their path for each range; rows shorter than a vector are portable.
  const RgbRows &float_path() const { return job_.width >= 8 ? rgb_rows() : kRgbRowsC; }

  PackedJob job_;
  bool flag_;  // swap, or red first
};

template <const RgbRows &path>
struct ShuffleBytes : PackedBody {
  using PackedBody::PackedBody;
  void operator()(const Range &rows) const override {
    run_joined(rows, path.shuffle_bytes(job_.src_step, job_.dst_step, flag_));
  }
};

template <const RgbRows &path>
struct BytesToGray : PackedBody {
  using PackedBody::PackedBody;
  void operator()(const Range &rows) const override {
    run_joined(rows, path.bytes_to_gray(job_.src_step, flag_));
  }
};

template <const PackedRows RgbRows::*conversion>
struct FloatBody : PackedBody {
  using PackedBody::PackedBody;
  void operator()(const Range &rows) const override { run(rows, float_path().*conversion); }
};

// One body for each conversion.
struct ParallelConvertBGR2RGB final : ShuffleBytes<kRgbRowsAvx2> {
  using ShuffleBytes::ShuffleBytes;
};
struct ParallelConvertBGRA2RGBA final : ShuffleBytes<kRgbRowsAvx2> {
  using ShuffleBytes::ShuffleBytes;
};
struct ParallelConvertBGR2BGRA final : ShuffleBytes<kRgbRowsAvx2> {
  using ShuffleBytes::ShuffleBytes;
};
struct ParallelConvertBGRA2BGR final : ShuffleBytes<kRgbRowsAvx2> {
  using ShuffleBytes::ShuffleBytes;
};
struct ParallelConvertGray2BGR final : ShuffleBytes<kRgbRowsAvx2> {
  using ShuffleBytes::ShuffleBytes;
};
struct ParallelConvertGray2BGRA final : ShuffleBytes<kRgbRowsAvx2> {
  using ShuffleBytes::ShuffleBytes;
};
struct ShuffleChannels final : ShuffleBytes<kRgbRowsC> {
  using ShuffleBytes::ShuffleBytes;
};

struct ParallelConvertBGR2Gray final : BytesToGray<kRgbRowsAvx2> {
  using BytesToGray::BytesToGray;
};
struct ConvertBGR2GrayCommonC final : BytesToGray<kRgbRowsC> {
  using BytesToGray::BytesToGray;
};

struct ParallelConvertRGB2BGRF32 final : FloatBody<&RgbRows::bytes_to_floats> {
  using FloatBody::FloatBody;
};
struct ParallelConvertGray2BGRF32 final : FloatBody<&RgbRows::bytes_to_floats> {
  using FloatBody::FloatBody;
};
struct ParallelConvertRGBF322BGR final : FloatBody<&RgbRows::floats_to_bytes> {
  using FloatBody::FloatBody;
};
struct ParallelConvertRGBF32Family final : FloatBody<&RgbRows::shuffle_floats> {
  using FloatBody::FloatBody;
};

class ParallelConvertRGBF322Gray final : public PackedBody {
 public:
  ParallelConvertRGBF322Gray(const PackedJob &job, bool r_first, const GrayWeights &weights)
      : PackedBody(job, r_first), weights_(weights) {}

  void operator()(const Range &rows) const override {
    run(rows, float_path().floats_to_gray(job_.src_step, flag_), weights_);
  }

 private:
  GrayWeights weights_;
};

}  // namespace

void BGR2RGB(const PackedJob &job, bool swap) {
  run_rows_or_serial<ParallelConvertBGR2RGB, ShuffleChannels>(rows_of(job), job, swap);
}

void BGRA2RGBA(const PackedJob &job, bool swap) {
  run_rows_or_serial<ParallelConvertBGRA2RGBA, ShuffleChannels>(rows_of(job), job, swap);
}

void BGR2BGRA(const PackedJob &job, bool swap) {
  run_rows_or_serial<ParallelConvertBGR2BGRA, ShuffleChannels>(rows_of(job), job, swap);
}

void BGRA2BGR(const PackedJob &job, bool swap) {
  run_rows_or_serial<ParallelConvertBGRA2BGR, ShuffleChannels>(rows_of(job), job, swap);
}

void Gray2BGR(const PackedJob &job) {
  run_rows_or_serial<ParallelConvertGray2BGR, ShuffleChannels>(rows_of(job), job);
}

void Gray2BGRA(const PackedJob &job) {
  run_rows_or_serial<ParallelConvertGray2BGRA, ShuffleChannels>(rows_of(job), job);
}

void BGR2Gray(const PackedJob &job, bool r_first) {
  run_rows_or_serial<ParallelConvertBGR2Gray, ConvertBGR2GrayCommonC>(rows_of(job), job, r_first);
}

void RGB2BGRF32(const PackedJob &job, bool swap) {
  parallel_for_({0, rows_of(job), 1}, ParallelConvertRGB2BGRF32(job, swap), -1.0);
}

void Gray2BGRF32(const PackedJob &job) {
  parallel_for_({0, rows_of(job), 1}, ParallelConvertGray2BGRF32(job), -1.0);
}

void RGBF322BGR(const PackedJob &job, bool swap) {
  parallel_for_({0, rows_of(job), 1}, ParallelConvertRGBF322BGR(job, swap), -1.0);
}

void RGBF32Family(const PackedJob &job, bool swap) {
  parallel_for_({0, rows_of(job), 1}, ParallelConvertRGBF32Family(job, swap), -1.0);
}

void RGBF322Gray(const PackedJob &job, bool r_first, const GrayWeights &weights) {
  parallel_for_({0, rows_of(job), 1}, ParallelConvertRGBF322Gray(job, r_first, weights), -1.0);
}

}  // namespace tavix::module
