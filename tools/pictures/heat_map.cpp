// SPDX-License-Identifier: Apache-2.0
#include "pictures/heat_map.h"

#include <fmt/format.h>

#include <algorithm>
#include <opencv2/imgproc.hpp>

#include "pictures/labelled_picture.h"

namespace tavix::tool {

namespace {

constexpr int kGap = 12, kHeading = 36, kScale = 24, kNumbers = 60;  // pixels
constexpr int kLeast = 240;  // a smaller map is enlarged, pixel by pixel

cv::Mat colours(const cv::Mat &bytes) {
  cv::Mat shown;
  cv::applyColorMap(bytes, shown, cv::COLORMAP_INFERNO);
  return shown;
}

}  // namespace

void write_heat_map(const cv::Mat &values, const OutputFile &file) {
  double largest = 0;
  cv::minMaxLoc(values, nullptr, &largest);
  cv::Mat stretched;
  values.convertTo(stretched, CV_8U, largest > 0 ? 255 / largest : 0);
  const int enlarged =
      (kLeast + std::min(values.rows, values.cols) - 1) / std::min(values.rows, values.cols);
  cv::resize(stretched, stretched, {}, std::max(1, enlarged), std::max(1, enlarged),
             cv::INTER_NEAREST);

  const cv::Rect map({kGap, kHeading}, stretched.size());
  const cv::Rect scale(map.br().x + kGap, kHeading, kScale, map.height);
  cv::Mat sheet = make_paper(map.br().y + kGap, scale.br().x + kNumbers);
  put_label(sheet, "largest difference of a channel", {kGap, kHeading - kGap});
  colours(stretched).copyTo(sheet(map));
  cv::Mat ramp(scale.height, scale.width, CV_8U);
  for (int y = 0; y < ramp.rows; ++y) {
    const int level = 255 - 255 * y / std::max(1, ramp.rows - 1);
    ramp.row(y) = level;
  }
  colours(ramp).copyTo(sheet(scale));
  put_label(sheet, fmt::format("{:.0f}", largest), {scale.br().x + 4, scale.y + 14});
  put_label(sheet, "0", {scale.br().x + 4, scale.br().y});
  write_png(sheet, file);
}

}  // namespace tavix::tool
