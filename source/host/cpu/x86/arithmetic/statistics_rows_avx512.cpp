// SPDX-License-Identifier: Apache-2.0
// Statistics with AVX-512. Memory bounds maxima and minima, which are those of AVX2.
#include "cpu/common_c/arithmetic/statistics_rows.h"
#include "cpu/x86/arithmetic/statistics_extremes.h"

#include "cpu/x86/arithmetic/kernels_avx512.h"

TAVIX_AVX512_BEGIN

namespace tavix::module::avx512 {

namespace {

#include "cpu/x86/arithmetic/statistics_rows.inc"

}  // namespace

}  // namespace tavix::module::avx512

TAVIX_AVX512_END

namespace tavix::module {

constinit const StatisticsRows kStatisticsRowsAvx512 = {
    avx512::accumulate_bytes,  avx512::accumulate_floats, avx512::accumulate_bytes,
    avx512::accumulate_floats, avx2::accumulate_extreme,  avx2::accumulate_extreme,
    avx2::accumulate_extreme,  avx2::accumulate_extreme};

}  // namespace tavix::module
