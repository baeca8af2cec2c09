// SPDX-License-Identifier: Apache-2.0
#include "pictures/contact_sheet.h"

#include <fmt/format.h>

#include <algorithm>
#include <opencv2/core.hpp>

#include "pictures/labelled_picture.h"

namespace tavix::tool {

namespace {

constexpr int kCell = 320;    // longer side of a picture, pixels
constexpr int kGap = 8;       // around pictures
constexpr int kHeading = 36;  // above the first row
constexpr int kMargin = 130;  // left of the first column
constexpr int kLabel = 200;   // a column's least width

// The level that one sample in 200 of the pictures exceeds, at least 1.
double bright_level(const std::vector<cv::Mat> &pictures) {
  std::vector<uint8_t> samples;
  for (const cv::Mat &picture : pictures) {
    const cv::Mat row = picture.reshape(1, 1);
    samples.insert(samples.end(), row.begin<uint8_t>(), row.end<uint8_t>());
  }
  const auto bright = samples.begin() + std::ptrdiff_t(samples.size() - samples.size() / 200 - 1);
  std::nth_element(samples.begin(), bright, samples.end());
  return std::max<int>(*bright, 1);
}

}  // namespace

ContactSheet::ContactSheet(std::vector<Row> rows, size_t columns)
    : rows_(std::move(rows)), columns_(columns) {}

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

std::vector<const ContactSheet::Column *> ContactSheet::shown() const {
  const size_t columns = std::min(columns_, kept_.size());
  std::vector<const Column *> shown;
  for (size_t c = 0; c < columns; ++c)
    shown.push_back(&kept_[(2 * c + 1) * kept_.size() / (2 * columns)]);
  return shown;
}

cv::Mat ContactSheet::draw() const {
  const std::vector<const Column *> columns = shown();
  const cv::Size cell = kept_.front().pictures.front().size();
  const int across = std::max(cell.width, kLabel) + kGap, down = cell.height + kGap;
  cv::Mat sheet =
      make_paper(kHeading + int(rows_.size()) * down, kMargin + int(columns.size()) * across);
  for (size_t c = 0; c < columns.size(); ++c)
    put_label(sheet, columns[c]->label, {kMargin + int(c) * across, kHeading - 12});
  for (size_t r = 0; r < rows_.size(); ++r) {
    std::vector<cv::Mat> pictures;
    pictures.reserve(columns.size());
    for (const Column *column : columns) pictures.push_back(column->pictures[r]);
    const double scale = rows_[r].scaled ? 255 / bright_level(pictures) : 1;
    const int y = kHeading + int(r) * down;
    put_label(sheet, rows_[r].label, {kGap, y + cell.height / 2});
    if (rows_[r].scaled) {
      put_label(sheet, fmt::format("x {:.1f}", scale), {kGap, y + cell.height / 2 + 24});
    }
    for (size_t c = 0; c < columns.size(); ++c) {
      cv::Mat place = sheet(cv::Rect({kMargin + int(c) * across, y}, cell));
      pictures[c].convertTo(place, CV_8U, scale);
    }
  }
  return sheet;
}

void ContactSheet::write(const OutputFile &file) const {
  write_png(draw(), file);
}

}  // namespace tavix::tool
