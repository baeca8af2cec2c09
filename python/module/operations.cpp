// SPDX-License-Identifier: Apache-2.0
#include "operations.h"

namespace tavix::python {

std::string docstring(const Member &member, const char *parameters, const char *common) {
  return std::string(member.name) + '(' + parameters + ")\n--\n\n" + member.what + common +
         member.example + '\n';
}

}  // namespace tavix::python
