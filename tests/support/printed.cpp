// SPDX-License-Identifier: Apache-2.0
#include "support/printed.h"

#include <algorithm>
#include <cstdio>

namespace tavix::test {

std::string printed(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::string text = vprinted(format, arguments);
  va_end(arguments);
  return text;
}

std::string vprinted(const char *format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  std::string text(size_t(std::max(std::vsnprintf(nullptr, 0, format, again), 0)), '\0');
  va_end(again);
  std::vsnprintf(text.data(), text.size() + 1, format, arguments);
  return text;
}

}  // namespace tavix::test
