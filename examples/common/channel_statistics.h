// SPDX-License-Identifier: Apache-2.0
// Mean and standard deviation of each channel of many frames, frame by frame, as a CSV file.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "common/output_file.h"
#include "tavix/core/records.h"

namespace tavix::examples {

class ChannelStatistics {
 public:
  // The pictures that add() is given for each instant; their three channels are blue, green, red.
  explicit ChannelStatistics(const std::vector<std::string> &pictures);

  // One line: the time and, for each picture, the means and then the deviations of its channels.
  void add(double seconds, std::initializer_list<const TavixFrameV2 *> pictures);

  void write(const OutputFile &file) const;

 private:
  std::ostringstream csv_;
};

}  // namespace tavix::examples
