// SPDX-License-Identifier: Apache-2.0
#include "support/guarded_blob.h"

#include <map>
#include <numeric>

namespace tavix::test {

namespace {

size_t needed_bytes(uint32_t data_type, const std::vector<int32_t> &dims) {
  return std::accumulate(dims.begin(), dims.end(), blob_element_bytes(data_type),
                         [](size_t bytes, int32_t extent) { return bytes * size_t(extent); });
}

}  // namespace

size_t blob_element_bytes(uint32_t data_type) {
  static const std::map<uint32_t, size_t> kBytes = {
      {TAVIX_DATA_TYPE_INT8, 1},   {TAVIX_DATA_TYPE_UINT8, 1},  {TAVIX_DATA_TYPE_INT16, 2},
      {TAVIX_DATA_TYPE_UINT16, 2}, {TAVIX_DATA_TYPE_INT32, 4},  {TAVIX_DATA_TYPE_UINT32, 4},
      {TAVIX_DATA_TYPE_INT64, 8},  {TAVIX_DATA_TYPE_FLOAT32, 4}};
  const auto found = kBytes.find(data_type);
  return found == kBytes.end() ? 0 : found->second;
}

GuardedBlob::GuardedBlob(uint32_t data_type, uint32_t data_format, const std::vector<int32_t> &dims,
                         size_t bytes)
    : bytes_(bytes != 0 ? bytes : needed_bytes(data_type, dims)) {
  record_.data_type = data_type;
  record_.data_format = data_format;
  record_.dims_size = int32_t(dims.size());
  std::copy(dims.begin(), dims.end(), record_.dims);
  // A handle only the double knows.
  record_.buffer = reinterpret_cast<TavixBuffer *>(this);
  core_double().serve_buffer(record_.buffer, bytes_.data());
}

GuardedBlob::~GuardedBlob() {
  core_double().withdraw_buffer(reinterpret_cast<TavixBuffer *>(this));
}

}  // namespace tavix::test
