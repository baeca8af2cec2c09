// SPDX-License-Identifier: Apache-2.0
#include "plane_layout.h"
#include "tavix/core/codes.h"
#include "tavix/core/host.h"

#define NAME(code) \
  case code:       \
    return #code

const char *TavixStatusName(int32_t status) {
  switch (status) {
    NAME(TAVIX_OK);
    NAME(TAVIX_ERROR_MEMORY);
    NAME(TAVIX_ERROR_UNSUPPORTED);
    NAME(TAVIX_ERROR_INVALID_PARAM);
    NAME(TAVIX_ERROR_INVALID_DATA);
  }
  return "unknown";
}

const char *TavixPixelFormatName(int32_t format) {
  if (format == TAVIX_PIX_FMT_NONE) return "TAVIX_PIX_FMT_NONE";
  const tavix::core::PlaneLayout *layout = tavix::core::plane_layout(format);
  return layout == nullptr ? "unknown" : layout->name;
}
