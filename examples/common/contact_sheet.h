// SPDX-License-Identifier: Apache-2.0
// A picture of a video at a glance: one column for each of a few instants spread evenly over it,
// one row for each kind of picture, with labels.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <opencv2/core/mat.hpp>
#include <string>
#include <vector>

#include "common/output_file.h"
#include "tavix/core/records.h"

namespace tavix::examples {

class ContactSheet {
 public:
  explicit ContactSheet(std::vector<std::string> row_labels, size_t columns = 5);

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

  cv::Mat draw() const;

  std::vector<std::string> row_labels_;
  size_t columns_;
  int64_t offered_ = 0;
  int64_t step_ = 1;  // every step_th instant is kept
  std::vector<Column> kept_;
};

}  // namespace tavix::examples
