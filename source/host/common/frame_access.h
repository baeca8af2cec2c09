// SPDX-License-Identifier: Apache-2.0
// How operations look at frames: predicates for checks, and rows.
#pragma once

#include <cstdint>

#include "common/log.h"
#include "common/row_access.h"
#include "tavix/core/records.h"

namespace tavix::module {

// Channels of a packed pixel; parameter sets have as many entries.
inline constexpr int32_t kMaxChannels = 4;

template <class... Pointer>
constexpr bool any_null(const Pointer *...pointers) {
  return ((pointers == nullptr) || ...);
}

template <class... Frame>
constexpr bool any_plane_null(const Frame *...frames) {
  return any_null(frames->data[0]...);
}

template <class... Frame>
constexpr bool all_host(const Frame *...frames) {
  return ((frames->memory == TAVIX_MEMORY_HOST) && ...);
}

constexpr bool same_shape(const TavixVideoInfo &a, const TavixVideoInfo &b) {
  return a.width == b.width && a.height == b.height && a.channels == b.channels &&
         a.format == b.format;
}

// A 32-bit product that wraps: sizes and strides of a record may be anything.
constexpr int32_t wrapping_mul(int32_t a, int32_t b) {
  return int32_t(uint32_t(a) * uint32_t(b));
}

// Elements of a packed row; 0 when the record has no pixels, or more than 32 bits can say.
constexpr int32_t row_elements(const TavixVideoInfo &video) {
  if (video.width <= 0 || video.channels <= 0) return 0;
  const int64_t elements = int64_t(video.width) * video.channels;
  return elements <= INT32_MAX ? int32_t(elements) : 0;
}

// Whether the record has no pixels at all.
constexpr bool is_empty(const TavixVideoInfo &video) {
  return video.width <= 0 || video.height <= 0 || video.channels <= 0;
}

// Refuses pixels in rows of more elements than 32 bits can count, which no loop takes.
inline int32_t check_row_elements(const LogOrigin &by, const TavixVideoInfo &video) {
  TAVIX_INVALID_AS_IF(by, !is_empty(video) && row_elements(video) == 0,
                      "width(%d) * channels(%d) must not exceed %d elements of a row", video.width,
                      video.channels, INT32_MAX);
  return TAVIX_OK;
}

// Whether a loop over the frame touches memory at all.
constexpr bool has_pixels(const TavixVideoInfo &video) {
  return row_elements(video) > 0 && video.height > 0;
}

// Whether the 32-bit product of row and stride reaches the last of so many rows.
constexpr bool reaches_rows(int32_t linesize, int32_t rows) {
  const int64_t last = int64_t(linesize) * (int64_t(rows) - 1);
  return rows <= 0 || (-INT32_MAX <= last && last <= INT32_MAX);
}

// Byte is uint8_t or const uint8_t.
template <class Byte>
inline Byte *row(Byte *plane, int32_t linesize, int32_t y) {
  return plane + wrapping_mul(linesize, y);
}

// Row y of plane 0.
inline uint8_t *row(TavixFrameV2 &frame, int32_t y) {
  return row(frame.data[0], frame.linesize[0], y);
}
inline const uint8_t *row(const TavixFrameV2 &frame, int32_t y) {
  return row<const uint8_t>(frame.data[0], frame.linesize[0], y);
}

// run(first row, elements) for the rows [start, end), each of n elements and so many bytes, in the
// widest of its frames. Rows that follow each other without gaps are one long row.
template <class Run>
void for_each_joined(int32_t start, int32_t end, int32_t n, int64_t bytes, bool gapless,
                     const Run &run) {
  const int32_t joined = gapless && bytes * end <= INT32_MAX ? end - start : 1;
  for (int32_t y = start; y < end; y += joined) run(y, n * joined);
}

// run(elements, row of each frame...) for the rows [start, end) of plane 0 of frames of one shape
// and of elements T, which have pixels. Rows without gaps in every frame are joined.
template <class T, class Run, class Frame, class... Frames>
void for_each_long_row(int32_t start, int32_t end, const Run &run, Frame &frame,
                       Frames &...frames) {
  const int32_t n = row_elements(frame.video);
  const int64_t bytes = n * int64_t(sizeof(T));
  const bool gapless = frame.linesize[0] == bytes && ((frames.linesize[0] == bytes) && ...);
  for_each_joined(start, end, n, bytes, gapless, [&](int32_t y, int32_t elements) {
    run(elements, row(frame, y), row(frames, y)...);
  });
}

// Takes a new frame back from where the caller would find it; returns status.
inline int32_t withdraw(TavixFrameV2 **frame, int32_t status) {
  TavixFrameFreeV2(*frame);
  *frame = nullptr;
  return status;
}

}  // namespace tavix::module
