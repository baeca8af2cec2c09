// SPDX-License-Identifier: Apache-2.0
// From a frame to one statistic of each of its channels.
#pragma once

#include <array>
#include <cstdint>

#include "common/frame_access.h"
#include "tavix/core/records.h"

namespace tavix::module {

inline constexpr int kStatOps = 5;

using ChannelResults = std::array<double, kMaxChannels>;

// Statistic op, below kStatOps, of a frame that has passed the checks; 0 beyond its channels.
ChannelResults statistic_of(const TavixFrameV2 &src, int32_t op);

}  // namespace tavix::module
