// SPDX-License-Identifier: Apache-2.0
// Colour conversion between pictures: the one place of the examples that does it.
#pragma once

#include <memory>
#include <optional>

#include "common/ffmpeg.h"

struct SwsContext;

namespace tavix::examples {

class PictureConverter {
 public:
  // Fills the pixels of dst from src, converted and scaled from one pixel format, size, colour
  // space and range to the other; the time of src goes along.
  void convert(const AVFrame &src, AVFrame &dst);

 private:
  struct Side {
    int format, width, height, color_space;
    bool full_range;
    bool operator==(const Side &) const = default;
  };
  struct Job {
    Side from, to;
    bool operator==(const Job &) const = default;
  };
  struct FreeContext {
    void operator()(SwsContext *context) const;
  };

  static Side side(const AVFrame &picture);
  void prepare(const Job &job);

  std::optional<Job> job_;  // what context_ is made for
  std::unique_ptr<SwsContext, FreeContext> context_;
};

}  // namespace tavix::examples
