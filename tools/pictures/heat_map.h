// SPDX-License-Identifier: Apache-2.0
// A map of differences as colours, with its scale.
#pragma once

#include <opencv2/core/mat.hpp>

#include "files/output_file.h"

namespace tavix::tool {

// A PNG file of a picture of bytes: from black, 0, to white, the largest value there is.
void write_heat_map(const cv::Mat &values, const OutputFile &file);

}  // namespace tavix::tool
