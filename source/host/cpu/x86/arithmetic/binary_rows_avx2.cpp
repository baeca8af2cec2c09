// SPDX-License-Identifier: Apache-2.0
// Binary arithmetic with AVX2.
#include "cpu/x86/arithmetic/binary_body_avx.h"

#include "cpu/x86/arithmetic/kernels_avx2.h"

TAVIX_AVX2_BEGIN

namespace tavix::module::avx2 {

namespace {

#include "cpu/x86/arithmetic/binary_rows.inc"

}  // namespace

}  // namespace tavix::module::avx2

TAVIX_AVX2_END

namespace tavix::module {

constinit const BinaryRows kBinaryRowsAvx2 = BinaryRows::of<BinaryAvx<avx2::BinaryKernels>>();

}  // namespace tavix::module
