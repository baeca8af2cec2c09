// SPDX-License-Identifier: Apache-2.0
#include <bit>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "aligned_block.h"
#include "log.h"
#include "plane_layout.h"
#include "tavix/core/services.h"

namespace {

using namespace tavix::core;

// A frame of this core: the record callers see comes first, so that its address is the block's.
struct OwnedFrame {
  explicit OwnedFrame(size_t plane_bytes) noexcept : planes(plane_bytes) {}

  TavixFrameV2 record = {};
  AlignedBlock planes;
};

constexpr int64_t round_up(int64_t value, int64_t multiple) {
  return (value + multiple - 1) / multiple * multiple;
}

// The 32-bit product of row and stride must reach every row.
constexpr int64_t kMostPlaneBytes = std::numeric_limits<int32_t>::max();

// Bytes a row may hold without reaching into the next one; strides may be negative.
int64_t stride_bytes(int32_t linesize) {
  return std::abs(int64_t(linesize));
}

// Whether the 32-bit product of row and stride reaches the last of so many rows.
bool reaches_rows(int32_t linesize, int64_t rows) {
  return stride_bytes(linesize) * (rows - 1) <= kMostPlaneBytes;
}

uint8_t *row(uint8_t *plane, int32_t linesize, int32_t y) {
  return plane + linesize * y;
}

}  // namespace

TavixFrameV2 *TavixVideoFrameAllocV2(int32_t format, uint32_t memory, int32_t width, int32_t height,
                                     uint64_t device, int32_t alignment) {
  const PlaneLayout *layout = plane_layout(format);
  if (layout == nullptr || memory != TAVIX_MEMORY_HOST || width < 1 || height < 1 ||
      alignment < 1 || !std::has_single_bit(uint32_t(alignment))) {
    CORE_LOG_ERROR("frame of format %d, memory %u, size %dx%d, row alignment %d is impossible",
                   format, memory, width, height, alignment);
    return nullptr;
  }

  int64_t offsets[std::size(layout->planes)], linesizes[std::size(layout->planes)], bytes = 0;
  for (size_t p = 0; p < std::size(layout->planes); ++p) {
    linesizes[p] = round_up(plane_row_bytes(layout->planes[p], width), alignment);
    const int64_t rows = plane_rows(layout->planes[p], height);
    if (linesizes[p] > kMostPlaneBytes / rows) {
      CORE_LOG_ERROR("frame of format %d, size %dx%d, row alignment %d is too large", format, width,
                     height, alignment);
      return nullptr;
    }
    offsets[p] = bytes;
    bytes += round_up(linesizes[p] * rows, kAlignment);
  }

  std::unique_ptr<OwnedFrame> frame(new (std::nothrow) OwnedFrame(size_t(bytes)));
  if (!frame || frame->planes.data() == nullptr) {
    CORE_LOG_ERROR("no memory for a frame of format %d, size %dx%d", format, width, height);
    return nullptr;
  }
  TavixFrameV2 &record = frame->record;
  record.memory = memory;
  record.video = {layout->channels, width, height, format, 0, 0};
  record.device = device;
  for (size_t p = 0; p < std::size(layout->planes) && layout->planes[p].pixel_bytes > 0; ++p) {
    record.data[p] = frame->planes.data() + offsets[p];
    record.linesize[p] = int32_t(linesizes[p]);
  }
  return &frame.release()->record;
}

void TavixFrameFreeV2(TavixFrameV2 *frame) {
  delete reinterpret_cast<OwnedFrame *>(frame);
}

int32_t TavixFrameCopyV2(TavixFrameV2 *dst, const TavixFrameV2 *src, uint64_t, uint64_t) {
  if (dst == nullptr || src == nullptr) {
    CORE_LOG_ERROR("dst(%p) and src(%p) must not be nullptr", static_cast<void *>(dst),
                   static_cast<const void *>(src));
    return TAVIX_ERROR_INVALID_PARAM;
  }
  if (dst->memory != TAVIX_MEMORY_HOST || src->memory != TAVIX_MEMORY_HOST) {
    CORE_LOG_ERROR("dst memory(%u) and src memory(%u) must be host memory", dst->memory,
                   src->memory);
    return TAVIX_ERROR_INVALID_PARAM;
  }
  if (dst->video.format != src->video.format || dst->video.width != src->video.width ||
      dst->video.height != src->video.height) {
    CORE_LOG_ERROR("dst(format=%d, %dx%d) and src(format=%d, %dx%d) must agree", dst->video.format,
                   dst->video.width, dst->video.height, src->video.format, src->video.width,
                   src->video.height);
    return TAVIX_ERROR_INVALID_PARAM;
  }
  const PlaneLayout *layout = plane_layout(src->video.format);
  if (layout == nullptr) {
    CORE_LOG_ERROR("frames of format %d have no planes to copy", src->video.format);
    return TAVIX_ERROR_UNSUPPORTED;
  }
  const bool has_pixels = src->video.width > 0 && src->video.height > 0;
  for (size_t p = 0; p < std::size(layout->planes) && layout->planes[p].pixel_bytes > 0; ++p) {
    if (dst->data[p] == nullptr || src->data[p] == nullptr) {
      CORE_LOG_ERROR("plane %zu of dst(%p) and src(%p) must not be nullptr", p,
                     static_cast<void *>(dst->data[p]), static_cast<void *>(src->data[p]));
      return TAVIX_ERROR_INVALID_PARAM;
    }
    const int64_t rows = plane_rows(layout->planes[p], src->video.height);
    if (has_pixels &&
        (!reaches_rows(dst->linesize[p], rows) || !reaches_rows(src->linesize[p], rows))) {
      CORE_LOG_ERROR("plane %zu of dst(linesize=%d) and src(linesize=%d) is too large for %d rows",
                     p, dst->linesize[p], src->linesize[p], int32_t(rows));
      return TAVIX_ERROR_INVALID_PARAM;
    }
  }

  for (size_t p = 0; has_pixels && p < std::size(layout->planes); ++p) {
    const Plane &plane = layout->planes[p];
    if (plane.pixel_bytes == 0) break;
    const int64_t bytes =
        std::min({plane_row_bytes(plane, src->video.width), stride_bytes(dst->linesize[p]),
                  stride_bytes(src->linesize[p])});
    for (int32_t y = 0; y < plane_rows(plane, src->video.height); ++y) {
      std::memmove(row(dst->data[p], dst->linesize[p], y), row(src->data[p], src->linesize[p], y),
                   size_t(bytes));
    }
  }
  dst->video.color_space = src->video.color_space;
  dst->video.color_range = src->video.color_range;
  dst->pts = src->pts;
  dst->dts = src->dts;
  dst->duration = src->duration;
  dst->flags = src->flags;
  return TAVIX_OK;
}
