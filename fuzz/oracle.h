// SPDX-License-Identifier: Apache-2.0
// What every call must keep, whatever its records: its status is known, and so is each line that it
// logs; it writes nothing but the rows of its destinations, and nothing at all when it refuses;
// each level of processor and each number of workers gives the same; and results are the
// reference's.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "records.h"
#include "support/seams.h"

namespace tavix::fuzz {

using test::Path;

struct Call {
  std::string function;  // as exported
  std::function<int32_t()> run;
  std::vector<Record *> sources = {}, destinations = {};

  // After TAVIX_OK: expects the reference's results. May be empty.
  std::function<void(const Path &)> expect_result = {};
  // The bytes of frames and arrays that the call made, which it frees, and of what else it changed.
  // May be empty.
  std::function<std::vector<uint8_t>()> take_made = {};

  // Nothing is wrong with the records: refusals are.
  bool must_succeed = false;
  // OpenCV's exceptions leave the call.
  bool may_throw = false;
  // Workers decide on the order of additions, which shows in the last bits.
  bool same_bits = true;
};

// Runs the call once on each path, always on the same records, and expects what is above.
void check(const Call &call, std::span<const Path> paths);

// What tests of the oracle put after each call: a fault that it must find, with the status at hand.
using Fault = std::function<void(const Call &, int32_t &status)>;
extern Fault planted_fault;

// What the calls so far have reached.
struct Reached {
  std::map<std::string, int64_t> succeeded, refused;  // calls by function
  std::set<const void *> lines;                       // rows of documented_lines()
};
const Reached &reached();

}  // namespace tavix::fuzz
