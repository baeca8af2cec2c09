// SPDX-License-Identifier: Apache-2.0
// The checks that both directions between frames and blobs make of a call whose records are there.
#pragma once

#include <cstdint>

#include "tavix_blob_set_cpu/tensor_region.h"

namespace tavix::module {

// How a direction words its lines, and what it answers.
struct TensorDirection {
  const char *frame, *blob;    // "src" or "dst"
  int32_t difference_level;    // of the line about a frame larger than the blob
  const char *convert_floats;  // the name of the conversion of float frames
  int32_t beyond_memory;       // status of a blob that exceeds memory
};

// Finds the blob's elements; null for those of an empty blob whose type no converter knows.
int32_t check_tensor(const TensorDirection &direction, const char *function,
                     const TavixFrameV2 &frame, const TensorShape &shape, uint32_t data_type,
                     const TensorRows &rows, const BlobElement *&element);

}  // namespace tavix::module
