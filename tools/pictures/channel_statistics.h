// SPDX-License-Identifier: Apache-2.0
// Mean and standard deviation of each channel of many frames, frame by frame: a CSV file, and a
// plot of it that gnuplot draws.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "files/output_file.h"
#include "tavix/core/records.h"

namespace tavix::tool {

class ChannelStatistics {
 public:
  // The pictures that add() is given for each instant; their three channels are blue, green, red.
  explicit ChannelStatistics(const std::vector<std::string> &pictures);

  // One line: the time and, for each picture, the means and then the deviations of its channels.
  void add(double seconds, std::initializer_list<const TavixFrameV2 *> pictures);

  void write(const OutputFile &csv) const;

  // A PNG file with a panel for each picture.
  void plot(const std::string &title, const OutputFile &png) const;

 private:
  std::vector<std::string> pictures_;
  std::ostringstream csv_;
};

}  // namespace tavix::tool
