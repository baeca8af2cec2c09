// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdlib>

#include "log.h"
#include "tavix/core/host.h"

TavixArray *TavixArrayAlloc(int32_t type, int32_t count) {
  if (type != TAVIX_ARRAY_TYPE_DOUBLE || count < 0) {
    CORE_LOG_ERROR("array of type %d and count %d is impossible", type, count);
    return nullptr;
  }
  // One block: the record, then its elements.
  void *block = std::calloc(1, sizeof(TavixArray) + size_t(count) * sizeof(TavixArrayElement));
  if (block == nullptr) {
    CORE_LOG_ERROR("no memory for an array of %d elements", count);
    return nullptr;
  }
  auto *array = static_cast<TavixArray *>(block);
  array->count = count;
  array->elements = reinterpret_cast<TavixArrayElement *>(array + 1);
  std::fill_n(array->elements, count, TavixArrayElement{type, 0.0});
  return array;
}

void TavixArrayFree(TavixArray *array) {
  std::free(array);
}
