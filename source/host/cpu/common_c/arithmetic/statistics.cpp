// SPDX-License-Identifier: Apache-2.0
// The loop body that both statistics entries run: rows into lanes, lanes into channels, stripes
// into one result.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <mutex>
#include <utility>

#include "common/parallel/tavix_parallel_wrapper.h"
#include "common/pixel_format.h"
#include "cpu/common_c/arithmetic/channel_parameters.h"
#include "cpu/common_c/arithmetic/statistics_rows.h"
#include "tavix/video_common_cpu/statistics.h"

namespace tavix::module {

namespace {

// What samples have come to, for each channel.
struct ChannelTotals {
  double min[kMaxChannels] = {DBL_MAX, DBL_MAX, DBL_MAX, DBL_MAX};
  double max[kMaxChannels] = {-DBL_MAX, -DBL_MAX, -DBL_MAX, -DBL_MAX};
  double sum[kMaxChannels] = {}, sumsq[kMaxChannels] = {};

  void fold(const ChannelTotals &part) {
    for (int32_t c = 0; c < kMaxChannels; ++c) {
      min[c] = part.min[c] < min[c] ? part.min[c] : min[c];
      max[c] = part.max[c] > max[c] ? part.max[c] : max[c];
      sum[c] += part.sum[c];
      sumsq[c] += part.sumsq[c];
    }
  }
};

// Sums of whole pixels first, none of which waits for another.
template <class Lane, int32_t kPerWord>
void add_lanes(double *sum, const Lane (&lanes)[kPerWord][kStatWords], int32_t channels) {
  using Sum = std::conditional_t<std::is_integral_v<Lane>, uint64_t, Lane>;
  constexpr int32_t kWords = kWholePixels / kPerWord;
  static_assert(kStatWords % kWords == 0);
  Sum sums[kPerWord][kWords] = {};
  for (int32_t first = 0; first < kStatWords; first += kWords)
    for (int32_t r = 0; r < kPerWord; ++r)
      for (int32_t q = 0; q < kWords; ++q) sums[r][q] += lanes[r][first + q];
#pragma GCC unroll 12
  for (int32_t k = 0; k < kWholePixels; ++k) {
    const Sum &lane = sums[k % kPerWord][k / kPerWord];
    sum[kChannelOf[channels - 1][k]] += double(lane);
  }
}

template <class Lanes>
void add_lanes(ChannelTotals &totals, const Lanes &lanes, int32_t channels) {
  add_lanes(totals.sum, lanes.sum, channels);
  if constexpr (requires { lanes.sumsq; }) add_lanes(totals.sumsq, lanes.sumsq, channels);
}
template <class T, class Beats>
void add_lanes(ChannelTotals &totals, const ExtremeLanes<T, Beats> &lanes, int32_t channels) {
  double *extreme = lanes.kMax ? totals.max : totals.min;
  for (size_t first = 0; first < std::size(lanes.extreme); first += kWholePixels) {
#pragma GCC unroll 12
    for (size_t k = 0; k < kWholePixels; ++k) {
      const T lane = lanes.extreme[first + k];
      double &e = extreme[kChannelOf[channels - 1][k]];
      if (lanes.kMax ? lane > e : lane < e) e = lane;
    }
  }
}

// Accumulates rows block by block and keeps the lanes from overflowing.
template <class Lanes>
class RowAccumulator {
 public:
  RowAccumulator(Accumulate<Lanes> *accumulate, ChannelTotals &totals, int32_t channels)
      : accumulate_(accumulate), totals_(totals), channels_(channels) {}

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

  // What rows have come to since the lanes were last full goes to the totals.
  void finish() const { add_lanes(totals_, lanes_, channels_); }

 private:
  void run(const uint8_t *bytes, int64_t blocks) {
    while (blocks > 0) {
      if (room_ == 0) {
        finish();
        lanes_ = Lanes();
        room_ = Lanes::kRoom;
      }
      const int64_t count = std::min(blocks, room_);
      accumulate_(lanes_, bytes, count);
      room_ -= count;
      blocks -= count;
      bytes += count * kStatBlock;
    }
  }

  Accumulate<Lanes> *const accumulate_;
  ChannelTotals &totals_;
  const int32_t channels_;
  int64_t room_ = Lanes::kRoom;
  Lanes lanes_;
};

// What each operation accumulates, by code.
template <class T>
using LanesOfOperations =
    std::tuple<SumLanes<T>, SquareLanes<T>, SumLanes<T>, MaxLanes<T>, MinLanes<T>>;

// Stripes accumulate on their own and are folded here in the order in which they end.
template <class T, int op>
class StatisticalFunctionBody final : public ParallelLoopBody {
 public:
  explicit StatisticalFunctionBody(const TavixFrameV2 &src) : src_(src) {}

  void operator()(const Range &rows) const override {
    if (!has_pixels(src_.video)) return;
    ChannelTotals stripe;
    RowAccumulator<Lanes> accumulator(accumulate_, stripe, src_.video.channels);
    const auto run_row = [&](int64_t n, const uint8_t *src) {
      accumulator.row(src, n * int64_t(sizeof(T)));
    };
    for_each_long_row<T>(rows.start, rows.end, run_row, src_);
    accumulator.finish();
    const std::lock_guard lock(mutex_);
    totals_.fold(stripe);
  }

  const ChannelTotals &totals() const { return totals_; }

 private:
  using Lanes = std::tuple_element_t<op, LanesOfOperations<T>>;

  const TavixFrameV2 &src_;
  Accumulate<Lanes> *const accumulate_ = std::get<Accumulate<Lanes> *>(statistics_rows());
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

using Compute = ChannelResults (*)(const TavixFrameV2 &);

template <int... op>
ChannelResults run(const TavixFrameV2 &src, int32_t code, std::integer_sequence<int, op...>) {
  static constexpr Compute kBytes[] = {compute<uint8_t, op>...},
                           kFloats[] = {compute<float, op>...};
  return (is_float(src.video.format) ? kFloats : kBytes)[code](src);
}

}  // namespace

ChannelResults statistic_of(const TavixFrameV2 &src, int32_t op) {
  return run(src, op, std::make_integer_sequence<int, kStatOps>{});
}

}  // namespace tavix::module
