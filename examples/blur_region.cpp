// SPDX-License-Identifier: Apache-2.0
// Blurs the middle of a picture that OpenCV holds: a region of a matrix is viewed as a frame.
// Usage: blur_region INPUT OUTPUT
#include <cstdio>
#include <opencv2/imgcodecs.hpp>

#include "tavix/interop/opencv.h"

int main(int argc, char **argv) {
  if (argc != 3) return 2;
  cv::Mat picture = cv::imread(argv[1]);
  if (picture.empty()) {
    std::fprintf(stderr, "cannot read '%s'\n", argv[1]);
    return 1;
  }
  const cv::Mat region =
      picture({picture.cols / 4, picture.rows / 4, picture.cols / 2, picture.rows / 2});

  const TavixFrameV2 source = tavix::frame_view(region);
  const tavix::Frame blurred = tavix::Frame::copy_of(source);
  tavix::call<TavixFrameBlurByCPU>(source, blurred, TavixSize{25, 25});
  tavix::mat_view(*blurred).copyTo(region);
  if (!cv::imwrite(argv[2], picture)) return 1;
  std::printf("blurred %d x %d of %d x %d pixels\n", region.cols, region.rows, picture.cols,
              picture.rows);
}
