// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <atomic>
#include <limits>
#include <memory>
#include <new>
#include <optional>

#include "aligned_block.h"
#include "log.h"
#include "tavix/core/host.h"

struct TavixBuffer {
  explicit TavixBuffer(size_t bytes) noexcept : block(bytes), data(block->data()) {}
  TavixBuffer(void *memory, void (*release_memory)(void *), void *release_user) noexcept
      : data(memory), release(release_memory), user(release_user) {}
  ~TavixBuffer() {
    if (release != nullptr) release(user);
  }

  std::optional<tavix::core::AlignedBlock> block;  // its own memory, where it has any
  void *data;
  void (*release)(void *) = nullptr;  // of memory that somebody else owns
  void *user = nullptr;
  std::atomic<int32_t> references = 1;
};

namespace {

// Bytes of an element, 0 for types without a name.
size_t element_bytes(uint32_t data_type) {
  switch (data_type) {
    case TAVIX_DATA_TYPE_INT8:
    case TAVIX_DATA_TYPE_UINT8:
      return 1;
    case TAVIX_DATA_TYPE_INT16:
    case TAVIX_DATA_TYPE_UINT16:
      return 2;
    case TAVIX_DATA_TYPE_FLOAT32:
    case TAVIX_DATA_TYPE_INT32:
    case TAVIX_DATA_TYPE_UINT32:
      return 4;
    case TAVIX_DATA_TYPE_INT64:
      return 8;
    default:
      return 0;
  }
}

}  // namespace

TavixBlob *TavixBlobAlloc(uint32_t data_type, uint32_t data_format, int32_t dims_size,
                          const int32_t *dims) {
  size_t bytes = element_bytes(data_type);
  const bool shaped = dims_size >= 0 && dims_size <= TAVIX_BLOB_MAX_DIMS &&
                      (dims != nullptr || dims_size == 0) &&
                      std::all_of(dims, dims + dims_size, [](int32_t d) { return d >= 0; });
  if (bytes == 0 || !shaped) {
    CORE_LOG_ERROR("blob of data type %u with %d dimensions at %p is impossible", data_type,
                   dims_size, static_cast<const void *>(dims));
    return nullptr;
  }
  // One extent of 0 makes the blob empty, whatever the others say.
  if (std::count(dims, dims + dims_size, 0) > 0) bytes = 0;
  constexpr size_t kMost = std::numeric_limits<ptrdiff_t>::max() - tavix::core::kAlignment;
  for (int32_t i = 0; i < dims_size; ++i) {
    if (dims[i] != 0 && bytes > kMost / size_t(dims[i])) {
      CORE_LOG_ERROR("blob of %d dimensions is larger than memory", dims_size);
      return nullptr;
    }
    bytes *= size_t(dims[i]);
  }

  std::unique_ptr<TavixBuffer> buffer(new (std::nothrow) TavixBuffer(bytes));
  std::unique_ptr<TavixBlob> blob(new (std::nothrow) TavixBlob{});
  if (!buffer || !blob || buffer->data == nullptr) {
    CORE_LOG_ERROR("no memory for a blob of %zu bytes", bytes);
    return nullptr;
  }
  blob->data_type = data_type;
  blob->data_format = data_format;
  blob->dims_size = dims_size;
  std::copy_n(dims, dims_size, blob->dims);
  blob->buffer = buffer.release();
  return blob.release();
}

void TavixBlobFree(TavixBlob *blob) {
  if (blob == nullptr) return;
  TavixBufferRelease(blob->buffer);
  delete blob;
}

TavixBuffer *TavixBufferWrap(void *data, void (*release)(void *user), void *user) {
  auto *buffer = new (std::nothrow) TavixBuffer(data, release, user);
  if (buffer == nullptr) CORE_LOG_ERROR("no memory for a buffer around %p", data);
  return buffer;
}

TavixBuffer *TavixBufferRetain(TavixBuffer *buffer) {
  if (buffer != nullptr) buffer->references.fetch_add(1, std::memory_order_relaxed);
  return buffer;
}

void TavixBufferRelease(TavixBuffer *buffer) {
  if (buffer != nullptr && buffer->references.fetch_sub(1, std::memory_order_acq_rel) == 1)
    delete buffer;
}

void *TavixBufferDataGetV2(const TavixBuffer *buffer) {
  return buffer == nullptr ? nullptr : buffer->data;
}

void *TavixBlobBufferGet(const TavixBlob *blob) {
  return blob == nullptr ? nullptr : TavixBufferDataGetV2(blob->buffer);
}
