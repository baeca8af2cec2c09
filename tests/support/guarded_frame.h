// SPDX-License-Identifier: Apache-2.0
// Frames whose last payload byte, in each plane, touches a page nobody may touch, with any stride,
// misaligned or upside down, and padding that shows whether it was written.
//
//   GuardedFrame src({TAVIX_PIX_FMT_BGR24, 31, 5}, {.pad = 3, .shift = 1});
//   src.fill(Fill::noise, seed);
//   TavixFrameBlurByCPU(src, dst, size);      // passes as the record it holds
//   EXPECT_TRUE(src.intact() && dst.intact());
//
// The record may be changed (src->memory = 1) for calls that must be refused.
#pragma once

#include <cstdint>
#include <cstring>
#include <ostream>
#include <variant>
#include <vector>

#include "support/fill.h"
#include "support/guarded_bytes.h"
#include "support/names.h"
#include "tavix/core/records.h"

namespace tavix::test {

struct FrameShape {
  int32_t format, width, height;
  int32_t channels = 0;  // 0: as many as the format has
};

struct FrameLayout {
  int32_t pad = 0;    // bytes of the stride beyond the payload
  int32_t shift = 0;  // bytes between the last payload byte and the page, to misalign the plane
  bool bottom_up = false;  // negative strides: the first row lies last
  // Not 0: the stride, and each row ends at a page nobody may touch; the first two say nothing
  // then.
  int32_t row_distance = 0;
};
std::ostream &operator<<(std::ostream &out, const FrameLayout &layout);

// A tight row, one byte of padding, a misaligned plane with odd strides, and upside down.
inline constexpr FrameLayout kLayouts[] = {
    {}, {.pad = 1}, {.pad = 37, .shift = 3}, {.pad = 5, .bottom_up = true}};

// Rows and payload bytes of each plane.
struct PlaneShape {
  int32_t rows, row_bytes;
};
std::vector<PlaneShape> plane_shapes(const TavixVideoInfo &video);

int32_t channels_of(int32_t format);
inline bool is_float_format(int32_t format) {
  return format >= TAVIX_PIX_FMT_RGBF32 && format <= TAVIX_PIX_FMT_GRAYF32;
}

class GuardedFrame {
 public:
  explicit GuardedFrame(const FrameShape &shape, const FrameLayout &layout = {});
  GuardedFrame(GuardedFrame &&) = default;

  operator TavixFrameV2 *() { return &record_; }
  operator const TavixFrameV2 *() const { return &record_; }
  TavixFrameV2 *operator->() { return &record_; }
  const TavixFrameV2 *operator->() const { return &record_; }
  TavixFrameV2 &operator*() { return record_; }
  const TavixFrameV2 &operator*() const { return record_; }

  // Fills every payload element of every plane.
  void fill(Fill fill, uint64_t seed);

  // Element i of row y, at x * channels + c in packed formats.
  template <class T>
  T get(int64_t i, int32_t y, int plane = 0) const {
    T value;
    std::memcpy(&value, row(y, plane) + i * int64_t(sizeof(T)), sizeof(T));
    return value;
  }
  template <class T>
  void set(int64_t i, int32_t y, T value, int plane = 0) {
    std::memcpy(row(y, plane) + i * int64_t(sizeof(T)), &value, sizeof(T));
  }
  uint8_t *row(int32_t y, int plane = 0) const;

  // The payload without padding, plane after plane: a snapshot to compare with later.
  std::vector<uint8_t> payload() const;
  void set_payload(const std::vector<uint8_t> &payload);

  // Whether nothing but payload was written, wherever the record points by now.
  [[nodiscard]] bool intact() const;

 private:
  struct Plane {
    std::variant<GuardedBytes, GuardedRows> memory;
    PlaneShape shape;
    uint8_t *first_row;
    int32_t linesize;
  };

  TavixFrameV2 record_ = {};
  std::vector<Plane> planes_;
};

}  // namespace tavix::test
