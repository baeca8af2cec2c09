// SPDX-License-Identifier: Apache-2.0
// Unary arithmetic with AVX2.
#include "cpu/x86/arithmetic/unary_body_avx.h"

#include "cpu/x86/arithmetic/kernels_avx2.h"

TAVIX_AVX2_BEGIN

namespace tavix::module::avx2 {

namespace {

#include "cpu/x86/arithmetic/unary_rows.inc"

}  // namespace

}  // namespace tavix::module::avx2

TAVIX_AVX2_END

namespace tavix::module {

namespace {

struct UnaryKernelsAvx2 : avx2::UnaryFloatKernels {
  using ByteMaps = ByteMapsAvx2;
  static constexpr bool kMapsAddToo = false;
};

}  // namespace

constinit const UnaryRows kUnaryRowsAvx2 = UnaryRows::of<UnaryAvx<UnaryKernelsAvx2>>();

}  // namespace tavix::module
