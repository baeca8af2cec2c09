// SPDX-License-Identifier: Apache-2.0
// What the implementations of binary arithmetic share: the call as one record, and its checks.
#pragma once

#include <cstdint>

#include "tavix/core/records.h"

namespace tavix::module {

struct BinaryJob {
  const TavixFrameV2 *src1, *src2;
  TavixFrameV2 *dst;
  const double *alpha, *beta, *gamma;

  const TavixVideoInfo &video() const { return src1->video; }
};

// The implementation that checks: whom its log lines name, and whether an unsupported format gets
// one.
struct BinaryChecks {
  const char *unit, *function;
  bool tell_unsupported;

  // TAVIX_OK, or the status of the first check that fails.
  int32_t operator()(const BinaryJob &job, uint32_t op) const;
};

}  // namespace tavix::module
