// SPDX-License-Identifier: Apache-2.0
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
  switch (format) {
    NAME(TAVIX_PIX_FMT_RGB24);
    NAME(TAVIX_PIX_FMT_BGR24);
    NAME(TAVIX_PIX_FMT_GRAY8);
    NAME(TAVIX_PIX_FMT_BGRA32);
    NAME(TAVIX_PIX_FMT_RGBA32);
    NAME(TAVIX_PIX_FMT_NV12);
    NAME(TAVIX_PIX_FMT_NV21);
    NAME(TAVIX_PIX_FMT_YV12);
    NAME(TAVIX_PIX_FMT_I420);
    NAME(TAVIX_PIX_FMT_RGBF32);
    NAME(TAVIX_PIX_FMT_BGRF32);
    NAME(TAVIX_PIX_FMT_RGBAF32);
    NAME(TAVIX_PIX_FMT_BGRAF32);
    NAME(TAVIX_PIX_FMT_GRAYF32);
    NAME(TAVIX_PIX_FMT_NONE);
  }
  return "unknown";
}
