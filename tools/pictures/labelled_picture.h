// SPDX-License-Identifier: Apache-2.0
// What sheets of pictures are drawn with: paper, thumbnails, labels, PNG files.
#pragma once

#include <opencv2/core/mat.hpp>
#include <string>

#include "files/output_file.h"
#include "tavix/core/records.h"

namespace tavix::tool {

// Empty paper of so many pixels.
cv::Mat make_paper(int height, int width);

// A BGR24 frame whose longer side has so many pixels.
cv::Mat thumbnail(const TavixFrameV2 &frame, int longer_side);

void put_label(cv::Mat &sheet, const std::string &text, cv::Point baseline);

// A PNG file, ready to be published.
void write_png(const cv::Mat &sheet, const OutputFile &file);

}  // namespace tavix::tool
