// SPDX-License-Identifier: Apache-2.0
#include "pictures/labelled_picture.h"

#include <algorithm>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "tavix/interop/opencv.h"

namespace tavix::tool {

namespace {
const cv::Scalar kPaper(250, 250, 250), kInk(40, 40, 40);
}

cv::Mat make_paper(int height, int width) {
  return cv::Mat(height, width, CV_8UC3, kPaper);
}

cv::Mat thumbnail(const TavixFrameV2 &frame, int longer_side) {
  const cv::Mat picture = mat_view(frame);
  const double scale = double(longer_side) / std::max(picture.cols, picture.rows);
  const cv::Size size(std::max(1, cvRound(picture.cols * scale)),
                      std::max(1, cvRound(picture.rows * scale)));
  cv::Mat small;
  cv::resize(picture, small, size, 0, 0, scale < 1 ? cv::INTER_AREA : cv::INTER_NEAREST);
  return small;
}

void put_label(cv::Mat &sheet, const std::string &text, cv::Point baseline) {
  cv::putText(sheet, text, baseline, cv::FONT_HERSHEY_SIMPLEX, 0.55, kInk, 1, cv::LINE_AA);
}

void write_png(const cv::Mat &sheet, const OutputFile &file) {
  std::vector<uint8_t> png;
  cv::imencode(".png", sheet, png);
  file.write(png);
}

}  // namespace tavix::tool
