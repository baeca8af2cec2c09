// SPDX-License-Identifier: Apache-2.0
#include "files/output_file.h"

#include <fmt/format.h>

#include <cerrno>
#include <fstream>
#include <random>
#include <string>

namespace tavix::tool {

namespace fs = std::filesystem;

namespace {

// Chosen at random, so that no other run in the same folder has it.
std::string unused_name(const fs::path &extension) {
  std::random_device random;
  return fmt::format(".partial-{:08x}{:08x}{}", random(), random(), extension.string());
}

}  // namespace

OutputFile::OutputFile(fs::path target) : target_(std::move(target)), place_(target_) {
  std::error_code ignored;
  const fs::file_status status = fs::status(target_, ignored);
  if (fs::is_other(status)) {
    throw std::runtime_error(
        fmt::format("cannot write '{}': it is a device or a pipe", target_.string()));
  }
  if (fs::is_symlink(target_, ignored) && fs::exists(status)) place_ = fs::canonical(target_);
  partial_ = place_.parent_path() / unused_name(place_.extension());
}

OutputFile::~OutputFile() {
  std::error_code ignored;
  fs::remove(partial_, ignored);
}

void OutputFile::write(std::span<const uint8_t> content) const {
  errno = 0;
  std::ofstream out(partial_, std::ios::binary);
  out.write(reinterpret_cast<const char *>(content.data()), std::streamsize(content.size()));
  out.close();
  if (!out) throw failure();
}

void OutputFile::publish() {
  std::error_code error;
  fs::rename(partial_, place_, error);
  if (error) throw failure(error);
}

std::runtime_error OutputFile::failure(std::error_code reason) const {
  const std::string text = fmt::format("cannot write '{}'", target_.string());
  return std::runtime_error(reason ? fmt::format("{}: {}", text, reason.message()) : text);
}

std::runtime_error OutputFile::failure() const {
  return failure({errno, std::generic_category()});
}

}  // namespace tavix::tool
