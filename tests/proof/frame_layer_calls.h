// SPDX-License-Identifier: Apache-2.0
// Uses of tavix/frame.hpp, each whole: whatever an owner holds is freed when the call is over.
#pragma once

#include <vector>

#include "calls.h"

namespace tavix::proof {

std::vector<Subject> frame_layer_subjects();

}  // namespace tavix::proof
