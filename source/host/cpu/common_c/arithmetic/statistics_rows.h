// SPDX-License-Identifier: Apache-2.0
// The kernel family of statistics, and the lanes that it accumulates in. A row is taken in blocks
// of 96 bytes, a whole number of pixels of 1, 2, 3 or 4 channels of either element type, so that
// element k of every block belongs to channel k % channels: each element of a block has a lane, and
// kernels know nothing of channels.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <tuple>
#include <type_traits>

#include "common/frame_access.h"

namespace tavix::module {

inline constexpr int32_t kStatBlock = 96;              // bytes of a block
inline constexpr int32_t kStatWords = kStatBlock / 4;  // 32-bit words of a block
template <class T>
inline constexpr int32_t kStatPerWord = 4 / int32_t(sizeof(T));  // elements of a word

// Sums of 8-bit samples are integers, those of floats are doubles.
template <class T>
using StatSum = std::conditional_t<std::is_same_v<T, float>, double, uint32_t>;

// Lane [r][q] of a sum is that of element r of word q. kRoom: blocks that fit into the lanes.
// kNeutral: the byte of samples that change nothing.
template <class T, uint32_t largest = 255>
struct SumLanes {
  using Element = T;
  static constexpr int64_t kRoom = UINT32_MAX / largest;
  static constexpr uint8_t kNeutral = 0;

  StatSum<T> sum[kStatPerWord<T>][kStatWords] = {};
};

template <class T>
struct SquareLanes : SumLanes<T, 255 * 255> {
  StatSum<T> sumsq[kStatPerWord<T>][kStatWords] = {};
};

// Lane k is the extreme of element k, at first a value that every sample replaces or equals. Floats
// of bytes 0xFF are NaN, which is never an extreme.
template <class T, class Beats>
struct ExtremeLanes {
  using Element = T;
  using Limits = std::numeric_limits<T>;
  static constexpr bool kMax = std::is_same_v<Beats, std::greater<T>>;
  static constexpr T kFirst = std::is_same_v<T, float>
                                  ? (kMax ? -Limits::infinity() : Limits::infinity())
                                  : (kMax ? Limits::lowest() : Limits::max());
  static constexpr int64_t kRoom = INT64_MAX;
  static constexpr uint8_t kNeutral = std::is_same_v<T, float> ? 0xFF : uint8_t(kFirst);

  ExtremeLanes() {
    for (T &lane : extreme) lane = kFirst;
  }
  T extreme[kStatBlock / sizeof(T)];
};

template <class T>
using MaxLanes = ExtremeLanes<T, std::greater<T>>;
template <class T>
using MinLanes = ExtremeLanes<T, std::less<T>>;

// Adds the samples of blocks * 96 bytes at any address to the lanes.
template <class Lanes>
using Accumulate = void(Lanes &lanes, const uint8_t *bytes, int64_t blocks);

// A kernel for each kind of lanes, std::get<Accumulate<SumLanes<float>> *>(rows) for one.
using StatisticsRows =
    std::tuple<Accumulate<SumLanes<uint8_t>> *, Accumulate<SumLanes<float>> *,
               Accumulate<SquareLanes<uint8_t>> *, Accumulate<SquareLanes<float>> *,
               Accumulate<MaxLanes<uint8_t>> *, Accumulate<MaxLanes<float>> *,
               Accumulate<MinLanes<uint8_t>> *, Accumulate<MinLanes<float>> *>;
extern const StatisticsRows kStatisticsRowsC, kStatisticsRowsAvx2, kStatisticsRowsAvx512;
const StatisticsRows &statistics_rows();

inline constexpr int kStatOps = 5;

using ChannelResults = std::array<double, kMaxChannels>;

// Statistic op, below kStatOps, of a frame that has passed the checks; 0 beyond its channels.
ChannelResults statistic_of(const TavixFrameV2 &src, int32_t op);

}  // namespace tavix::module
