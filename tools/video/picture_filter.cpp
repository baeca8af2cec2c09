// SPDX-License-Identifier: Apache-2.0
#include "video/picture_filter.h"

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/pixdesc.h>
}
#include <fmt/format.h>

#include <new>
#include <stdexcept>

namespace tavix::tool {

namespace {

const char *format_name(int format) {
  const char *name = av_get_pix_fmt_name(AVPixelFormat(format));
  return name ? name : "(unknown)";
}

}  // namespace

void PictureFilter::FreeGraph::operator()(AVFilterGraph *graph) const {
  avfilter_graph_free(&graph);
}

void PictureFilter::prepare(const Job &job) {
  job_.reset();
  graph_.reset(avfilter_graph_alloc());
  if (!graph_) throw std::bad_alloc();
  // Each picture goes in and out by itself, so that its time does not matter.
  const std::string chain = fmt::format(
      "buffer@in=video_size={}x{}:pix_fmt={}:time_base=1/1,scale={}:{}:flags=bilinear,"
      "format={},buffersink@out",
      job.src_width, job.src_height, format_name(job.src_format), job.dst_width, job.dst_height,
      format_name(job.dst_format));
  AVFilterInOut *inputs = nullptr, *outputs = nullptr;
  int status = avfilter_graph_parse2(graph_.get(), chain.c_str(), &inputs, &outputs);
  avfilter_inout_free(&inputs);
  avfilter_inout_free(&outputs);
  if (status >= 0) status = avfilter_graph_config(graph_.get(), nullptr);
  if (status == AVERROR(ENOMEM)) throw std::bad_alloc();
  if (status < 0) {
    throw std::runtime_error(fmt::format("pictures of {} x {} in pixel format {} are not supported",
                                         job.src_width, job.src_height,
                                         format_name(job.src_format)));
  }
  source_ = avfilter_graph_get_filter(graph_.get(), "buffer@in");
  sink_ = avfilter_graph_get_filter(graph_.get(), "buffersink@out");
  job_ = job;
}

void PictureFilter::convert(const AVFrame &src, AVFrame &dst) {
  const Job job = {src.format,      src.width,  src.height, src.colorspace,
                   src.color_range, dst.format, dst.width,  dst.height};
  if (job_ != job) prepare(job);
  constexpr const char *kFailure = "cannot convert a picture";
  checked(av_buffersrc_add_frame_flags(source_, const_cast<AVFrame *>(&src),
                                       AV_BUFFERSRC_FLAG_KEEP_REF),
          kFailure);
  checked(av_buffersink_get_frame(sink_, result_.get()), kFailure);
  // A picture that needs no conversion comes out with the memory it went in with.
  const int copied = av_frame_copy(&dst, result_.get());
  av_frame_unref(result_.get());
  checked(copied, kFailure);
}

}  // namespace tavix::tool
