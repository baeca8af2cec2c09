// SPDX-License-Identifier: Apache-2.0
#include "files/output_file.h"

#include <fmt/format.h>

#include <fstream>
#include <stdexcept>
#include <system_error>

namespace tavix::tool {

OutputFile::OutputFile(std::filesystem::path target)
    : target_(std::move(target)),
      partial_(target_.parent_path() / (".partial-" + target_.filename().string())) {}

OutputFile::~OutputFile() {
  std::error_code ignored;
  std::filesystem::remove(partial_, ignored);
}

void OutputFile::write(std::span<const uint8_t> content) const {
  std::ofstream out(partial_, std::ios::binary);
  out.write(reinterpret_cast<const char *>(content.data()), std::streamsize(content.size()));
  out.close();
  if (!out) throw std::runtime_error(fmt::format("cannot write '{}'", target_.string()));
}

void OutputFile::publish() {
  std::error_code error;
  std::filesystem::rename(partial_, target_, error);
  if (error) {
    throw std::runtime_error(
        fmt::format("cannot write '{}': {}", target_.string(), error.message()));
  }
}

}  // namespace tavix::tool
