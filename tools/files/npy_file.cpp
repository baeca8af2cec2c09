// SPDX-License-Identifier: Apache-2.0
#include "files/npy_file.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <bit>
#include <string>
#include <utility>

namespace tavix::tool {

namespace {

static_assert(std::endian::native == std::endian::little);

// The dictionary ends at a multiple of 64, so that mapped elements are aligned.
constexpr size_t kHeaderBytes = 128;
constexpr size_t kPreludeBytes = 10;

std::streamsize size_of(std::span<const float> tensor) {
  return std::streamsize(tensor.size_bytes());
}

}  // namespace

NpyFile::NpyFile(std::filesystem::path target, std::vector<int64_t> shape)
    : file_(std::move(target)),
      shape_(std::move(shape)),
      stream_(file_.partial(), std::ios::in | std::ios::out | std::ios::trunc | std::ios::binary) {
  write_header();
}

void NpyFile::write_header() {
  // Magic, version, and the length of the rest, in two bytes.
  std::string header("\x93NUMPY\x01\x00", 8);
  header += {char(kHeaderBytes - kPreludeBytes), 0};
  header += fmt::format("{{'descr': '<f4', 'fortran_order': False, 'shape': ({}, {}), }}", tensors_,
                        fmt::join(shape_, ", "));
  header.resize(kHeaderBytes - 1, ' ');
  header += '\n';
  stream_.seekp(0);
  stream_.write(header.data(), std::streamsize(header.size()));
  check();
}

void NpyFile::append(std::span<const float> tensor) {
  stream_.seekp(0, std::ios::end);
  stream_.write(reinterpret_cast<const char *>(tensor.data()), size_of(tensor));
  stream_.flush();
  check();
  ++tensors_;
}

void NpyFile::read(int64_t i, std::span<float> tensor) {
  stream_.seekg(std::streamoff(kHeaderBytes) + i * size_of(tensor));
  stream_.read(reinterpret_cast<char *>(tensor.data()), size_of(tensor));
  check();
}

void NpyFile::finish() {
  write_header();
  stream_.close();
  check();
}

void NpyFile::check() const {
  if (!stream_) throw file_.failure();
}

}  // namespace tavix::tool
