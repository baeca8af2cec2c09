// SPDX-License-Identifier: Apache-2.0
// Two pictures in one memory: the same one, side by side, or on top of each other.
#pragma once

#include "picture.h"

namespace tavix::python {

enum class InPlace { kAllowed, kRefused };

// Raises ValueError where out shares memory with src, unless both are the same pixels and the
// operation can work in place.
void require_no_overlap(const Picture &src, const Picture &out, InPlace in_place);

}  // namespace tavix::python
