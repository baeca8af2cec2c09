// SPDX-License-Identifier: Apache-2.0
// What row kernels of arithmetic build on, with AVX2: blocks of rows and the exponentials. Include this
// header last.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <numbers>

#include "cpu/x86/arithmetic/library_math.h"
#include "cpu/x86/arithmetic/vectors_avx2.h"
#include "cpu/x86/prefetch.h"

TAVIX_AVX2_BEGIN

namespace tavix::module::avx2 {

namespace {

#include "cpu/x86/arithmetic/row_blocks.inc"
// The exponentials take what stands above.
#include "cpu/x86/arithmetic/library_lanes.inc"
#include "cpu/x86/arithmetic/softmax_exp.inc"

}  // namespace

}  // namespace tavix::module::avx2

TAVIX_AVX2_END
