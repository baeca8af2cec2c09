// SPDX-License-Identifier: Apache-2.0
// The files that a sub-command leaves: published together at its end, and told in its result.
#pragma once

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "files/output_file.h"
#include "program/command.h"

namespace tavix::tool {

class Outputs {
 public:
  // Files under the words that name them.
  Outputs(std::initializer_list<std::pair<const char *, OutputFile *>> files) : files_(files) {}

  void publish();

  std::string text() const;
  Json json() const;

 private:
  std::vector<std::pair<const char *, OutputFile *>> files_;
};

}  // namespace tavix::tool
