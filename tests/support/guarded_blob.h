// SPDX-License-Identifier: Apache-2.0
// Blobs whose last element touches a page nobody may touch; the core double serves their storage.
//
//   GuardedBlob blob(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NCHW, {1, 3, 5, 7});
//   blob.elements<float>()[0] = 1.0f;
//   TavixFrameToBlobByCPU(frame, blob);
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "support/core_double.h"
#include "support/guarded_bytes.h"
#include "tavix/core/records.h"

namespace tavix::test {

// Bytes of an element; 0 for types without a name.
size_t blob_element_bytes(uint32_t data_type);

class GuardedBlob {
 public:
  // bytes: of the storage; 0: as many as the dimensions need.
  GuardedBlob(uint32_t data_type, uint32_t data_format, const std::vector<int32_t> &dims,
              size_t bytes = 0);
  ~GuardedBlob();
  GuardedBlob(const GuardedBlob &) = delete;
  GuardedBlob &operator=(const GuardedBlob &) = delete;

  operator TavixBlob *() { return &record_; }
  operator const TavixBlob *() const { return &record_; }
  TavixBlob *operator->() { return &record_; }
  TavixBlob &operator*() { return record_; }

  // The storage as elements; meant for dimensions whose storage is aligned for T.
  template <class T>
  std::span<T> elements() const {
    return {reinterpret_cast<T *>(bytes_.data()), bytes_.size() / sizeof(T)};
  }

  // Whether the bytes before the storage are as they were.
  [[nodiscard]] bool intact() const { return bytes_.intact(); }

 private:
  GuardedBytes bytes_;
  TavixBlob record_ = {};
};

}  // namespace tavix::test
