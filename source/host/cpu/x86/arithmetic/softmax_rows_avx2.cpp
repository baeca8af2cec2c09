// SPDX-License-Identifier: Apache-2.0
// Softmax with AVX2.
#include "cpu/common_c/arithmetic/softmax_rows.h"

#include "cpu/x86/arithmetic/kernels_avx2.h"

TAVIX_AVX2_BEGIN

namespace tavix::module::avx2 {

namespace {

#include "cpu/x86/arithmetic/softmax_rows.inc"

}  // namespace

}  // namespace tavix::module::avx2

TAVIX_AVX2_END

namespace tavix::module {

constinit const SoftmaxRows kSoftmaxRowsAvx2 = {.panel = avx2::softmax_panel,
                                                .lines = avx2::softmax_lines};

}  // namespace tavix::module
