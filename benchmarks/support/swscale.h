// SPDX-License-Identifier: Apache-2.0
// swscale as a peer of colour conversion: one frame to another of the same size.
#pragma once

#include <cstdlib>
#include <memory>

extern "C" {
#include <libswscale/swscale.h>
}

#include "support/harness.h"

namespace tavix::benchmarks {

inline AVPixelFormat av_pixel_format(int32_t format) {
  switch (format) {
    case TAVIX_PIX_FMT_RGB24:
      return AV_PIX_FMT_RGB24;
    case TAVIX_PIX_FMT_BGR24:
      return AV_PIX_FMT_BGR24;
    case TAVIX_PIX_FMT_GRAY8:
      return AV_PIX_FMT_GRAY8;
    case TAVIX_PIX_FMT_BGRA32:
      return AV_PIX_FMT_BGRA;
    case TAVIX_PIX_FMT_RGBA32:
      return AV_PIX_FMT_RGBA;
    case TAVIX_PIX_FMT_NV12:
      return AV_PIX_FMT_NV12;
    case TAVIX_PIX_FMT_NV21:
      return AV_PIX_FMT_NV21;
    case TAVIX_PIX_FMT_I420:
      return AV_PIX_FMT_YUV420P;
    default:
      std::abort();  // no peer for this format
  }
}

// One source, one destination, and what swscale prepares once for the pair.
struct SwscaleFrames : Frames {
  SwscaleFrames(Frame source, Frame destination)
      : Frames({std::move(source)}, std::move(destination)) {}

  // Single-threaded, as swscale is by default.
  void swscale() {
    const TavixFrameV2 &from = *src[0], &to = *dst;
    if (!context_) {
      const TavixVideoInfo &a = from.video, &b = to.video;
      context_.reset(
          sws_getContext(a.width, a.height, av_pixel_format(a.format), b.width, b.height,
                         av_pixel_format(b.format), SWS_POINT, nullptr, nullptr, nullptr),
          sws_freeContext);
    }
    sws_scale(context_.get(), from.data, from.linesize, 0, from.video.height, to.data, to.linesize);
  }

 private:
  std::shared_ptr<SwsContext> context_;
};

inline void swscale_call(SwscaleFrames &f) {
  f.swscale();
}

}  // namespace tavix::benchmarks
