// SPDX-License-Identifier: Apache-2.0
// The stream limit: how fast this machine moves the bytes of an operation when nothing is computed.
#pragma once

#include "support/samples.h"

namespace tavix::benchmarks {

inline constexpr size_t kMaxStreams = 4;  // inputs, and outputs

// Reads every byte of the inputs and writes every byte of the outputs, all streams side by side.
// Returns something that depends on all that was read. Without outputs it is the read limit. At
// least one stream, at most kMaxStreams of each kind.
int stream_avx2(const Samples *inputs, size_t input_count, const Samples *outputs,
                size_t output_count);

}  // namespace tavix::benchmarks
