// SPDX-License-Identifier: Apache-2.0
// How one tensor element changes its type: a plain cast. Floats are truncated towards zero and wrap
// into narrower integers; nothing saturates, on purpose.
#pragma once

#include <cstdint>
#include <type_traits>

#include "common/rounding.h"

namespace tavix::module {

// Floats reach 32-bit unsigned integers by way of 64 bits: those up to 2^63 keep their low half.
template <class To, class From>
inline To convert_element(From value) {
  if constexpr (std::is_same_v<From, float> && std::is_integral_v<To>) {
    constexpr bool kLong = std::is_same_v<To, uint32_t> || sizeof(To) == sizeof(int64_t);
    if constexpr (kLong) {
      return To(truncate_to_int64(value));
    } else {
      return To(truncate_to_int32(value));
    }
  } else {
    return To(value);
  }
}

// Whether a conversion changes no bit.
template <class From, class To>
inline constexpr bool kSameBits = std::is_same_v<From, To> ||
                                  (sizeof(From) == 1 && sizeof(To) == 1);

}  // namespace tavix::module
