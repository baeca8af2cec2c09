// SPDX-License-Identifier: Apache-2.0
// A row as long as a record can say: the same few pages, mapped again and again.
//
//   LongestRow row;                                   // 2^31 - 1 bytes of grey
//   LongestRow bgr(TAVIX_PIX_FMT_BGR24, INT_MAX / 3);
#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <span>

#include "support/guarded_frame.h"

namespace tavix::test {

class LongestRow {
 public:
  explicit LongestRow(int32_t format = TAVIX_PIX_FMT_GRAY8, int32_t width = INT_MAX) {
    const int file = memfd_create("row", 0);
    EXPECT_EQ(ftruncate(file, kPiece), 0);
    // What lies beyond the last piece may not be touched.
    mapping_ = mmap(nullptr, kPiece * (kPieces + 1), PROT_NONE,
                    MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    EXPECT_NE(mapping_, MAP_FAILED);
    for (size_t i = 0; i < kPieces; ++i)
      EXPECT_NE(mmap(static_cast<uint8_t *>(mapping_) + i * kPiece, kPiece, PROT_READ | PROT_WRITE,
                     MAP_SHARED | MAP_FIXED, file, 0),
                MAP_FAILED);
    close(file);
    record_.video = {channels_of(format), width, 1, format, 0, 0};
    record_.data[0] = static_cast<uint8_t *>(mapping_);
  }
  ~LongestRow() { munmap(mapping_, kPiece * (kPieces + 1)); }
  LongestRow(const LongestRow &) = delete;
  LongestRow &operator=(const LongestRow &) = delete;

  operator TavixFrameV2 *() { return &record_; }
  TavixFrameV2 *operator->() { return &record_; }

  void fill(uint8_t value) { std::ranges::fill(piece(), value); }
  // The bytes that the row consists of, again and again.
  std::span<uint8_t> piece() { return {record_.data[0], kPiece}; }
  // The last of 2^31 - 1 bytes, in the piece that every other one shows as well.
  uint8_t &last() { return record_.data[0][kPiece - 2]; }

 private:
  static constexpr size_t kPiece = size_t(1) << 21, kPieces = 1024;
  void *mapping_;
  TavixFrameV2 record_ = {};
};

}  // namespace tavix::test
