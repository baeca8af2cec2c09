// SPDX-License-Identifier: Apache-2.0
// An argument that is a tensor: a C-contiguous array, seen as a blob over its own memory.
#pragma once

#include "picture.h"
#include "tavix/core.h"

namespace tavix::python {

class Tensor final : public Described {
 public:
  // Raises ValueError for arrays that are not C-contiguous or too large for the library.
  Tensor(const py::array &array, int32_t layout, const char *name);
  ~Tensor();
  Tensor(const Tensor &) = delete;
  Tensor &operator=(const Tensor &) = delete;

  std::string describe() const override { return describe_array(array_); }
  const py::array &array() const { return array_; }
  TavixBlob &blob() { return blob_; }
  const TavixBlob &blob() const { return blob_; }

 private:
  py::array array_;
  TavixBlob blob_ = {};
};

// Raises ValueError where the tensors share memory without being the same one.
void require_same_or_apart(const Tensor &src, const Tensor &dst);

// Raises ValueError where a picture and a tensor share memory.
void require_apart(const Picture &picture, const Tensor &tensor);

}  // namespace tavix::python
