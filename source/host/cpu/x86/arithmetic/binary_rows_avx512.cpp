// SPDX-License-Identifier: Apache-2.0
// Binary arithmetic with AVX-512.
#include "cpu/x86/arithmetic/binary_body_avx.h"

#include "cpu/x86/arithmetic/kernels_avx512.h"

TAVIX_AVX512_BEGIN

namespace tavix::module::avx512 {

namespace {

#include "cpu/x86/arithmetic/binary_rows.inc"

}  // namespace

}  // namespace tavix::module::avx512

TAVIX_AVX512_END

namespace tavix::module {

constinit const BinaryRows kBinaryRowsAvx512 = BinaryRows::of<BinaryAvx<avx512::BinaryKernels>>();

}  // namespace tavix::module
