// SPDX-License-Identifier: Apache-2.0
#include "common/picture_converter.h"

extern "C" {
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}
#include <fmt/format.h>

#include <stdexcept>

namespace tavix::examples {

void PictureConverter::FreeContext::operator()(SwsContext *context) const {
  sws_freeContext(context);
}

PictureConverter::Side PictureConverter::side(const AVFrame &picture) {
  return {picture.format, picture.width, picture.height, picture.colorspace,
          picture.color_range == AVCOL_RANGE_JPEG};
}

void PictureConverter::prepare(const Job &job) {
  const auto &[from, to] = job;
  context_.reset(sws_getContext(from.width, from.height, AVPixelFormat(from.format), to.width,
                                to.height, AVPixelFormat(to.format), SWS_BILINEAR, nullptr, nullptr,
                                nullptr));
  if (!context_) {
    const char *name = av_get_pix_fmt_name(AVPixelFormat(from.format));
    throw std::runtime_error(fmt::format("pictures of {} x {} in pixel format {} are not supported",
                                         from.width, from.height, name ? name : "(unknown)"));
  }
  // Brightness, contrast and saturation stay as they are; the last two are 16.16 fixed point.
  constexpr int kNoChange = 1 << 16;
  sws_setColorspaceDetails(context_.get(), sws_getCoefficients(from.color_space), from.full_range,
                           sws_getCoefficients(to.color_space), to.full_range, 0, kNoChange,
                           kNoChange);
  job_ = job;
}

void PictureConverter::convert(const AVFrame &src, AVFrame &dst) {
  if (const Job job = {side(src), side(dst)}; job_ != job) prepare(job);
  checked(sws_scale(context_.get(), src.data, src.linesize, 0, src.height, dst.data, dst.linesize),
          "cannot convert a picture");
  dst.pts = src.pts;
  dst.pkt_dts = src.pkt_dts;
  duration_of(dst) = duration_of(src);
}

}  // namespace tavix::examples
