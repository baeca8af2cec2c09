// SPDX-License-Identifier: Apache-2.0
#include "support/frame.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "common/pixel_format.h"

namespace tavix::benchmarks {

Frame::Frame(int32_t format, const Size &size)
    : frame_(TavixVideoFrameAllocV2(format, TAVIX_MEMORY_HOST, size.width, size.height, 0, 1),
             TavixFrameFreeV2) {
  if (!frame_) throw std::runtime_error("no frame to measure with");
}

std::vector<Samples> Frame::planes() const {
  std::vector<Samples> planes;
  for (int32_t p = 0; p < TAVIX_FRAME_MAX_PLANES && frame_->data[p] != nullptr; ++p) {
    const int32_t rows = p == 0 ? frame_->video.height : (frame_->video.height + 1) / 2;
    const int64_t bytes = int64_t(frame_->linesize[p]) * rows;
    if (module::is_float(frame_->video.format)) {
      planes.emplace_back(reinterpret_cast<float *>(frame_->data[p]),
                          bytes / int64_t(sizeof(float)));
    } else {
      planes.emplace_back(frame_->data[p], bytes);
    }
  }
  return planes;
}

cv::Mat Frame::mat() const {
  const TavixVideoInfo &video = frame_->video;
  const int depth = module::is_float(video.format) ? CV_32F : CV_8U;
  return cv::Mat(video.height, video.width, CV_MAKETYPE(depth, video.channels), frame_->data[0],
                 size_t(frame_->linesize[0]));
}

void fill_noise(const Samples &samples, uint64_t seed, FloatRange range) {
  // splitmix64
  const auto next = [&seed] {
    uint64_t z = seed += 0x9E3779B97F4A7C15;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    return z ^ (z >> 31);
  };
  if (samples.is_float()) {
    auto *values = reinterpret_cast<float *>(samples.data());
    for (int64_t i = 0; i < samples.count(); ++i)
      values[i] = range.low + (range.high - range.low) * (float(next() >> 40) * 0x1p-24f);
  } else {
    for (int64_t i = 0; i < samples.bytes(); i += 8) {
      const uint64_t word = next();
      std::memcpy(samples.data() + i, &word, size_t(std::min<int64_t>(8, samples.bytes() - i)));
    }
  }
}

Frame noise(int32_t format, const Size &size, uint64_t seed, FloatRange range) {
  Frame frame(format, size);
  for (const Samples &plane : frame.planes()) fill_noise(plane, seed++, range);
  return frame;
}

}  // namespace tavix::benchmarks
