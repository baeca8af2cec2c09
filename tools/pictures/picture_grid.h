// SPDX-License-Identifier: Apache-2.0
// Labelled pictures side by side, in rows of a few.
#pragma once

#include <opencv2/core/mat.hpp>
#include <string>
#include <vector>

#include "files/output_file.h"
#include "tavix/core/records.h"

namespace tavix::tool {

class PictureGrid {
 public:
  explicit PictureGrid(int columns = 6) : columns_(columns) {}

  // A BGR24 frame of any size; a small copy is kept.
  void add(const std::string &label, const TavixFrameV2 &frame);

  // A PNG file, ready to be published.
  void write(const OutputFile &file) const;

 private:
  struct Cell {
    std::string label;
    cv::Mat picture;
  };

  int columns_;
  std::vector<Cell> cells_;
};

}  // namespace tavix::tool
