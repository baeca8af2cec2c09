// SPDX-License-Identifier: Apache-2.0
// The one way to log and to refuse. Texts stay literals at their checks, so that the compiler
// verifies their arguments.
#pragma once

#include "tavix/core/codes.h"
#include "tavix/core/services.h"

namespace tavix::module {

// The units of the library: what log lines carry as their source file, whatever the build folder.
inline constexpr char kFrameConvertUnit[] = "source/host/tavix_frame_convert_cpu";
inline constexpr char kBlobSetUnit[] = "source/host/tavix_blob_set_cpu";
inline constexpr char kCvtColorUnit[] = "source/host/cpu/tavix_cvt_color";
inline constexpr char kCvtColorAvxUnit[] = "source/host/cpu/x86/cvt_color/cvt_color_yuv_avx";
inline constexpr char kArithmeticUnit[] = "source/host/cpu/common_c/arithmetic/arithmetic";
inline constexpr char kArithmeticAvxUnit[] = "source/host/cpu/x86/arithmetic/arithmetic_avx";
inline constexpr char kParallelUnit[] = "source/host/common/parallel/tavix_parallel_wrapper";

// What a line names as its place. Functions outside the C interface log their qualified name.
struct LogOrigin {
  const char *unit, *function;
};

}  // namespace tavix::module

// The function that this stands in. Each macro below speaks for it, or in the form with AS for
// another origin.
#define TAVIX_HERE(unit) (tavix::module::LogOrigin{unit, __func__})

#define TAVIX_LOG_AS(origin, level, ...) \
  TavixLoggerLogV2(level, (origin).unit, (origin).function, __LINE__, __VA_ARGS__)
#define TAVIX_LOG(unit, level, ...) TAVIX_LOG_AS(TAVIX_HERE(unit), level, __VA_ARGS__)

// A check is one line: when the condition holds, one error line is logged and status returned.
#define TAVIX_REFUSE_AS_IF(origin, condition, status, ...) \
  do {                                                     \
    if (condition) {                                       \
      TAVIX_LOG_AS(origin, TAVIX_LOG_ERROR, __VA_ARGS__);  \
      return status;                                       \
    }                                                      \
  } while (false)
#define TAVIX_REFUSE_IF(unit, condition, status, ...) \
  TAVIX_REFUSE_AS_IF(TAVIX_HERE(unit), condition, status, __VA_ARGS__)

// With the status of most checks.
#define TAVIX_INVALID_AS_IF(origin, condition, ...) \
  TAVIX_REFUSE_AS_IF(origin, condition, TAVIX_ERROR_INVALID_PARAM, __VA_ARGS__)
#define TAVIX_INVALID_IF(unit, condition, ...) \
  TAVIX_INVALID_AS_IF(TAVIX_HERE(unit), condition, __VA_ARGS__)

// Returns the status of a shared check that has refused and logged.
#define TAVIX_RETURN_IF_REFUSED(check)                                     \
  do {                                                                     \
    if (const int32_t status = (check); status != TAVIX_OK) return status; \
  } while (false)
