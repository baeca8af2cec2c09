// SPDX-License-Identifier: Apache-2.0
// Where permutations of whole registers find the channels of packed pixels, and the other way
// round: of floats in 32 bits, of bytes in 8. Include this header last.
#pragma once

#include <bit>
#include <cstdint>

namespace tavix::module {

namespace {

// What a permutation takes of a 512-bit register: an index and a bit of a mask for each element.
template <class Index>
inline constexpr int kElements = 64 / int(sizeof(Index));

// Where the first three channels of as many pixels as a vector has elements lie: in the first two
// vectors, and the rest of them in the others.
template <class Index, int channels>
struct PlaneOrder {
  static constexpr int kCount = kElements<Index>;

  alignas(64) Index index[3][kCount] = {};
  uint64_t behind[3] = {};

  constexpr PlaneOrder() {
    for (int k = 0; k < 3; ++k)
      for (int x = 0; x < kCount; ++x) {
        const int at = x * channels + k;
        index[k][x] = Index(at % (2 * kCount));
        behind[k] |= uint64_t(at >= 2 * kCount) << x;
      }
  }
};

// Where a column lies in its vector: floats are in order, each quarter of bytes has its even
// columns before its odd ones.
template <class Index>
constexpr int place_of(int column) {
  return sizeof(Index) == 4 ? column : column / 16 * 16 + column % 2 * 8 + column % 16 / 2;
}

// For each vector of pixels, where its elements come from in the first two channels, and which of
// them belong to the third channel, whose elements the same indices name. In the place of a fourth
// channel an index is what is opaque.
template <class Index, int channels>
struct PixelOrder {
  static constexpr int kCount = kElements<Index>;
  static constexpr Index kOpaque =
      sizeof(Index) == 4 ? Index(std::bit_cast<int32_t>(1.0f)) : Index(255);

  alignas(64) Index index[channels][kCount] = {};
  uint64_t third[channels] = {}, colour[channels] = {};

  constexpr PixelOrder() {
    for (int j = 0; j < channels; ++j)
      for (int i = 0; i < kCount; ++i) {
        const int x = (kCount * j + i) / channels, c = (kCount * j + i) % channels;
        index[j][i] = c == 3 ? kOpaque : Index(place_of<Index>(x) + (c == 1 ? kCount : 0));
        third[j] |= uint64_t(c == 2) << i;
        colour[j] |= uint64_t(c != 3) << i;
      }
  }
};

}  // namespace

}  // namespace tavix::module
