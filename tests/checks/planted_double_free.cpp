// SPDX-License-Identifier: Apache-2.0
// The fault that each tool of scripts/analyze must find.
#include <stdlib.h>

void planted_double_free(void *memory) {
  free(memory);
  free(memory);
}
