// SPDX-License-Identifier: Apache-2.0
// Pixels of floats with AVX-512, and the blocks of their rows. Include this header last.
#pragma once

#include "cpu/x86/cvt_color/pixel_orders_avx512.h"

#include "cpu/x86/cvt_color/samples_avx512.h"

TAVIX_VECTORS_BEGIN

#include "cpu/x86/cvt_color/pixel_blocks.inc"
#include "cpu/x86/cvt_color/pixels_avx512.inc"

TAVIX_VECTORS_END
