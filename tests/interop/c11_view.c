/* SPDX-License-Identifier: Apache-2.0 */
/* The bridge to FFmpeg as C11 sees it. */
#include "tavix/interop/ffmpeg.h"

const char *c11_view_of(const AVFrame *picture, TavixFrameV2 *view) {
  return TavixViewOfAVFrame(picture, view);
}

const char *c11_view_as(const TavixFrameV2 *frame, AVFrame *picture) {
  return TavixViewAsAVFrame(frame, picture);
}
