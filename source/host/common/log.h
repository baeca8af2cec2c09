// SPDX-License-Identifier: Apache-2.0
// The one way to log and to refuse. Each macro begins with the unit of the line (units.h); texts
// stay literals at their checks, so that the compiler verifies their arguments.
#pragma once

#include "common/units.h"
#include "tavix/core/codes.h"
#include "tavix/core/services.h"

// A line under a name of its own: functions outside the C interface log their qualified name.
#define TAVIX_LOG_AS(unit, function, level, ...) \
  TavixLoggerLogV2(level, unit, function, __LINE__, __VA_ARGS__)

#define TAVIX_LOG(unit, level, ...) TAVIX_LOG_AS(unit, __func__, level, __VA_ARGS__)

// Logs one error line and returns status.
#define TAVIX_REFUSE_AS(unit, function, status, ...)            \
  do {                                                          \
    TAVIX_LOG_AS(unit, function, TAVIX_LOG_ERROR, __VA_ARGS__); \
    return status;                                              \
  } while (false)

// A check is one line: when the condition holds, one error line is logged and status returned.
#define TAVIX_REFUSE_AS_IF(unit, function, condition, status, ...)       \
  do {                                                                   \
    if (condition) TAVIX_REFUSE_AS(unit, function, status, __VA_ARGS__); \
  } while (false)

#define TAVIX_REFUSE_IF(unit, condition, status, ...) \
  TAVIX_REFUSE_AS_IF(unit, __func__, condition, status, __VA_ARGS__)

// Returns the status of a shared check that has refused and logged.
#define TAVIX_RETURN_IF_REFUSED(check)                                     \
  do {                                                                     \
    if (const int32_t status = (check); status != TAVIX_OK) return status; \
  } while (false)
