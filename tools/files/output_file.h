// SPDX-License-Identifier: Apache-2.0
// A file that appears whole or not at all: it is written under a name beside its target and takes
// the target's place when it is published. One that is never published leaves nothing behind. A
// target that is a link stays one: the file that it leads to is replaced. Devices and pipes cannot
// be replaced, and are refused.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <stdexcept>
#include <system_error>

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

  // "cannot write 'target'", with the reason if the system gave one.
  std::runtime_error failure(std::error_code reason) const;

  // The same after a call that left its reason in errno.
  std::runtime_error failure() const;

 private:
  std::filesystem::path target_, place_, partial_;  // place_: the target behind links
};

}  // namespace tavix::tool
