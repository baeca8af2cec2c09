// SPDX-License-Identifier: Apache-2.0
// How the core logs: under the path of its folder, like every unit.
#pragma once

#include "tavix/core/codes.h"
#include "tavix/core/services.h"

#define CORE_LOG_ERROR(...) \
  TavixLoggerLogV2(TAVIX_LOG_ERROR, "core", __func__, __LINE__, __VA_ARGS__)
