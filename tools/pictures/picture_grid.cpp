// SPDX-License-Identifier: Apache-2.0
#include "pictures/picture_grid.h"

#include <algorithm>

#include "pictures/labelled_picture.h"

namespace tavix::tool {

namespace {
constexpr int kCell = 320;  // longer side of a picture, pixels
constexpr int kGap = 8;     // around pictures
constexpr int kLabel = 28;  // above each picture
}  // namespace

void PictureGrid::add(const std::string &label, const TavixFrameV2 &frame) {
  cells_.push_back({label, thumbnail(frame, kCell)});
}

void PictureGrid::write(const OutputFile &file) const {
  int tallest = 0;
  for (const Cell &cell : cells_) tallest = std::max(tallest, cell.picture.rows);
  const int across = kCell + kGap, down = kLabel + tallest + kGap;
  const int rows = (int(cells_.size()) + columns_ - 1) / columns_;
  cv::Mat sheet = make_paper(rows * down + kGap, columns_ * across + kGap);
  for (int i = 0; i < int(cells_.size()); ++i) {
    const Cell &cell = cells_[size_t(i)];
    const int x = kGap + i % columns_ * across, y = i / columns_ * down + kLabel;
    put_label(sheet, cell.label, {x, y - kGap});
    cell.picture.copyTo(sheet(cv::Rect({x, y}, cell.picture.size())));
  }
  write_png(sheet, file);
}

}  // namespace tavix::tool
