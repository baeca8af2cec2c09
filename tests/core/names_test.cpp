// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <climits>
#include <map>
#include <string>

#include "tavix/core.h"

namespace tavix::test {
namespace {

std::string name_in(const std::map<int32_t, std::string> &names, int32_t code) {
  const auto found = names.find(code);
  return found == names.end() ? "unknown" : found->second;
}

TEST(Names, OfStatuses) {
  const std::map<int32_t, std::string> names = {{0, "TAVIX_OK"},
                                                {3, "TAVIX_ERROR_MEMORY"},
                                                {4, "TAVIX_ERROR_UNSUPPORTED"},
                                                {7, "TAVIX_ERROR_INVALID_PARAM"},
                                                {13, "TAVIX_ERROR_INVALID_DATA"}};
  for (int32_t code = -2; code < 40; ++code) EXPECT_EQ(TavixStatusName(code), name_in(names, code));
  EXPECT_STREQ(TavixStatusName(INT_MIN), "unknown");
}

TEST(Names, OfPixelFormats) {
  const std::map<int32_t, std::string> names = {
      {0, "TAVIX_PIX_FMT_RGB24"},    {1, "TAVIX_PIX_FMT_BGR24"},    {2, "TAVIX_PIX_FMT_GRAY8"},
      {4, "TAVIX_PIX_FMT_BGRA32"},   {5, "TAVIX_PIX_FMT_RGBA32"},   {7, "TAVIX_PIX_FMT_NV12"},
      {8, "TAVIX_PIX_FMT_NV21"},     {9, "TAVIX_PIX_FMT_YV12"},     {10, "TAVIX_PIX_FMT_I420"},
      {11, "TAVIX_PIX_FMT_RGBF32"},  {12, "TAVIX_PIX_FMT_BGRF32"},  {13, "TAVIX_PIX_FMT_RGBAF32"},
      {14, "TAVIX_PIX_FMT_BGRAF32"}, {15, "TAVIX_PIX_FMT_GRAYF32"}, {16, "TAVIX_PIX_FMT_NONE"}};
  for (int32_t code = -2; code < 40; ++code)
    EXPECT_EQ(TavixPixelFormatName(code), name_in(names, code));
  EXPECT_STREQ(TavixPixelFormatName(INT_MAX), "unknown");
}

}  // namespace
}  // namespace tavix::test
