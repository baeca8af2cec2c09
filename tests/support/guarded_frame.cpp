// SPDX-License-Identifier: Apache-2.0
#include "support/guarded_frame.h"

#include <algorithm>
#include <cstdlib>

namespace tavix::test {

std::ostream &operator<<(std::ostream &out, const FrameLayout &layout) {
  return out << "pad " << layout.pad << ", shift " << layout.shift
             << (layout.bottom_up ? ", bottom up" : "")
             << (layout.row_distance != 0 ? ", each row on pages of its own" : "");
}

int32_t channels_of(int32_t format) {
  switch (format) {
    case TAVIX_PIX_FMT_RGB24:
    case TAVIX_PIX_FMT_BGR24:
    case TAVIX_PIX_FMT_RGBF32:
    case TAVIX_PIX_FMT_BGRF32:
      return 3;
    case TAVIX_PIX_FMT_BGRA32:
    case TAVIX_PIX_FMT_RGBA32:
    case TAVIX_PIX_FMT_RGBAF32:
    case TAVIX_PIX_FMT_BGRAF32:
      return 4;
    default:
      return 1;
  }
}

std::vector<PlaneShape> plane_shapes(const TavixVideoInfo &video) {
  const int32_t half_width = (video.width + 1) / 2, half_height = (video.height + 1) / 2;
  switch (video.format) {
    case TAVIX_PIX_FMT_NV12:
    case TAVIX_PIX_FMT_NV21:
      return {{video.height, video.width}, {half_height, 2 * half_width}};
    case TAVIX_PIX_FMT_YV12:
    case TAVIX_PIX_FMT_I420:
      return {{video.height, video.width}, {half_height, half_width}, {half_height, half_width}};
    default: {
      const int32_t element = is_float_format(video.format) ? 4 : 1;
      return {{video.height, video.width * video.channels * element}};
    }
  }
}

GuardedFrame::GuardedFrame(const FrameShape &shape, const FrameLayout &layout) {
  const int32_t channels = shape.channels != 0 ? shape.channels : channels_of(shape.format);
  record_.video = {channels, shape.width, shape.height, shape.format, 0, 0};
  for (const PlaneShape &plane : plane_shapes(record_.video)) {
    const bool apart = layout.row_distance != 0;
    const int32_t stride = apart ? layout.row_distance : plane.row_bytes + layout.pad;
    const int64_t above_last = int64_t(std::max(plane.rows - 1, 0)) * stride;
    std::variant<GuardedBytes, GuardedRows> memory(GuardedBytes(0));
    uint8_t *lowest_row;
    if (apart) {
      lowest_row =
          memory.emplace<GuardedRows>(std::max(plane.rows, 0), plane.row_bytes, stride).row(0);
    } else {
      const int64_t payload = plane.rows > 0 ? above_last + plane.row_bytes : 0;
      lowest_row = memory.emplace<GuardedBytes>(size_t(payload + layout.shift)).data();
    }
    uint8_t *first_row = lowest_row + (layout.bottom_up ? above_last : 0);
    const int32_t linesize = layout.bottom_up ? -stride : stride;
    record_.data[planes_.size()] = first_row;
    record_.linesize[planes_.size()] = linesize;
    planes_.push_back({std::move(memory), plane, first_row, linesize});
  }
}

uint8_t *GuardedFrame::row(int32_t y, int plane) const {
  return planes_[plane].first_row + int64_t(planes_[plane].linesize) * y;
}

void GuardedFrame::fill(Fill fill, uint64_t seed) {
  Random random(seed);
  for (size_t p = 0; p < planes_.size(); ++p) {
    for (int32_t y = 0; y < planes_[p].shape.rows; ++y) {
      if (is_float_format(record_.video.format)) {
        for (int32_t i = 0; i < planes_[p].shape.row_bytes / 4; ++i)
          set(i, y, fill_value<float>(fill, random), int(p));
      } else {
        std::generate_n(row(y, int(p)), planes_[p].shape.row_bytes,
                        [&] { return fill_value<uint8_t>(fill, random); });
      }
    }
  }
}

std::vector<uint8_t> GuardedFrame::payload() const {
  std::vector<uint8_t> copy;
  for (size_t p = 0; p < planes_.size(); ++p)
    for (int32_t y = 0; y < planes_[p].shape.rows; ++y)
      copy.insert(copy.end(), row(y, int(p)), row(y, int(p)) + planes_[p].shape.row_bytes);
  return copy;
}

void GuardedFrame::set_payload(const std::vector<uint8_t> &payload) {
  const uint8_t *next = payload.data();
  for (size_t p = 0; p < planes_.size(); ++p)
    for (int32_t y = 0; y < planes_[p].shape.rows; ++y, next += planes_[p].shape.row_bytes)
      std::copy_n(next, planes_[p].shape.row_bytes, row(y, int(p)));
}

bool GuardedFrame::intact() const {
  return std::ranges::all_of(planes_, [](const Plane &plane) {
    if (const auto *rows = std::get_if<GuardedRows>(&plane.memory)) return rows->intact();
    const auto &bytes = std::get<GuardedBytes>(plane.memory);
    const size_t stride = size_t(std::abs(plane.linesize)), row = size_t(plane.shape.row_bytes);
    size_t gap = 0;  // where the bytes after a row start, in the order of addresses
    for (int32_t y = 0; y < plane.shape.rows; ++y) {
      if (!bytes.intact(gap, size_t(y) * stride)) return false;
      gap = size_t(y) * stride + row;
    }
    return bytes.intact() && bytes.intact(gap, bytes.size());
  });
}

}  // namespace tavix::test
