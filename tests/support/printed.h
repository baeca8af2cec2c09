// SPDX-License-Identifier: Apache-2.0
// Texts as printf makes them: how messages print pointers and codes.
#pragma once

#include <cstdarg>
#include <string>

#include "tavix/core/api.h"

namespace tavix::test {

std::string printed(const char *format, ...) TAVIX_PRINTF(1, 2);
std::string vprinted(const char *format, va_list arguments) TAVIX_PRINTF(1, 0);

}  // namespace tavix::test
