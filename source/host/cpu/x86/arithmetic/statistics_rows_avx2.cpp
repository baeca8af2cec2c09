// SPDX-License-Identifier: Apache-2.0
// The AVX2 kernels of statistics.
#include "cpu/common_c/arithmetic/statistics_rows.h"
#include "cpu/x86/prefetch.h"

#include "cpu/x86/lanes_avx2.h"

TAVIX_AVX2_BEGIN
namespace tavix::module {

namespace {

constexpr int kVectors = 3;  // of a block

// Structures of vectors are aggregates, made with = {}: a constructor that the compiler supplies
// would be compiled for the baseline.

TAVIX_INLINE __m256d load4d(const uint8_t *p) {  // reads 16 bytes, four floats
  return _mm256_cvtps_pd(_mm_castsi128_ps(load_128(p)));
}

TAVIX_INLINE void add_to(uint32_t *lanes, __m256i v) {
  store_256(lanes, _mm256_add_epi32(load_256(lanes), v));
}

// 16-bit lanes that add up bytes: the words of a vector as they are, modulo 2^16, and their upper
// bytes. At most kBlocks bytes fit a lane, 257 * 255 = 65535.
struct ByteSums {
  static constexpr int64_t kBlocks = 257;
  __m256i word, upper;

  TAVIX_INLINE void add(__m256i v, __m256i v_upper) {
    word = _mm256_add_epi16(word, v);
    upper = _mm256_add_epi16(upper, v_upper);
  }

  // Adds the sums to words q to q + 7 of the four lane rows.
  TAVIX_INLINE void add_to_lanes(uint32_t (&sum)[4][kStatWords], int q) const {
    const __m256i low16 = _mm256_set1_epi32(0xFFFF);
    const __m256i lower = _mm256_sub_epi16(word, _mm256_slli_epi16(upper, 8));
    add_to(&sum[0][q], _mm256_and_si256(lower, low16));
    add_to(&sum[1][q], _mm256_and_si256(upper, low16));
    add_to(&sum[2][q], _mm256_srli_epi32(lower, 16));
    add_to(&sum[3][q], _mm256_srli_epi32(upper, 16));
  }
};

}  // namespace

void accumulate_avx2(SumLanes<uint8_t> &lanes, const uint8_t *bytes, int64_t blocks) {
  constexpr int kTogether = 2;  // blocks of one step
  while (blocks > 0) {
    ByteSums sums[kVectors] = {};
    const int64_t count = blocks < ByteSums::kBlocks ? blocks : ByteSums::kBlocks;
    int64_t b = 0;
    for (; b + kTogether <= count; b += kTogether, bytes += kTogether * kStatBlock) {
      prefetch<kTogether * kStatBlock>(bytes);
      for (int j = 0; j < kTogether * kVectors; ++j) {
        const __m256i v = load_256(bytes + 32 * j);
        sums[j % kVectors].add(v, _mm256_srli_epi16(v, 8));
      }
    }
    for (; b < count; ++b, bytes += kStatBlock)
      for (int j = 0; j < kVectors; ++j) {
        const __m256i v = load_256(bytes + 32 * j);
        sums[j].add(v, _mm256_srli_epi16(v, 8));
      }
    for (int j = 0; j < kVectors; ++j) sums[j].add_to_lanes(lanes.sum, 8 * j);
    blocks -= count;
  }
}

namespace {

// 32-bit lanes of squares of a vector's lower or upper bytes, which stand in 16-bit lanes: two
// vectors are interleaved, so that a multiply-add joins samples of the same place.
struct WordSquares {
  __m256i low;   // words 0 to 3 of each half
  __m256i high;  // words 4 to 7

  TAVIX_INLINE void add(__m256i a, __m256i b) {
    const __m256i lo = _mm256_unpacklo_epi16(a, b), hi = _mm256_unpackhi_epi16(a, b);
    low = _mm256_add_epi32(low, _mm256_madd_epi16(lo, lo));
    high = _mm256_add_epi32(high, _mm256_madd_epi16(hi, hi));
  }

  // The sums of the even or odd words, in order.
  template <int odd>
  TAVIX_INLINE __m256i words() const {
    return _mm256_castps_si256(
        _mm256_shuffle_ps(_mm256_castsi256_ps(low), _mm256_castsi256_ps(high),
                          odd ? _MM_SHUFFLE(3, 1, 3, 1) : _MM_SHUFFLE(2, 0, 2, 0)));
  }
};

// The sums and squares of the vectors at the same place of many blocks.
struct ByteSquares {
  static constexpr int64_t kBlocks =
      ByteSums::kBlocks - 1;  // in pairs; a square lane stays below 2^25
  ByteSums sums;
  WordSquares lower, upper;

  TAVIX_INLINE void add(__m256i a, __m256i b) {
    const __m256i low8 = _mm256_set1_epi16(0xFF);
    const __m256i a_upper = _mm256_srli_epi16(a, 8), b_upper = _mm256_srli_epi16(b, 8);
    sums.add(a, a_upper);
    sums.add(b, b_upper);
    lower.add(_mm256_and_si256(a, low8), _mm256_and_si256(b, low8));
    upper.add(a_upper, b_upper);
  }
};

}  // namespace

// Sixteen blocks at a time, one of their vectors after the other, so that its lanes stay in
// registers.
void accumulate_avx2(SquareLanes<uint8_t> &lanes, const uint8_t *bytes, int64_t blocks) {
  constexpr int kPairs = 8, kPair = 2 * kStatBlock;
  while (blocks > 0) {
    ByteSquares squares[kVectors] = {};
    const int64_t count = blocks < ByteSquares::kBlocks ? blocks : ByteSquares::kBlocks;
    int64_t b = 0;
    for (; b + 2 * kPairs <= count; b += 2 * kPairs, bytes += kPairs * kPair)
      for (int j = 0; j < kVectors; ++j) {
        ByteSquares own = squares[j];
        for (int pair = 0; pair < kPairs; ++pair) {
          const uint8_t *const p = bytes + kPair * pair + 32 * j;
          prefetch<64>(bytes + 64 * (kPairs * j + pair));
          own.add(load_256(p), load_256(p + kStatBlock));
        }
        squares[j] = own;
      }
    for (; b < count; ++b, bytes += kStatBlock)
      for (int j = 0; j < kVectors; ++j)
        squares[j].add(load_256(bytes + 32 * j), _mm256_setzero_si256());
    for (int j = 0; j < kVectors; ++j) {
      squares[j].sums.add_to_lanes(lanes.sum, 8 * j);
      add_to(&lanes.sumsq[0][8 * j], squares[j].lower.words<0>());
      add_to(&lanes.sumsq[1][8 * j], squares[j].upper.words<0>());
      add_to(&lanes.sumsq[2][8 * j], squares[j].lower.words<1>());
      add_to(&lanes.sumsq[3][8 * j], squares[j].upper.words<1>());
    }
    blocks -= count;
  }
}

void accumulate_avx2(SumLanes<float> &lanes, const uint8_t *bytes, int64_t blocks) {
  __m256d sum[2 * kVectors];
  for (int j = 0; j < 2 * kVectors; ++j) sum[j] = _mm256_loadu_pd(&lanes.sum[0][4 * j]);
  for (; blocks > 0; --blocks, bytes += kStatBlock) {
    prefetch<kStatBlock>(bytes);
    for (int j = 0; j < 2 * kVectors; ++j) sum[j] = _mm256_add_pd(sum[j], load4d(bytes + 16 * j));
  }
  for (int j = 0; j < 2 * kVectors; ++j) _mm256_storeu_pd(&lanes.sum[0][4 * j], sum[j]);
}

void accumulate_avx2(SquareLanes<float> &lanes, const uint8_t *bytes, int64_t blocks) {
  __m256d sum[2 * kVectors], sumsq[2 * kVectors];
  for (int j = 0; j < 2 * kVectors; ++j) {
    sum[j] = _mm256_loadu_pd(&lanes.sum[0][4 * j]);
    sumsq[j] = _mm256_loadu_pd(&lanes.sumsq[0][4 * j]);
  }
  for (; blocks > 0; --blocks, bytes += kStatBlock) {
    prefetch<kStatBlock>(bytes);
    for (int j = 0; j < 2 * kVectors; ++j) {
      const __m256d v = load4d(bytes + 16 * j);
      sum[j] = _mm256_add_pd(sum[j], v);
      sumsq[j] = _mm256_add_pd(sumsq[j], _mm256_mul_pd(v, v));
    }
  }
  for (int j = 0; j < 2 * kVectors; ++j) {
    _mm256_storeu_pd(&lanes.sum[0][4 * j], sum[j]);
    _mm256_storeu_pd(&lanes.sumsq[0][4 * j], sumsq[j]);
  }
}

namespace {

// The lane-wise winner of sample v over extreme e; e stays where either is NaN.
TAVIX_INLINE __m256i winner(const MaxLanes<uint8_t> &, __m256i v, __m256i e) {
  return _mm256_max_epu8(v, e);
}
TAVIX_INLINE __m256i winner(const MinLanes<uint8_t> &, __m256i v, __m256i e) {
  return _mm256_min_epu8(v, e);
}
TAVIX_INLINE __m256i winner(const MaxLanes<float> &, __m256i v, __m256i e) {
  return _mm256_castps_si256(_mm256_max_ps(_mm256_castsi256_ps(v), _mm256_castsi256_ps(e)));
}
TAVIX_INLINE __m256i winner(const MinLanes<float> &, __m256i v, __m256i e) {
  return _mm256_castps_si256(_mm256_min_ps(_mm256_castsi256_ps(v), _mm256_castsi256_ps(e)));
}

// Two sets of lanes, even and odd blocks, hide the latency of the float comparisons.
template <class Lanes>
TAVIX_INLINE void accumulate_extreme(Lanes &lanes, const uint8_t *bytes, int64_t blocks) {
  __m256i *result = reinterpret_cast<__m256i *>(lanes.extreme);
  __m256i even[kVectors], odd[kVectors];
  for (int j = 0; j < kVectors; ++j) even[j] = odd[j] = _mm256_loadu_si256(result + j);
  for (; blocks >= 2; blocks -= 2, bytes += 2 * kStatBlock) {
    prefetch<2 * kStatBlock>(bytes);
    for (int j = 0; j < kVectors; ++j) {
      even[j] = winner(lanes, load_256(bytes + 32 * j), even[j]);
      odd[j] = winner(lanes, load_256(bytes + kStatBlock + 32 * j), odd[j]);
    }
  }
  for (int j = 0; j < kVectors; ++j) {
    if (blocks > 0) even[j] = winner(lanes, load_256(bytes + 32 * j), even[j]);
    _mm256_storeu_si256(result + j, winner(lanes, even[j], odd[j]));
  }
}

}  // namespace

void accumulate_avx2(MaxLanes<uint8_t> &lanes, const uint8_t *bytes, int64_t blocks) {
  accumulate_extreme(lanes, bytes, blocks);
}
void accumulate_avx2(MinLanes<uint8_t> &lanes, const uint8_t *bytes, int64_t blocks) {
  accumulate_extreme(lanes, bytes, blocks);
}
void accumulate_avx2(MaxLanes<float> &lanes, const uint8_t *bytes, int64_t blocks) {
  accumulate_extreme(lanes, bytes, blocks);
}
void accumulate_avx2(MinLanes<float> &lanes, const uint8_t *bytes, int64_t blocks) {
  accumulate_extreme(lanes, bytes, blocks);
}

}  // namespace tavix::module
TAVIX_AVX2_END

namespace tavix::module {

constinit const StatisticsRows kStatisticsRowsAvx2 = {
    accumulate_avx2, accumulate_avx2, accumulate_avx2, accumulate_avx2,
    accumulate_avx2, accumulate_avx2, accumulate_avx2, accumulate_avx2};

}  // namespace tavix::module
