// SPDX-License-Identifier: Apache-2.0
#include "common/contact_sheet.h"

#include <algorithm>

#include "common/labelled_picture.h"

namespace tavix::examples {

namespace {

constexpr int kCell = 320;    // longer side of a picture, pixels
constexpr int kGap = 8;       // around pictures
constexpr int kHeading = 36;  // above the first row
constexpr int kMargin = 130;  // left of the first column
constexpr int kLabel = 200;   // a column's least width

}  // namespace

ContactSheet::ContactSheet(std::vector<std::string> row_labels, size_t columns)
    : row_labels_(std::move(row_labels)), columns_(columns) {}

void ContactSheet::offer(const std::string &label,
                         std::initializer_list<const TavixFrameV2 *> pictures) {
  if (offered_++ % step_ != 0) return;
  Column column = {label, {}};
  for (const TavixFrameV2 *picture : pictures)
    column.pictures.push_back(thumbnail(*picture, kCell));
  kept_.push_back(std::move(column));

  // Too many to keep: every second one goes, and half as many come from now on.
  if (kept_.size() < 8 * columns_) return;
  for (size_t i = 1; 2 * i < kept_.size(); ++i) kept_[i] = std::move(kept_[2 * i]);
  kept_.resize((kept_.size() + 1) / 2);
  step_ *= 2;
}

cv::Mat ContactSheet::draw() const {
  const size_t columns = std::min(columns_, kept_.size());
  const cv::Size cell = kept_.front().pictures.front().size();
  const int across = std::max(cell.width, kLabel) + kGap, down = cell.height + kGap;
  cv::Mat sheet =
      make_paper(kHeading + int(row_labels_.size()) * down, kMargin + int(columns) * across);
  for (size_t r = 0; r < row_labels_.size(); ++r) {
    put_label(sheet, row_labels_[r], {kGap, kHeading + int(r) * down + cell.height / 2});
  }
  for (size_t c = 0; c < columns; ++c) {
    // The middle of the c-th of equal parts.
    const Column &column = kept_[(2 * c + 1) * kept_.size() / (2 * columns)];
    const int x = kMargin + int(c) * across;
    put_label(sheet, column.label, {x, kHeading - 12});
    for (size_t r = 0; r < row_labels_.size(); ++r) {
      column.pictures[r].copyTo(sheet(cv::Rect({x, kHeading + int(r) * down}, cell)));
    }
  }
  return sheet;
}

void ContactSheet::write(const OutputFile &file) const {
  write_png(draw(), file);
}

}  // namespace tavix::examples
