// SPDX-License-Identifier: Apache-2.0
#include "program/outputs.h"

#include <fmt/format.h>

namespace tavix::tool {

void Outputs::publish() {
  check_interrupted();
  for (const auto &[name, file] : files_) file->publish();
}

std::string Outputs::text() const {
  std::string text;
  for (const auto &[name, file] : files_)
    text += fmt::format("{:<15}{}\n", name, file->target().string());
  return text;
}

Json Outputs::json() const {
  Json paths = Json::object();
  for (const auto &[name, file] : files_) paths[name] = file->target().string();
  return paths;
}

}  // namespace tavix::tool
