// SPDX-License-Identifier: Apache-2.0
// Those frames of a video that the user wants.
#pragma once

#include <limits>

#include "video/video_reader.h"

namespace tavix::tool {

class FrameSelection {
 public:
  struct Choice {
    int64_t every = 1;
    double rate = 0;                                                  // frames a second; 0: all
    double start = 0, end = std::numeric_limits<double>::infinity();  // seconds
  };

  FrameSelection(VideoReader &reader, const Choice &choice) : reader_(reader), choice_(choice) {}

  // As VideoReader::next().
  const AVFrame *next();

  // How many there will be, as far as the file says; else 0.
  int64_t expected_pictures() const;

 private:
  void begin();
  bool takes(double seconds);

  VideoReader &reader_;
  Choice choice_;
  int64_t first_pts_ = AV_NOPTS_VALUE;
  int64_t inside_ = 0;  // frames between start and end so far
  double due_ = 0;      // the time of the next frame, where they are taken by time
};

}  // namespace tavix::tool
