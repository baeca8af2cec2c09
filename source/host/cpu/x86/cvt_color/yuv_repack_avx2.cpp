// SPDX-License-Identifier: Apache-2.0
// Repacking among the 4:2:0 formats, and grey to 4:2:0: the vector kernels, and the drivers.
#include "cpu/tavix_cvt_color/run_rows.h"
#include "cpu/tavix_cvt_color/yuv_drivers.h"
#include "cpu/tavix_cvt_color/yuv_repack.h"
#include "cpu_dispatch/cpu_features.h"

#include "cpu/x86/copy_avx2.h"

TAVIX_AVX2_BEGIN
namespace tavix::module {

namespace {

constexpr auto kInterleaved = ChromaLayout::kInterleaved;
constexpr auto kPlanar = ChromaLayout::kPlanar;

// Pairs of one block, and its move. Blocks read and write nothing beyond their pairs.
template <ChromaLayout from, ChromaLayout to>
struct MoveChroma;

template <>
struct MoveChroma<kInterleaved, kInterleaved> {
  static constexpr int32_t kPairs = 32;
  static TAVIX_INLINE void block(const uint8_t *const (&src)[2], uint8_t *const (&dst)[2],
                                 int32_t i) {
    const __m256i swapped = _mm256_broadcastsi128_si256(
        _mm_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14));
    const __m256i a = load_256(src[0] + 2 * int64_t(i)), b = load_256(src[0] + 2 * int64_t(i) + 32);
    store_256(dst[0] + 2 * int64_t(i), _mm256_shuffle_epi8(a, swapped));
    store_256(dst[0] + 2 * int64_t(i) + 32, _mm256_shuffle_epi8(b, swapped));
  }
};

template <>
struct MoveChroma<kInterleaved, kPlanar> {
  static constexpr int32_t kPairs = 32;
  static TAVIX_INLINE void block(const uint8_t *const (&src)[2], uint8_t *const (&dst)[2],
                                 int32_t i) {
    const __m256i a = load_256(src[0] + 2 * int64_t(i)), b = load_256(src[0] + 2 * int64_t(i) + 32);
    const __m256i low = _mm256_set1_epi16(0xff);
    const __m256i first = _mm256_packus_epi16(_mm256_and_si256(a, low), _mm256_and_si256(b, low));
    const __m256i second = _mm256_packus_epi16(_mm256_srli_epi16(a, 8), _mm256_srli_epi16(b, 8));
    store_256(dst[0] + i, _mm256_permute4x64_epi64(first, _MM_SHUFFLE(3, 1, 2, 0)));
    store_256(dst[1] + i, _mm256_permute4x64_epi64(second, _MM_SHUFFLE(3, 1, 2, 0)));
  }
};

template <>
struct MoveChroma<kPlanar, kInterleaved> {
  static constexpr int32_t kPairs = 32;
  static TAVIX_INLINE void block(const uint8_t *const (&src)[2], uint8_t *const (&dst)[2],
                                 int32_t i) {
    const __m256i a = _mm256_permute4x64_epi64(load_256(src[0] + i), _MM_SHUFFLE(3, 1, 2, 0));
    const __m256i b = _mm256_permute4x64_epi64(load_256(src[1] + i), _MM_SHUFFLE(3, 1, 2, 0));
    store_256(dst[0] + 2 * int64_t(i), _mm256_unpacklo_epi8(a, b));
    store_256(dst[0] + 2 * int64_t(i) + 32, _mm256_unpackhi_epi8(a, b));
  }
};

template <ChromaLayout layout, int32_t pairs>
TAVIX_INLINE void prefetch_pairs(const uint8_t *first, const uint8_t *second, int64_t i) {
  if constexpr (layout == kInterleaved) {
    prefetch<2 * pairs>(first + 2 * i);
  } else {
    prefetch<pairs>(first + i);
    prefetch<pairs>(second + i);
  }
}

// Moves whole blocks of a row; returns the pairs moved.
template <ChromaLayout from, ChromaLayout to>
int32_t move_chroma_row_avx2(const uint8_t *const (&src)[2], uint8_t *const (&dst)[2],
                             int32_t pairs) {
  constexpr int32_t step = MoveChroma<from, to>::kPairs;
  int32_t i = 0;
  for (; i <= pairs - step; i += step) {
    prefetch_pairs<from, step>(src[0], src[1], i);
    prefetch_pairs<to, step>(dst[0], dst[1], i);
    MoveChroma<from, to>::block(src, dst, i);
  }
  return i;
}

void copy_row_avx2(uint8_t *dst, const uint8_t *src, int64_t n) {
  copy_avx2(dst, src, n);
}

}  // namespace

}  // namespace tavix::module
TAVIX_AVX2_END

namespace tavix::module {

namespace {

constexpr int32_t bytes_of_pair(ChromaLayout layout) {
  return layout == kInterleaved ? 2 : 1;
}

template <ChromaLayout from, ChromaLayout to>
struct MoveRowC {
  static constexpr int32_t kSrcPair = bytes_of_pair(from), kDstPair = bytes_of_pair(to);

  static void run(const uint8_t *const (&src)[2], uint8_t *const (&dst)[2], int32_t pairs) {
    move_chroma_row_c<from, to>(src, dst, 0, pairs);
  }
};

template <ChromaLayout from, ChromaLayout to>
struct MoveRowAvx2 {
  static constexpr int32_t kSrcPair = bytes_of_pair(from), kDstPair = bytes_of_pair(to);

  static void run(const uint8_t *const (&src)[2], uint8_t *const (&dst)[2], int32_t pairs) {
    move_chroma_row_c<from, to>(src, dst, move_chroma_row_avx2<from, to>(src, dst, pairs), pairs);
  }
};

void copy_row(uint8_t *dst, const uint8_t *src, int64_t n) {
  if (use_avx2()) return copy_row_avx2(dst, src, n);
  std::memcpy(dst, src, size_t(n));
}

// Planes are copied, by either path.
struct CopyRows {
  static constexpr int32_t kSrcPair = 1, kDstPair = 1;

  static void run(const uint8_t *const (&src)[2], uint8_t *const (&dst)[2], int32_t pairs) {
    for (int k = 0; k < 2; ++k) copy_row(dst[k], src[k], pairs);
  }
};

// The luma rows of some chroma rows.
void copy_luma(const uint8_t *src, int32_t src_linesize, const YuvPlanes<uint8_t> &dst,
               int32_t width, const Range &rows) {
  const bool gapless = src_linesize == width && dst.y_linesize == width;
  for_each_joined(2 * rows.start, 2 * rows.end, width, width, gapless, [&](int32_t y, int32_t n) {
    copy_row(row(dst.y, dst.y_linesize, y), row(src, src_linesize, y), n);
  });
}

// A body over chroma rows, each with two rows of luma.
template <class MoveRow>
class RepackBody final : public ParallelLoopBody {
 public:
  explicit RepackBody(const YuvRepackJob &job) : job_(job) {}

  void operator()(const Range &rows) const override {
    const auto &src = job_.src;
    const auto &dst = job_.dst;
    const int32_t pairs = job_.width / 2;
    const bool gapless = src.chroma_linesize == pairs * MoveRow::kSrcPair &&
                         dst.chroma_linesize == pairs * MoveRow::kDstPair;
    copy_luma(src.y, src.y_linesize, dst, job_.width, rows);
    for_each_joined(rows.start, rows.end, pairs, 2 * int64_t(pairs), gapless,
                    [&](int32_t c, int32_t n) {
                      MoveRow::run({row(src.chroma[0], src.chroma_linesize, c),
                                    row(src.chroma[1], src.chroma_linesize, c)},
                                   {row(dst.chroma[0], dst.chroma_linesize, c),
                                    row(dst.chroma[1], dst.chroma_linesize, c)},
                                   n);
                    });
  }

 private:
  YuvRepackJob job_;
};

using ParallelConvertNV122NV21 = RepackBody<MoveRowAvx2<kInterleaved, kInterleaved>>;
using ParallelConvertNV122YV12 = RepackBody<MoveRowAvx2<kInterleaved, kPlanar>>;
using ParallelConvertYVU122NV = RepackBody<MoveRowAvx2<kPlanar, kInterleaved>>;
using ParallelConvertYVU122YVU12 = RepackBody<CopyRows>;

// Two rows of grey become two of luma; the chroma row they share is filled to its stride.
template <int planes>
class GrayToYuvBody final : public ParallelLoopBody {
 public:
  explicit GrayToYuvBody(const GrayToYuvJob &job) : job_(job) {}

  void operator()(const Range &rows) const override {
    const auto &dst = job_.dst;
    if (job_.width > 0) copy_luma(job_.src, job_.src_linesize, dst, job_.width, rows);
    for (int32_t c = rows.start; c < rows.end; ++c)
      for (int p = 0; p < planes; ++p)
        std::memset(row(dst.chroma[p], dst.chroma_linesize, c), 128, size_t(dst.chroma_linesize));
  }

 private:
  GrayToYuvJob job_;
};

using ParallelConvertGray2NV12 = GrayToYuvBody<1>;

// Runs a body in the calling thread.
void run_serial(int32_t rows, const ParallelLoopBody &body) {
  if (rows > 0) body({0, rows, 1});
}

}  // namespace

void NV122NV21(const YuvRepackJob &job) {
  run_rows_or_serial<ParallelConvertNV122NV21, RepackBody<MoveRowC<kInterleaved, kInterleaved>>>(
      job.row_pairs(), job);
}

void NV122YV12(const YuvRepackJob &job) {
  run_rows_or_serial<ParallelConvertNV122YV12, RepackBody<MoveRowC<kInterleaved, kPlanar>>>(
      job.row_pairs(), job);
}

void YVU122NV(const YuvRepackJob &job) {
  run_rows_or_serial<ParallelConvertYVU122NV, RepackBody<MoveRowC<kPlanar, kInterleaved>>>(
      job.row_pairs(), job);
}

void YVU122YVU12(const YuvRepackJob &job) {
  run_rows_or_serial<ParallelConvertYVU122YVU12, RepackBody<CopyRows>>(job.row_pairs(), job);
}

void Gray2NV12(const GrayToYuvJob &job) {
  run_rows_or_serial<ParallelConvertGray2NV12, GrayToYuvBody<1>>(job.height / 2, job);
}

void Gray2YV12(const GrayToYuvJob &job) {
  run_serial(job.height / 2, GrayToYuvBody<2>(job));
}

}  // namespace tavix::module
