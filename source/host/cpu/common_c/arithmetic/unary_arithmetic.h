// SPDX-License-Identifier: Apache-2.0
// What the implementations of unary arithmetic share: the call as one record, and the guards that
// follow the checks of each.
#pragma once

#include <cstdint>
#include <utility>

#include "tavix/core/records.h"

namespace tavix::module {

inline constexpr int kUnaryOps = 4;
using UnaryOps = std::make_integer_sequence<int, kUnaryOps>;

struct UnaryJob {
  const TavixFrameV2 *src;
  TavixFrameV2 *dst;
  const double *scale, *offset;

  const TavixVideoInfo &video() const { return src->video; }
};

// TAVIX_OK, or the status of what would make the loops undefined, told under the given names.
int32_t guard_unary(const char *unit, const char *function, const UnaryJob &job);

}  // namespace tavix::module
