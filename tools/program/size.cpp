// SPDX-License-Identifier: Apache-2.0
#include "program/size.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace tavix::tool {

Size size_of(std::string_view text, int32_t largest) {
  Size size = {};
  const char *end = text.data() + text.size();
  const auto width = std::from_chars(text.data(), end, size.width);
  if (width.ec != std::errc() || width.ptr == end || *width.ptr != 'x') return {};
  const auto height = std::from_chars(width.ptr + 1, end, size.height);
  if (height.ec != std::errc() || height.ptr != end) return {};
  const auto [smaller, larger] = std::minmax(size.width, size.height);
  return smaller >= 1 && larger <= largest ? size : Size{};
}

}  // namespace tavix::tool
