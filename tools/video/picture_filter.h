// SPDX-License-Identifier: Apache-2.0
// FFmpeg's own conversion, for the pictures of a file that the library does not take.
#pragma once

#include <memory>
#include <optional>

#include "video/ffmpeg.h"

struct AVFilterContext;
struct AVFilterGraph;

namespace tavix::tool {

class PictureFilter {
 public:
  // Fills the pixels of dst, a packed picture, from src, converted and scaled from one pixel format
  // and size to the other.
  void convert(const AVFrame &src, AVFrame &dst);

 private:
  struct Job {
    int src_format, src_width, src_height, color_space, color_range;
    int dst_format, dst_width, dst_height;
    bool operator==(const Job &) const = default;
  };
  struct FreeGraph {
    void operator()(AVFilterGraph *graph) const;
  };

  void prepare(const Job &job);

  std::optional<Job> job_;  // what graph_ is made for
  std::unique_ptr<AVFilterGraph, FreeGraph> graph_;
  AVFilterContext *source_ = nullptr, *sink_ = nullptr;  // of graph_
  PicturePtr result_ = make_picture();
};

}  // namespace tavix::tool
