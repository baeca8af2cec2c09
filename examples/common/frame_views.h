// SPDX-License-Identifier: Apache-2.0
// Frames of the core with an owner, and the same pixels seen as a frame of the core, a picture of
// FFmpeg or a matrix of OpenCV. A view copies nothing and lives no longer than what it shows.
#pragma once

#include <memory>
#include <opencv2/core/mat.hpp>

#include "common/ffmpeg.h"
#include "tavix/core.h"

namespace tavix::examples {

struct FreeFrame {
  void operator()(TavixFrameV2 *frame) const { TavixFrameFreeV2(frame); }
};
using FramePtr = std::unique_ptr<TavixFrameV2, FreeFrame>;

// A zero-filled frame with memory of its own, or std::bad_alloc.
FramePtr make_frame(int32_t format, int32_t width, int32_t height);

// Whether the core has a name for the pixel format, and for the colour space.
bool has_frame_view(const AVFrame &picture);
bool has_frame_color_space(AVColorSpace space);

// With colour space and range; a space without a name becomes 0, as one that is not specified.
// Pictures in a pixel format the core has no name for are refused with an exception.
TavixFrameV2 view_as_frame(const AVFrame &picture);

PicturePtr view_as_picture(const TavixFrameV2 &frame);

// Packed 8-bit frames only.
cv::Mat view_as_matrix(const TavixFrameV2 &frame);

}  // namespace tavix::examples
