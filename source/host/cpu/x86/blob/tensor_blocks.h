// SPDX-License-Identifier: Apache-2.0
// The vector rows of tensors, over the blocks of one width: whole blocks, the last of which takes
// elements of the one before again. Nothing outside the rows is touched. Include this header in a
// target region.
#pragma once

namespace tavix::module {

namespace {

// Addresses that no store can change, so that they stay in registers.
template <class Byte, int channels>
struct Planes {
  explicit Planes(Byte *const *from) {
    for (int c = 0; c < channels; ++c) planes[c] = from[c];
  }
  Byte *planes[channels];
};

// Blocks: convert takes kElements elements, from or to floats; split and merge take kVector bytes of each plane, widen
// kWidened pixels. What is shorter goes to rows for a narrower vector, or element by element.
template <class Blocks>
struct TensorVectors {
  template <class From, class To>
  static TAVIX_INLINE void convert_block(const uint8_t *src, uint8_t *dst) {
    if constexpr (std::is_same_v<From, float> || std::is_same_v<To, float>) {
      Blocks::template convert<From, To>(src, dst);
    } else {
      // Between integers the compiler's own vectors are as good.
      TAVIX_INDEPENDENT_ITERATIONS
      for (int i = 0; i < Blocks::kElements; ++i)
        store(dst, i, convert_element<To>(load<From>(src, i)));
    }
  }

  template <class From, class To>
  static void convert(const uint8_t *src, uint8_t *dst, int64_t n) {
    constexpr int kBlock = Blocks::kElements, kFrom = sizeof(From), kTo = sizeof(To);
    if constexpr (kSameBits<From, To>) {
      copy_bytes(src, dst, n * kTo);
    } else if (n < kBlock) {
      for (int64_t i = 0; i < n; ++i) store(dst, i, convert_element<To>(load<From>(src, i)));
    } else {
      const int64_t last = n - kBlock;
      for (int64_t i = 0; i < last; i += kBlock) {
        prefetch_elements<From, kBlock>(src + i * kFrom);
        if constexpr (Blocks::kPrefetchesResults) prefetch_elements<To, kBlock>(dst + i * kTo);
        convert_block<From, To>(src + i * kFrom, dst + i * kTo);
      }
      convert_block<From, To>(src + last * kFrom, dst + last * kTo);
    }
  }

  template <class T, int channels>
  static void split(const uint8_t *src, uint8_t *const *planes, int64_t n) {
    constexpr int kVector = Blocks::kVector;
    const int64_t last = n * int64_t(sizeof(T)) - kVector;
    if (last < 0) return Blocks::template split_short<T, channels>(src, planes, n);
    const Planes<uint8_t, channels> to(planes);
    for (int64_t at = 0; at < last; at += kVector) {
      prefetch<kVector * channels>(src + at * channels);
      if constexpr (Blocks::kPrefetchesResults)
        for (int c = 0; c < channels; ++c) prefetch<kVector>(to.planes[c] + at);
      Blocks::template split<T, channels>(src + at * channels, to.planes, at);
    }
    Blocks::template split<T, channels>(src + last * channels, to.planes, last);
  }

  template <class T, int channels>
  static void merge(const uint8_t *const *planes, uint8_t *dst, int64_t n) {
    constexpr int kVector = Blocks::kVector;
    const int64_t last = n * int64_t(sizeof(T)) - kVector;
    if (last < 0) return Blocks::template merge_short<T, channels>(planes, dst, n);
    const Planes<const uint8_t, channels> from(planes);
    for (int64_t at = 0; at < last; at += kVector) {
      for (int c = 0; c < channels; ++c) prefetch<kVector>(from.planes[c] + at);
      if constexpr (Blocks::kPrefetchesResults) prefetch<kVector * channels>(dst + at * channels);
      Blocks::template merge<T, channels>(from.planes, at, dst + at * channels);
    }
    Blocks::template merge<T, channels>(from.planes, last, dst + last * channels);
  }

  template <class T, int channels>
  static void widen(const uint8_t *src, uint8_t *const *planes, int64_t n) {
    constexpr int kBlock = Blocks::kWidened, kBytes = sizeof(T);
    const int64_t last = n - kBlock;
    if (last < 0) return split_pixels<uint8_t, channels, T>(src, planes, n);
    const Planes<uint8_t, channels> to(planes);
    for (int64_t x = 0; x < last; x += kBlock) {
      if constexpr (Blocks::kPrefetchesResults)
        for (int c = 0; c < channels; ++c) prefetch<kBlock * kBytes>(to.planes[c] + x * kBytes);
      Blocks::template widen<T, channels>(src + x * channels, to.planes, x * kBytes);
    }
    Blocks::template widen<T, channels>(src + last * channels, to.planes, last * kBytes);
  }
  template <class T, int channels>
  static consteval SplitRow *widening_split() {
    if constexpr (sizeof(T) == 4) {
      return widen<T, channels>;
    } else {
      return nullptr;
    }
  }
};

}  // namespace

}  // namespace tavix::module
