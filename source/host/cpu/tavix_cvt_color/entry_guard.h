// SPDX-License-Identifier: Apache-2.0
// The guard of every entry: it stands after the checks an entry has of its own and refuses frames
// that would have the conversion touch memory they do not have. What a conversion does not touch is
// not looked at.
#pragma once

#include "common/frame_access.h"
#include "common/log.h"

namespace tavix::module {

// What a conversion touches of the two frames, in rows from the first one on. Its numbers are wide
// because gcc 12 returns 12 bytes in registers that it loads from stores just made, and small calls
// wait for those.
struct Reach {
  int64_t rows;               // of plane 0; none: the conversion does nothing
  int64_t chroma_rows;        // of the planes behind it
  bool dst_channels = false;  // the destination's channel count is read, also if it is 0
};
using ReachOf = Reach(const TavixFrameV2 &src, const TavixFrameV2 &dst);

// TAVIX_OK, or one line is logged under the entry's name.
int32_t refuse_unusable(const LogOrigin &by, const TavixFrameV2 *src, const TavixFrameV2 *dst,
                        ReachOf *reach_of);

// The distance of two pixels in elements: 1 for grey, for colour the frame's channels. A
// destination that says 0 has as many as its format.
int32_t pixel_step(const TavixVideoInfo &video);

// Bytes of so many rows that are copied or filled as one span, padding included.
constexpr int64_t span_of(int32_t linesize, int32_t rows) {
  return rows > 0 ? int64_t(linesize) * rows : 0;
}

// A span that is no size: upside-down rows, or more than 32 bits hold.
constexpr bool impossible_span(int64_t bytes) {
  return bytes < 0 || bytes > INT32_MAX;
}

}  // namespace tavix::module
