// SPDX-License-Identifier: Apache-2.0
// A growing array of equal float tensors in NumPy's .npy format, version 1.0: a header of 128 bytes
// that names the shape, then the elements, row-major and little-endian.
#pragma once

#include <cstdint>
#include <fstream>
#include <span>
#include <vector>

#include "files/output_file.h"

namespace tavix::tool {

class NpyFile {
 public:
  // shape: of one tensor.
  NpyFile(std::filesystem::path target, std::vector<int64_t> shape);

  void append(std::span<const float> tensor);

  // Tensor i as the file has it.
  void read(int64_t i, std::span<float> tensor);

  // Writes how many tensors there are; the file is then whole, and ready to be published.
  void finish();

  OutputFile &file() { return file_; }

 private:
  void write_header();
  void check() const;

  OutputFile file_;
  std::vector<int64_t> shape_;
  int64_t tensors_ = 0;
  std::fstream stream_;
};

}  // namespace tavix::tool
