// SPDX-License-Identifier: Apache-2.0
// Rows without gaps become one long row as long as 32 bits can say how long. The sizes are said
// only: no memory is as large.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <utility>
#include <vector>

#include "common/frame_access.h"
#include "tavix_blob_set_cpu/tensor_transfer.h"

namespace tavix::test {
namespace {

using Runs = std::vector<std::pair<int32_t, int32_t>>;  // first row, elements

Runs runs_of(int32_t start, int32_t end, int32_t n, int64_t bytes, bool gapless) {
  Runs runs;
  module::for_each_joined(start, end, n, bytes, gapless, [&](int32_t y, int32_t elements) {
    runs.push_back({y, elements});
  });
  return runs;
}

TEST(JoinedRows, EndWhereThirtyTwoBitsDo) {
  EXPECT_EQ(runs_of(2, 5, 7, 28, true), (Runs{{2, 21}}));
  EXPECT_EQ(runs_of(2, 5, 7, 28, false), (Runs{{2, 7}, {3, 7}, {4, 7}}));
  EXPECT_EQ(runs_of(0, 1, INT_MAX, INT_MAX, true), (Runs{{0, INT_MAX}}));
  constexpr int32_t kRow = INT_MAX / 7;
  EXPECT_EQ(runs_of(0, 7, kRow, kRow, true), (Runs{{0, 7 * kRow}}));
  EXPECT_EQ(runs_of(0, 8, kRow, kRow, true).size(), 8u);
  EXPECT_EQ(runs_of(6, 8, kRow, kRow, true).size(), 2u) << "the last row counts, not the first";
  EXPECT_EQ(runs_of(0, 2, 1 << 28, int64_t(1) << 30, true).size(), 2u) << "2^31 bytes";
  EXPECT_EQ(runs_of(0, 2, (1 << 28) - 1, (int64_t(1) << 30) - 4, true).size(), 1u);
}

// Of two frames of four rows, whose other planes say the opposite of their gaps.
TEST(JoinedRows, OnlyThePlaneWithThePixelsTellsOfGaps) {
  std::vector<uint8_t> bytes(4 * 31);
  for (const int32_t gap : {0, 1}) {
    for (const int32_t other_gap : {0, 1}) {
      TavixFrameV2 frame = {}, other = {};
      for (const auto &[record, padding] : {std::pair(&frame, gap), {&other, other_gap}}) {
        record->video = {3, 10, 4, 0, 0, 0};
        record->data[0] = bytes.data();
        record->linesize[0] = 30 + padding;
        record->linesize[1] = 31 - padding;
      }
      Runs runs;
      module::for_each_long_row<uint8_t>(
          0, 4,
          [&](int32_t n, const uint8_t *row, const uint8_t *other_row) {
            EXPECT_EQ((row - bytes.data()) * other.linesize[0],
                      (other_row - bytes.data()) * frame.linesize[0]);
            runs.push_back({int32_t(row - bytes.data()) / frame.linesize[0], n});
          },
          frame, other);
      const bool gapless = gap + other_gap == 0;
      EXPECT_EQ(runs, gapless ? (Runs{{0, 120}}) : (Runs{{0, 30}, {1, 30}, {2, 30}, {3, 30}}));
    }
  }
}

template <class T>
int32_t joined_height(int32_t width, int32_t height, int32_t channels, int32_t gap = 0) {
  TavixFrameV2 frame = {};
  frame.video = {channels, width, height, 0, 0, 0};
  frame.linesize[0] = int32_t(sizeof(T)) * width * channels + gap;
  const auto joined = module::joined_rows<T>({1, channels, height, width}, frame);
  EXPECT_EQ(int64_t(joined.h) * joined.w, int64_t(height) * width);
  return joined.h;
}

TEST(JoinedRows, OfTensorsEndWhereThirtyTwoBitsDo) {
  EXPECT_EQ(joined_height<uint8_t>(10, 9, 3), 1);
  EXPECT_EQ(joined_height<uint8_t>(10, 9, 3, 1), 9);
  EXPECT_EQ(joined_height<float>(10, 9, 3), 1);
  EXPECT_EQ(joined_height<float>(10, 9, 3, 1), 9) << "no whole element of padding";
  EXPECT_EQ(joined_height<uint8_t>(INT_MAX, 1, 1), 1);
  EXPECT_EQ(joined_height<uint8_t>(1 << 16, (1 << 15) - 1, 1), 1);
  EXPECT_EQ(joined_height<uint8_t>(1 << 16, 1 << 15, 1), 1 << 15) << "2^31 bytes";
  EXPECT_EQ(joined_height<float>(1 << 14, 1 << 15, 1), 1 << 15) << "2^31 bytes";
}

}  // namespace
}  // namespace tavix::test
