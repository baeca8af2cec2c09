// SPDX-License-Identifier: Apache-2.0
// Row kernels of the packed conversions: one record of them for each path. A kernel reads width
// pixels at src and writes width pixels at dst, at any address, and touches no other byte.
#pragma once

#include <cstdint>

#include "cpu/tavix_cvt_color/matrices.h"

namespace tavix::module {

using PackedRow = void(const uint8_t *src, uint8_t *dst, int32_t width);
using WeightedRow = void(const uint8_t *src, uint8_t *dst, int32_t width,
                         const GrayWeights &weights);

// Kernels of one conversion for every pair of pixel steps, colours kept or swapped.
class PackedRows {
 public:
  constexpr PackedRow *find(int32_t src_step, int32_t dst_step, bool swap) const {
    return rows_[src_step / 2][dst_step - 3][swap];
  }

  // Family::row<src_step, dst_step, swap> for these source steps.
  template <class Family, int... src_steps>
  static constexpr PackedRows of() {
    PackedRows rows;
    (rows.add_source<Family, src_steps>(), ...);
    return rows;
  }

 private:
  template <class Family, int src_step>
  constexpr void add_source() {
    rows_[src_step / 2][0][false] = Family::template row<src_step, 3, false>;
    rows_[src_step / 2][0][true] = Family::template row<src_step, 3, src_step != 1>;
    rows_[src_step / 2][1][false] = Family::template row<src_step, 4, false>;
    rows_[src_step / 2][1][true] = Family::template row<src_step, 4, src_step != 1>;
  }

  PackedRow *rows_[3][2][2] = {};  // source step 1, 3, 4; destination step 3, 4; swapped
};

// Kernels from colour to grey, for every pixel step and channel order.
template <class Row>
class GrayRows {
 public:
  constexpr Row *find(int32_t src_step, bool r_first) const { return rows_[src_step - 3][r_first]; }

  // Family::row<src_step, r_first>.
  template <class Family>
  static constexpr GrayRows of() {
    return {{{Family::template row<3, false>, Family::template row<3, true>},
             {Family::template row<4, false>, Family::template row<4, true>}}};
  }

  Row *rows_[2][2] = {};  // source step 3, 4; red first
};

struct RgbRows {
  PackedRows shuffle_bytes;    // reorder, add or drop alpha, spread grey
  PackedRows shuffle_floats;   // the same without grey; values are copied unchanged
  PackedRows bytes_to_floats;  // 0..255 to 0..1
  PackedRows floats_to_bytes;  // 0..1 to 0..255, clamped
  GrayRows<PackedRow> bytes_to_gray;
  GrayRows<WeightedRow> floats_to_gray;
  bool bytes_on_all_workers;  // of 8-bit to 8-bit, or in the calling thread
};

extern const RgbRows kRgbRowsC, kRgbRowsAvx2, kRgbRowsAvx512Vbmi;
const RgbRows &rgb_rows();

// Portable rows of what fills no vector, with the arithmetic of the vector rows where it is
// another.
extern const RgbRows kRgbRowsTails;

}  // namespace tavix::module
