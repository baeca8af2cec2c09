// SPDX-License-Identifier: Apache-2.0
// Softmax with AVX-512.
#include "cpu/common_c/arithmetic/softmax_rows.h"

#include "cpu/x86/arithmetic/kernels_avx512.h"

TAVIX_AVX512_BEGIN

namespace tavix::module::avx512 {

namespace {

#include "cpu/x86/arithmetic/softmax_rows.inc"

}  // namespace

}  // namespace tavix::module::avx512

TAVIX_AVX512_END

namespace tavix::module {

constinit const SoftmaxRows kSoftmaxRowsAvx512 = {.panel = avx512::softmax_panel,
                                                  .lines = avx512::softmax_lines};

}  // namespace tavix::module
