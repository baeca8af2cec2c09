// SPDX-License-Identifier: Apache-2.0
#include "video/frame_selection.h"

#include <algorithm>
#include <cmath>

namespace tavix::tool {

// Far from the start it is faster to seek than to decode what is left out.
void FrameSelection::begin() {
  constexpr double kFar = 2;  // seconds
  const AVFrame *first = reader_.next();
  first_pts_ = first->pts;
  if (choice_.start < kFar) return reader_.put_back();
  // Nothing lasts longer than 30 years.
  const double start = std::min(choice_.start, 1e9) / av_q2d(reader_.time_base());
  reader_.seek(first_pts_ + int64_t(start));
}

const AVFrame *FrameSelection::next() {
  if (first_pts_ == AV_NOPTS_VALUE) begin();
  for (const AVFrame *picture; (picture = reader_.next()) != nullptr;) {
    const double seconds = double(picture->pts - first_pts_) * av_q2d(reader_.time_base());
    if (seconds >= choice_.end) break;
    if (seconds >= choice_.start && takes(seconds)) return picture;
  }
  return nullptr;
}

bool FrameSelection::takes(double seconds) {
  if (choice_.rate <= 0) return inside_++ % choice_.every == 0;
  // The first frame at or after each tick; times are rounded to the stream's time base.
  const double tick = 1 / choice_.rate, late = seconds - choice_.start + 1e-6;
  const double slack = av_q2d(reader_.time_base());
  if (late + slack < due_) return false;
  due_ = (std::floor((late + slack) / tick) + 1) * tick;
  return true;
}

int64_t FrameSelection::expected_pictures() const {
  const double rate = av_q2d(reader_.frame_rate());
  const double all = double(reader_.expected_pictures()) / rate;  // seconds
  const double seconds = std::max(0.0, std::min(all, choice_.end) - choice_.start);
  const double taken =
      choice_.rate > 0 ? std::min(choice_.rate, rate) : rate / double(choice_.every);
  return int64_t(std::ceil(seconds * taken));
}

}  // namespace tavix::tool
