// SPDX-License-Identifier: Apache-2.0
// The families of operations, each a way from an input to one call that is checked on every path
// given.
#pragma once

#include <span>

#include "choices.h"
#include "oracle.h"

namespace tavix::fuzz {

using Family = void(Choices &c, std::span<const Path> paths);

Family arithmetic, statistics, softmax, color, blobs, geometry, filters, channels;

// Calls of all families, one after the other: each with another level, number of workers and shape,
// on an arena that comes and goes.
Family sequences;

inline constexpr struct {
  const char *name;
  Family *run;
} kFamilies[] = {{"arithmetic", arithmetic}, {"statistics", statistics}, {"softmax", softmax},
                 {"color", color},           {"blobs", blobs},           {"geometry", geometry},
                 {"filters", filters},       {"channels", channels},     {"sequences", sequences}};

}  // namespace tavix::fuzz
