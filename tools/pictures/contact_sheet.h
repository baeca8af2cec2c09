// SPDX-License-Identifier: Apache-2.0
// A picture of a video at a glance: one column for each of a few instants spread evenly over it,
// one row for each kind of picture, with labels.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <opencv2/core/mat.hpp>
#include <string>
#include <vector>

#include "files/output_file.h"
#include "tavix/core/records.h"

namespace tavix::tool {

class ContactSheet {
 public:
  // Dark pictures of a row are scaled together, so that the brightest parts of the row are white.
  struct Row {
    std::string label;
    bool scaled = false;
  };

  explicit ContactSheet(std::vector<Row> rows, size_t columns = 5);

  // Offers the pictures of the next instant, one BGR24 frame for each row. How many instants there
  // will be need not be known: a bounded number of small copies is kept.
  void offer(const std::string &label, std::initializer_list<const TavixFrameV2 *> pictures);

  // A PNG file, ready to be published.
  void write(const OutputFile &file) const;

 private:
  struct Column {
    std::string label;
    std::vector<cv::Mat> pictures;
  };

  // Those in the middles of equal parts.
  std::vector<const Column *> shown() const;
  cv::Mat draw() const;

  std::vector<Row> rows_;
  size_t columns_;
  int64_t offered_ = 0;
  int64_t step_ = 1;  // every step_th instant is kept
  std::vector<Column> kept_;
};

}  // namespace tavix::tool
