// SPDX-License-Identifier: Apache-2.0
// Blob layouts: two runs of codes, 0 to 8 and 1000 to 1005, folded into the slots of one table.
#pragma once

#include <cstdint>

namespace tavix::module {

inline constexpr uint32_t kLayoutSlots = 15;         // slots in use
inline constexpr uint32_t kNoLayout = kLayoutSlots;  // the empty slot of every layout table

// Slot of a layout code; codes 9 to 999 and above 1005 have none.
constexpr uint32_t layout_slot(uint32_t code) {
  if (code < 9) return code;
  return code >= 1000 && code <= 1005 ? code - 991 : kNoLayout;
}

static_assert(layout_slot(8) == 8 && layout_slot(1000) == 9 && layout_slot(1003) == 12);
static_assert(layout_slot(9) == kNoLayout && layout_slot(999) == kNoLayout &&
              layout_slot(1006) == kNoLayout);

}  // namespace tavix::module
