// SPDX-License-Identifier: Apache-2.0
// The one way to log and to refuse. A file that logs defines kUnit, the unit it belongs to; texts
// stay literals at their checks, so that the compiler verifies their arguments.
#pragma once

#include "common/units.h"
#include "tavix/core/codes.h"
#include "tavix/core/services.h"

// A line under a name of its own: functions outside the C interface log their qualified name.
#define TAVIX_LOG_AS(function, level, ...) \
  TavixLoggerLogV2(level, kUnit, function, __LINE__, __VA_ARGS__)

#define TAVIX_LOG(level, ...) TAVIX_LOG_AS(__func__, level, __VA_ARGS__)

// A check is one line: when the condition holds, one error line is logged and status returned.
#define TAVIX_REFUSE_AS_IF(function, condition, status, ...) \
  do {                                                       \
    if (condition) {                                         \
      TAVIX_LOG_AS(function, TAVIX_LOG_ERROR, __VA_ARGS__);  \
      return status;                                         \
    }                                                        \
  } while (false)

#define TAVIX_REFUSE_IF(condition, status, ...) \
  TAVIX_REFUSE_AS_IF(__func__, condition, status, __VA_ARGS__)
