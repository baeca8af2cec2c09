// SPDX-License-Identifier: Apache-2.0
// Statistics: the portable kernels, the loop body that both entries run, and the portable entry.
#include "cpu/common_c/arithmetic/statistics.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <mutex>
#include <utility>

#include "common/frame_access.h"
#include "common/frame_checks.h"
#include "common/log.h"
#include "common/parallel/tavix_parallel_wrapper.h"
#include "common/pixel_format.h"
#include "cpu/common_c/arithmetic/statistics_lanes.h"
#include "cpu_dispatch/cpu_features.h"
#include "tavix/video_common_cpu/statistics.h"

namespace tavix::module {

namespace {

constexpr auto &kUnit = kArithmeticUnit;

// Element r of a word, whose bytes or float stand in memory order.
template <class T>
StatSum<T> word_element(uint32_t word, int32_t r) {
  if constexpr (std::is_same_v<T, float>) {
    return double(std::bit_cast<float>(word));
  } else {
    return (word >> (8 * r)) & 0xFF;
  }
}

// The twins of accumulate_avx2. Lanes are updated in a copy, which no byte of the frame can alias.
template <class T>
void accumulate_c(SumLanes<T> &result, const uint8_t *bytes, int64_t blocks) {
  SumLanes<T> lanes = result;
  for (; blocks > 0; --blocks, bytes += kStatBlock)
    for (int32_t r = 0; r < kStatPerWord<T>; ++r)
      for (int32_t q = 0; q < kStatWords; ++q)
        lanes.sum[r][q] += word_element<T>(load<uint32_t>(bytes, q), r);
  result = lanes;
}

template <class T>
void accumulate_c(SquareLanes<T> &result, const uint8_t *bytes, int64_t blocks) {
  SquareLanes<T> lanes = result;
  for (; blocks > 0; --blocks, bytes += kStatBlock)
    for (int32_t r = 0; r < kStatPerWord<T>; ++r)
      for (int32_t q = 0; q < kStatWords; ++q) {
        const StatSum<T> v = word_element<T>(load<uint32_t>(bytes, q), r);
        lanes.sum[r][q] += v;
        lanes.sumsq[r][q] += v * v;
      }
  result = lanes;
}

template <class T, class Beats>
void accumulate_c(ExtremeLanes<T, Beats> &result, const uint8_t *bytes, int64_t blocks) {
  ExtremeLanes<T, Beats> lanes = result;
  for (; blocks > 0; --blocks, bytes += kStatBlock)
    for (size_t k = 0; k < std::size(lanes.extreme); ++k) {
      const T v = load<T>(bytes, int64_t(k));
      lanes.extreme[k] = Beats{}(v, lanes.extreme[k]) ? v : lanes.extreme[k];
    }
  result = lanes;
}

// What samples have come to, for each channel.
struct ChannelTotals {
  double min[kMaxChannels], max[kMaxChannels], sum[kMaxChannels], sumsq[kMaxChannels];

  ChannelTotals() {
    std::fill_n(min, kMaxChannels, DBL_MAX);
    std::fill_n(max, kMaxChannels, -DBL_MAX);
    std::fill_n(sum, kMaxChannels, 0.0);
    std::fill_n(sumsq, kMaxChannels, 0.0);
  }

  void fold(const ChannelTotals &part) {
    for (int32_t c = 0; c < kMaxChannels; ++c) {
      min[c] = part.min[c] < min[c] ? part.min[c] : min[c];
      max[c] = part.max[c] > max[c] ? part.max[c] : max[c];
      sum[c] += part.sum[c];
      sumsq[c] += part.sumsq[c];
    }
  }
};

// Counts channels round and round: a division for each lane would cost more than a small frame.
class NextChannel {
 public:
  explicit NextChannel(int32_t channels) : channels_(channels) {}
  int32_t operator()() { return next_ = next_ + 1 < channels_ ? next_ + 1 : 0; }

 private:
  const int32_t channels_;
  int32_t next_ = -1;
};

// Every number of channels divides 12: twelve sums first, none of which waits for another.
template <class Lane, int32_t kPerWord>
void add_lanes(double *sum, const Lane (&lanes)[kPerWord][kStatWords], int32_t channels) {
  using Sum = std::conditional_t<std::is_integral_v<Lane>, uint64_t, Lane>;
  constexpr int32_t kWords = 12 / kPerWord;
  static_assert(kStatWords % kWords == 0);
  Sum sums[kPerWord][kWords] = {};
  for (int32_t first = 0; first < kStatWords; first += kWords)
    for (int32_t r = 0; r < kPerWord; ++r)
      for (int32_t q = 0; q < kWords; ++q) sums[r][q] += lanes[r][first + q];
  NextChannel channel(channels);
  for (int32_t q = 0; q < kWords; ++q)
    for (int32_t r = 0; r < kPerWord; ++r) sum[channel()] += double(sums[r][q]);
}

template <class T>
void add_lanes(ChannelTotals &totals, const SumLanes<T> &lanes, int32_t channels) {
  add_lanes(totals.sum, lanes.sum, channels);
}
template <class T>
void add_lanes(ChannelTotals &totals, const SquareLanes<T> &lanes, int32_t channels) {
  add_lanes(totals.sum, lanes.sum, channels);
  add_lanes(totals.sumsq, lanes.sumsq, channels);
}
template <class T, class Beats>
void add_lanes(ChannelTotals &totals, const ExtremeLanes<T, Beats> &lanes, int32_t channels) {
  double *extreme = lanes.kMax ? totals.max : totals.min;
  NextChannel channel(channels);
  for (const T lane : lanes.extreme) {
    double &e = extreme[channel()];
    if (lanes.kMax ? lane > e : lane < e) e = lane;
  }
}

// Accumulates rows block by block and keeps the lanes from overflowing.
template <class Lanes>
class RowAccumulator {
 public:
  RowAccumulator(ChannelTotals &totals, int32_t channels) : totals_(totals), channels_(channels) {}
  ~RowAccumulator() { add_lanes(totals_, lanes_, channels_); }
  RowAccumulator(const RowAccumulator &) = delete;
  RowAccumulator &operator=(const RowAccumulator &) = delete;

  // What is left of a row after its whole blocks goes through a block of neutral samples.
  void row(const uint8_t *bytes, int64_t n) {
    run(bytes, n / kStatBlock);
    const size_t rest = size_t(n % kStatBlock);
    if (rest == 0) return;
    uint8_t block[kStatBlock];
    std::memset(block, Lanes::kNeutral, sizeof block);
    std::memcpy(block, bytes + (n - int64_t(rest)), rest);
    run(block, 1);
  }

 private:
  void run(const uint8_t *bytes, int64_t blocks) {
    while (blocks > 0) {
      if (room_ == 0) {
        add_lanes(totals_, lanes_, channels_);
        lanes_ = Lanes();
        room_ = Lanes::kRoom;
      }
      const int64_t count = std::min(blocks, room_);
      avx2_ ? accumulate_avx2(lanes_, bytes, count) : accumulate_c(lanes_, bytes, count);
      room_ -= count;
      blocks -= count;
      bytes += count * kStatBlock;
    }
  }

  ChannelTotals &totals_;
  const int32_t channels_;
  const bool avx2_ = use_avx2();
  int64_t room_ = Lanes::kRoom;
  Lanes lanes_;
};

template <class T, int op>
struct LanesOf {
  using type = SumLanes<T>;  // mean and sum
};
template <class T>
struct LanesOf<T, TAVIX_STAT_OP_STDDEV> {
  using type = SquareLanes<T>;
};
template <class T>
struct LanesOf<T, TAVIX_STAT_OP_MAX> {
  using type = MaxLanes<T>;
};
template <class T>
struct LanesOf<T, TAVIX_STAT_OP_MIN> {
  using type = MinLanes<T>;
};

// Stripes accumulate on their own and are folded here in the order in which they end.
template <class T, int op>
class StatisticalFunctionBody final : public ParallelLoopBody {
 public:
  explicit StatisticalFunctionBody(const TavixFrameV2 &src) : src_(src) {}

  void operator()(const Range &rows) const override {
    ChannelTotals stripe;
    accumulate(rows, stripe);
    const std::lock_guard lock(mutex_);
    totals_.fold(stripe);
  }

  const ChannelTotals &totals() const { return totals_; }

 private:
  void accumulate(const Range &rows, ChannelTotals &stripe) const {
    if (!has_pixels(src_.video)) return;
    RowAccumulator<typename LanesOf<T, op>::type> accumulator(stripe, src_.video.channels);
    const auto run_row = [&](int64_t n, const uint8_t *src) {
      accumulator.row(src, n * int64_t(sizeof(T)));
    };
    for_each_long_row<T>(rows.start, rows.end, run_row, src_);
  }

  const TavixFrameV2 &src_;
  mutable ChannelTotals totals_;
  mutable std::mutex mutex_;
};

// Statistic op of channel c over pixels samples.
template <int op>
double finish(const ChannelTotals &totals, int32_t c, double pixels) {
  const double mean = totals.sum[c] / pixels;
  switch (op) {
    case TAVIX_STAT_OP_MEAN:
      return mean;
    case TAVIX_STAT_OP_STDDEV: {
      const double variance = totals.sumsq[c] / pixels - mean * mean;
      return variance > 0.0 ? std::sqrt(variance) : 0.0;  // 0 for NaN too
    }
    case TAVIX_STAT_OP_SUM:
      return totals.sum[c];
    case TAVIX_STAT_OP_MAX:
      return totals.max[c];
    default:
      return totals.min[c];
  }
}

using ChannelResults = std::array<double, kMaxChannels>;

template <class T, int op>
ChannelResults compute(const TavixFrameV2 &src) {
  const StatisticalFunctionBody<T, op> body(src);
  parallel_for_({0, src.video.height, 1}, body, -1.0);
  ChannelResults results = {};
  const double pixels = double(src.video.height) * double(src.video.width);
  for (int32_t c = 0; c < src.video.channels; ++c)
    results[c] = finish<op>(body.totals(), c, pixels);
  return results;
}

inline constexpr int kStatOps = 5;

template <class T, int... op>
constexpr auto compute_table(std::integer_sequence<int, op...>) {
  return std::array<ChannelResults (*)(const TavixFrameV2 &), kStatOps>{compute<T, op>...};
}

}  // namespace

template <class T>
int32_t StatisticalFunctionOp(const TavixFrameV2 *src, int32_t op, TavixArray **dst_array) {
  constexpr char kFunction[] = "tavix::module::StatisticalFunctionOp";
  static constexpr auto kCompute = compute_table<T>(std::make_integer_sequence<int, kStatOps>{});
  const int32_t channels = src->video.channels;
  TAVIX_REFUSE_AS_IF(kUnit, kFunction, op < 0 || op >= kStatOps, TAVIX_ERROR_INVALID_PARAM,
                     "Invalid input: op(%d) is out of range", op);
  TAVIX_REFUSE_AS_IF(kUnit, kFunction, channels > kMaxChannels, TAVIX_ERROR_INVALID_PARAM,
                     "src channels(%d) must not exceed %d", channels, kMaxChannels);
  TAVIX_RETURN_IF_REFUSED(check_row_elements(kUnit, kFunction, src->video));
  TAVIX_REFUSE_AS_IF(kUnit, kFunction, has_pixels(src->video) && any_plane_null(src),
                     TAVIX_ERROR_INVALID_PARAM, "src->data[0](%p) must not be nullptr",
                     static_cast<const void *>(src->data[0]));
  TavixArray *array = *dst_array;
  TAVIX_REFUSE_AS_IF(
      kUnit, kFunction,
      array != nullptr && std::min(channels, array->count) > 0 && any_null(array->elements),
      TAVIX_ERROR_INVALID_PARAM, "dst_array elements(%p) must not be nullptr",
      static_cast<const void *>(array->elements));

  const ChannelResults results = kCompute[op](*src);

  if (array == nullptr) {
    array = TavixArrayAlloc(TAVIX_ARRAY_TYPE_DOUBLE, channels);
    TAVIX_REFUSE_AS_IF(kUnit, kFunction, array == nullptr, TAVIX_ERROR_MEMORY,
                       "Failed to allocate dst_array");
    *dst_array = array;
  }
  for (int32_t i = 0; i < std::min(channels, array->count); ++i)
    array->elements[i] = {TAVIX_ARRAY_TYPE_DOUBLE, results[i]};
  array->count = channels;  // whatever it was: elements beyond the old count are not written
  return TAVIX_OK;
}

template int32_t StatisticalFunctionOp<uint8_t>(const TavixFrameV2 *, int32_t, TavixArray **);
template int32_t StatisticalFunctionOp<float>(const TavixFrameV2 *, int32_t, TavixArray **);

}  // namespace tavix::module

using namespace tavix::module;

int32_t TavixFrameStatisticalFunctionCommonC(const TavixFrameV2 *src, int32_t op,
                                             TavixArray **dst_array) {
  TAVIX_REFUSE_IF(kUnit, any_null(src, dst_array), TAVIX_ERROR_INVALID_PARAM,
                  "src:%p or dst_array:%p is nullptr", src, dst_array);
  TAVIX_REFUSE_IF(kUnit, any_plane_null(src), TAVIX_ERROR_INVALID_PARAM,
                  "src->data[0](%p) is nullptr", src->data[0]);
  TAVIX_REFUSE_IF(kUnit, !is_rgb_family(src->video.format), TAVIX_ERROR_UNSUPPORTED,
                  "Unsupported pixel format: %d", src->video.format);
  return is_float(src->video.format) ? StatisticalFunctionOp<float>(src, op, dst_array)
                                     : StatisticalFunctionOp<uint8_t>(src, op, dst_array);
}
