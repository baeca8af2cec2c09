// SPDX-License-Identifier: Apache-2.0
// Checks that operations of every kind make of their frames, under the unit and function of the
// caller.
#pragma once

#include <cstdint>

#include "common/frame_access.h"
#include "common/log.h"

namespace tavix::module {

// Refuses pixels in rows that are too long for any loop.
inline int32_t check_row_elements(const char *unit, const char *function,
                                  const TavixVideoInfo &video) {
  TAVIX_REFUSE_AS_IF(unit, function, has_uncountable_rows(video), TAVIX_ERROR_INVALID_PARAM,
                     "width(%d) * channels(%d) must not exceed %d elements of a row", video.width,
                     video.channels, INT32_MAX);
  return TAVIX_OK;
}

}  // namespace tavix::module
