// SPDX-License-Identifier: Apache-2.0
// The matcher must tell lines apart, or no line would be wrong.
#include "documented_lines.h"

#include <gtest/gtest.h>

#include "tavix/core/codes.h"

namespace tavix::fuzz {
namespace {

TEST(DocumentedLines, AreMatchedAsPrintfMakesThem) {
  EXPECT_TRUE(matches("src(%p) and %d", "src(0x7f12) and -3"));
  EXPECT_TRUE(matches("src(%p)", "src((nil))"));
  EXPECT_TRUE(matches("%s failed: %s", "Dilate failed: OpenCV(4.6.0) a: b"));
  EXPECT_TRUE(matches("(%dx%d, type=%d)", "(3x4, type=16)"));
  EXPECT_FALSE(matches("src(%p) and %d", "src(0x7f12) and 3 more"));
  EXPECT_FALSE(matches("src(%p) and %d", "src(7f12) and 3"));
  EXPECT_FALSE(matches("src %d", "src "));
  EXPECT_FALSE(matches("src %d", "src"));
  EXPECT_FALSE(matches("%d px", "12 py"));
}

TEST(DocumentedLines, BelongToFunctionsAndStatuses) {
  const auto *row = find_line("TavixFrameBlurByCPU", TAVIX_ERROR_INVALID_PARAM,
                              "Unsupported Frame Type:7 To OpencvType!");
  ASSERT_NE(row, nullptr);
  EXPECT_EQ(row->functions, "TavixFrameBlurByCPU");
  EXPECT_EQ(find_line("TavixFrameBlurByCPU", TAVIX_ERROR_UNSUPPORTED,
                      "Unsupported Frame Type:7 To OpencvType!"),
            nullptr);
  EXPECT_EQ(find_line("TavixFrameRoiByCPU", TAVIX_ERROR_INVALID_PARAM,
                      "Unsupported Frame Type:7 To OpencvType!"),
            nullptr);
  EXPECT_EQ(find_line("TavixFrameBlurByCPU", TAVIX_ERROR_INVALID_PARAM, ""), nullptr);
}

}  // namespace
}  // namespace tavix::fuzz
