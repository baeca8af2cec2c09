// SPDX-License-Identifier: Apache-2.0
// Unary arithmetic with AVX-512. Byte permutations make maps of 8-bit samples; without them those are
// the maps of AVX2.
#include "cpu/x86/arithmetic/unary_body_avx.h"

#include "cpu/x86/arithmetic/kernels_avx512.h"

TAVIX_AVX512_BEGIN

namespace tavix::module::avx512 {

namespace {

#include "cpu/x86/arithmetic/unary_rows.inc"

}  // namespace

}  // namespace tavix::module::avx512

TAVIX_AVX512_END

namespace tavix::module {

namespace {

struct UnaryKernelsAvx512 : avx512::UnaryFloatKernels {
  using ByteMaps = ByteMapsAvx2;
  static constexpr bool kMapsAddToo = false;
};
struct UnaryKernelsAvx512Vbmi : avx512::UnaryFloatKernels {
  using ByteMaps = ByteMapsAvx512Vbmi;
  static constexpr bool kMapsAddToo = true;
};

}  // namespace

constinit const UnaryRows kUnaryRowsAvx512 = UnaryRows::of<UnaryAvx<UnaryKernelsAvx512>>();
constinit const UnaryRows kUnaryRowsAvx512Vbmi = UnaryRows::of<UnaryAvx<UnaryKernelsAvx512Vbmi>>();

}  // namespace tavix::module
