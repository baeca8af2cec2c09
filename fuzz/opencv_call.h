// SPDX-License-Identifier: Apache-2.0
// Operations that OpenCV carries out: the reference is OpenCV's own function on a copy of the
// frame, and where it raises, the operation must not succeed.
#pragma once

#include <functional>
#include <opencv2/core.hpp>
#include <optional>

#include "oracle.h"
#include "records.h"
#include "support/opencv_reference.h"

namespace tavix::fuzz {

// What a function of OpenCV makes of copies; nothing when it raises.
std::optional<cv::Mat> opencv_result(const std::function<void(cv::Mat &result)> &run);

// Bit for bit, but any NaN is any other.
[[nodiscard]] ::testing::AssertionResult same_as(const cv::Mat &expected,
                                                 const TavixFrameV2 &actual);

// Whether OpenCV takes the strides as they are.
bool has_opencv_strides(const FrameRecord &frame);

// The shape of a destination for src: mostly the one given, else one with pixels as large at least,
// because the destination is looked at with the source's format.
test::FrameShape any_destination(Choices &c, const test::FrameShape &usual);

// A call that writes dst where the result fits it and leaves it alone where it does not.
// plain: nothing is wrong with records and parameters, so that OpenCV alone decides.
void check_opencv(Call call, FrameRecord &dst, bool plain,
                  const std::function<void(cv::Mat &result)> &reference,
                  std::span<const Path> paths);

// Codes of the interfaces; every other one means 0.
int interpolation_of(int32_t code);
int border_of(int32_t code);

}  // namespace tavix::fuzz
