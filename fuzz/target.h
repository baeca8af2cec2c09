// SPDX-License-Identifier: Apache-2.0
// One input of one family on every path of this machine.
#pragma once

#include <cstddef>
#include <cstdint>

#include "families.h"

namespace tavix::fuzz {

void try_input(Family *family, const uint8_t *data, size_t size);

}  // namespace tavix::fuzz
