// SPDX-License-Identifier: Apache-2.0
// A file that appears whole or not at all: it is written under a name beside its target and takes
// the target's place when it is published. One that is never published leaves nothing behind.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>

namespace tavix::tool {

class OutputFile {
 public:
  explicit OutputFile(std::filesystem::path target);
  ~OutputFile();
  OutputFile(const OutputFile &) = delete;
  OutputFile &operator=(const OutputFile &) = delete;

  const std::filesystem::path &target() const { return target_; }

  // Where to write until then; has the target's extension.
  const std::filesystem::path &partial() const { return partial_; }

  // Writes the whole content.
  void write(std::span<const uint8_t> content) const;

  void publish();

 private:
  std::filesystem::path target_, partial_;
};

}  // namespace tavix::tool
