// SPDX-License-Identifier: Apache-2.0
// Drivers of the 4:2:0 conversions and the bodies they run. Row kernels stand beside this file,
// portable ones in cpu/tavix_cvt_color.
#include "cpu/x86/cvt_color/cvt_color_yuv_avx.h"

#include <cstring>

#include "common/log.h"
#include "common/parallel/tavix_parallel_wrapper.h"
#include "common/row_access.h"
#include "cpu/x86/past_caches.h"

namespace tavix::module {

namespace {

// Row pairs between a packed and a 4:2:0 picture.
template <class Job, class Row>
class PackedYuvBody final : public ParallelLoopBody {
 public:
  PackedYuvBody(const Job &job, Row *convert)
      : job_(job),
        convert_(convert),
        past_caches_(goes_past_caches(job.bytes(), job.packed.data) &&
                     job.packed.linesize % kCacheLine == 0) {}

  void operator()(const Range &range) const override {
    for (int32_t c = range.start; c < range.end; ++c) {
      auto rows = job_.rows(2 * c, 2 * c + 1, c);
      rows.past_caches = past_caches_;
      convert_(rows, whole_pairs(job_.width), job_.weights);
    }
  }

 private:
  const Job &job_;
  Row *convert_;
  bool past_caches_;
};

// The conversions by name; channels and layout are the job's.
typedef PackedYuvBody<RgbToYuvJob, RgbToYuvRow> ParallelConvertBGR2NV12, ParallelConvertBGR2YV12,
    ParallelConvertBGRA2NV12, ParallelConvertBGRA2YV12, ParallelConvertBGR2NV12CommonC,
    ParallelConvertBGR2YV12CommonC;
typedef PackedYuvBody<YuvToRgbJob, YuvToRgbRow> ParallelConvertNV122BGR, ParallelConvertYV122BGR,
    ParallelConvertYV122BGRA, ParallelConvertNV122BGRCommonC, ParallelConvertYV122BGRCommonC;
typedef PackedYuvBody<RgbF32ToYuvJob, RgbF32ToYuvRow> ParallelConvertRGBF322NVAvx,
    ParallelConvertRGBF322YUVAvx;
typedef PackedYuvBody<YuvToRgbF32Job, YuvToRgbF32Row> ParallelConvertNV2BGRF32Avx,
    ParallelConvertYUV2BGRF32Avx;

template <class Job, class Row>
void run_row_pairs(const Job &job, const PackedYuvRows<Row> &rows) {
  if (!has_blocks(job.width, job.height)) return;  // nothing is known of the channels then
  parallel_for_({0, row_pairs(job.height), 1},
                PackedYuvBody<Job, Row>(job, rows(job.packed.channels, job.yuv.layout)), -1.0);
}

// Whole row pairs on all workers, then the last row of an odd height in the calling thread.
void convert_frame(const RgbToYuvJob &job) {
  run_row_pairs(job, rgb_to_yuv_rows());
  if (job.width > 0 && job.height > 0 && job.height % 2 == 1) rgb_to_yuv_last_row_c(job);
}

// The luma rows of some chroma rows.
void copy_luma(const YuvRepackJob &job, const Range &rows) {
  const auto &src = job.src;
  const auto &dst = job.dst;
  const bool gapless = src.y_linesize == job.width && dst.y_linesize == job.width;
  for_each_joined(2 * rows.start, 2 * rows.end, job.width, job.width, gapless,
                  [&](int32_t y, int32_t n) {
                    copy_bytes(row(src.y, src.y_linesize, y), row(dst.y, dst.y_linesize, y), n);
                  });
}

// A body over chroma rows, each with two rows of luma.
class RepackBody final : public ParallelLoopBody {
 public:
  RepackBody(const YuvRepackJob &job, const RepackRows &kernels) : job_(job), kernels_(kernels) {}

  void operator()(const Range &rows) const override {
    copy_luma(job_, rows);
    if (job_.width > 1) move_chroma(rows);
  }

 private:
  void move_chroma(const Range &rows) const {
    const auto &src = job_.src;
    const auto &dst = job_.dst;
    const int32_t pairs = job_.width / 2;
    const bool gapless = src.chroma_linesize == pairs * pair_bytes(src.layout) &&
                         dst.chroma_linesize == pairs * pair_bytes(dst.layout);
    MoveChromaRow *const move = kernels_.move_chroma[int(src.layout)][int(dst.layout)];
    for_each_joined(rows.start, rows.end, pairs, 2 * int64_t(pairs), gapless,
                    [&](int32_t c, int32_t n) {
                      move({row(src.chroma[0], src.chroma_linesize, c),
                            row(src.chroma[1], src.chroma_linesize, c)},
                           {row(dst.chroma[0], dst.chroma_linesize, c),
                            row(dst.chroma[1], dst.chroma_linesize, c)},
                           n);
                    });
  }

  const YuvRepackJob &job_;
  const RepackRows &kernels_;
};

typedef RepackBody ParallelConvertNV122NV21, ParallelConvertNV122YV12, ParallelConvertYVU122NV,
    ParallelConvertYVU122YVU12;

// Two rows of grey become two of luma; the chroma row they share is filled to its stride, so that
// chroma rows are one span.
class GrayToYuvBody final : public ParallelLoopBody {
 public:
  explicit GrayToYuvBody(const YuvRepackJob &job) : job_(job) {}

  void operator()(const Range &rows) const override {
    const auto &dst = job_.dst;
    if (job_.width > 0) copy_luma(job_, rows);
    if (dst.chroma_linesize <= 0) return;  // the planes may be missing then
    const int planes = dst.layout == ChromaLayout::kPlanar ? 2 : 1;
    const int64_t bytes = int64_t(dst.chroma_linesize) * (rows.end - rows.start);
    for (int p = 0; p < planes; ++p)
      std::memset(row(dst.chroma[p], dst.chroma_linesize, rows.start), 128, size_t(bytes));
  }

 private:
  const YuvRepackJob &job_;
};

using ParallelConvertGray2NV12 = GrayToYuvBody;

}  // namespace

// A driver warns of odd sizes under its own name.
#define TAVIX_RGB_TO_YUV_DRIVER(name)                                                         \
  void name(const RgbToYuvJob &job) {                                                         \
    if (job.width % 2 != 0 || job.height % 2 != 0)                                            \
      TAVIX_LOG_AS((LogOrigin{kCvtColorAvxUnit, "tavix::module::" #name}), TAVIX_LOG_WARNING, \
                   #name                                                                      \
                   ": Odd dimensions detected (width=%d, height=%d). May produce "            \
                   "suboptimal results.",                                                     \
                   job.width, job.height);                                                    \
    convert_frame(job);                                                                       \
  }
TAVIX_RGB_TO_YUV_DRIVER(BGR2NV12Avx)
TAVIX_RGB_TO_YUV_DRIVER(BGR2YV12Avx)
TAVIX_RGB_TO_YUV_DRIVER(BGRA2NV12Avx)
TAVIX_RGB_TO_YUV_DRIVER(BGRA2YV12Avx)
#undef TAVIX_RGB_TO_YUV_DRIVER

void yuv_to_rgb(const YuvToRgbJob &job) {
  run_row_pairs(job, yuv_to_rgb_rows());
}
void rgbf32_to_yuv(const RgbF32ToYuvJob &job) {
  run_row_pairs(job, float_yuv_rows().rgb_to_yuv);
}
void yuv_to_rgbf32(const YuvToRgbF32Job &job) {
  run_row_pairs(job, float_yuv_rows().yuv_to_rgb);
}

void repack_yuv(const YuvRepackJob &job) {
  const RepackRows &kernels = repack_rows();
  const int32_t pairs = job.width > 0 ? row_pairs(job.height) : 0;
  run_rows({0, pairs, 1}, RepackBody(job, kernels), kernels.on_all_workers);
}

void Gray2NV12(const YuvRepackJob &job) {
  run_rows({0, row_pairs(job.height), 1}, GrayToYuvBody(job), repack_rows().on_all_workers);
}
void Gray2YV12(const YuvRepackJob &job) {
  run_rows({0, row_pairs(job.height), 1}, GrayToYuvBody(job), false);
}

}  // namespace tavix::module
