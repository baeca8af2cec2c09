// SPDX-License-Identifier: Apache-2.0
// Result arrays, blobs and their reference-counted buffers.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <memory>

#include "core/recorded_log.h"
#include "support/printed.h"
#include "support/scarce_memory.h"

namespace tavix::test {
namespace {

TEST(Array, HoldsZeroDoubles) {
  RecordedLog log;
  for (const int32_t count : {0, 1, 5, 1000}) {
    TavixArray *array = TavixArrayAlloc(TAVIX_ARRAY_TYPE_DOUBLE, count);
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(last_calloc_bytes(), sizeof(TavixArray) + size_t(count) * sizeof(TavixArrayElement));
    EXPECT_EQ(array->count, count);
    for (int32_t i = 0; i < count; ++i) {
      EXPECT_EQ(array->elements[i].type, TAVIX_ARRAY_TYPE_DOUBLE);
      EXPECT_EQ(array->elements[i].value, 0.0);
      array->elements[i].value = 1.0;
    }
    TavixArrayFree(array);
  }
  TavixArrayFree(nullptr);
  EXPECT_TRUE(log.take().empty());
}

TEST(Array, RefusesTheImpossibleWithOneLine) {
  constexpr int32_t kImpossible[][2] = {{0, 1},  {1, 1},       {2, 1},  {4, 1},
                                        {-1, 1}, {INT_MIN, 1}, {3, -1}, {3, INT_MIN}};
  RecordedLog log;
  for (const auto &[type, count] : kImpossible) {
    EXPECT_EQ(TavixArrayAlloc(type, count), nullptr);
    EXPECT_TRUE(log.only_error(
        "TavixArrayAlloc", printed("array of type %d and count %d is impossible", type, count)));
  }
}

TEST(Array, ReportsMissingMemory) {
  RecordedLog log;
  fail_calloc(1);
  EXPECT_EQ(TavixArrayAlloc(TAVIX_ARRAY_TYPE_DOUBLE, 7), nullptr);
  EXPECT_TRUE(log.only_error("TavixArrayAlloc", "no memory for an array of 7 elements"));
}

struct FreeBlob {
  void operator()(TavixBlob *blob) const { TavixBlobFree(blob); }
};
using Blob = std::unique_ptr<TavixBlob, FreeBlob>;

Blob allocate(uint32_t data_type, uint32_t data_format, const std::vector<int32_t> &dims) {
  return Blob(TavixBlobAlloc(data_type, data_format, int32_t(dims.size()), dims.data()));
}

TEST(Blob, EveryTypeHasZeroedAlignedStorage) {
  constexpr struct {
    uint32_t type;
    int bytes;
  } kTypes[] = {{TAVIX_DATA_TYPE_FLOAT32, 4}, {TAVIX_DATA_TYPE_INT8, 1},
                {TAVIX_DATA_TYPE_INT32, 4},   {TAVIX_DATA_TYPE_INT64, 8},
                {TAVIX_DATA_TYPE_UINT32, 4},  {TAVIX_DATA_TYPE_UINT8, 1},
                {TAVIX_DATA_TYPE_INT16, 2},   {TAVIX_DATA_TYPE_UINT16, 2}};
  RecordedLog log;
  for (const auto &[type, element_bytes] : kTypes) {
    const std::vector<int32_t> dims = {2, 3, 5, 7};
    const Blob blob = allocate(type, TAVIX_DATA_FORMAT_NHWC, dims);
    ASSERT_TRUE(blob);
    EXPECT_EQ(last_calloc_bytes(), size_t(210 * element_bytes + 64));  // with room to align it
    EXPECT_EQ(blob->data_type, type);
    EXPECT_EQ(blob->data_format, uint32_t(TAVIX_DATA_FORMAT_NHWC));
    EXPECT_EQ(blob->dims_size, 4);
    EXPECT_TRUE(std::equal(dims.begin(), dims.end(), blob->dims));
    EXPECT_TRUE(std::all_of(blob->dims + 4, blob->dims + 8, [](int32_t d) { return d == 0; }));
    auto *bytes = static_cast<uint8_t *>(TavixBlobBufferGet(blob.get()));
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(bytes, TavixBufferDataGetV2(blob->buffer));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(bytes) % 64, 0u);
    EXPECT_TRUE(std::all_of(bytes, bytes + 210 * element_bytes, [](uint8_t b) { return b == 0; }));
    std::fill_n(bytes, 210 * element_bytes, uint8_t(1));
  }
  EXPECT_TRUE(log.take().empty());
}

TEST(Blob, AnyNumberOfDimensions) {
  const Blob scalar(TavixBlobAlloc(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_SCALAR, 0, nullptr));
  ASSERT_TRUE(scalar);
  *static_cast<float *>(TavixBlobBufferGet(scalar.get())) = 1;
  EXPECT_TRUE(allocate(TAVIX_DATA_TYPE_UINT8, 0, {1, 2, 1, 2, 1, 2, 1, 2}));
  for (const std::vector<int32_t> &dims : {std::vector{3, 0, 3}, {INT_MAX, INT_MAX, INT_MAX, 0}}) {
    const Blob empty = allocate(TAVIX_DATA_TYPE_INT64, 0, dims);
    ASSERT_TRUE(empty);
    EXPECT_NE(TavixBlobBufferGet(empty.get()), nullptr);
  }
}

TEST(Blob, RefusesTheImpossibleWithOneLine) {
  RecordedLog log;
  const int32_t dims[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1}, negative[] = {1, -1};
  const auto expect_impossible = [&](uint32_t type, int32_t size, const int32_t *extents) {
    EXPECT_EQ(TavixBlobAlloc(type, 0, size, extents), nullptr);
    EXPECT_TRUE(log.only_error(
        "TavixBlobAlloc", printed("blob of data type %u with %d dimensions at %p is impossible",
                                  type, size, static_cast<const void *>(extents))));
  };
  for (const uint32_t type : {1u, 4u, 7u, 8u, 9u, 10u, 14u, UINT_MAX})
    expect_impossible(type, 1, dims);
  for (const int32_t size : {-1, 9, INT_MIN, INT_MAX}) expect_impossible(0, size, dims);
  expect_impossible(0, 1, nullptr);
  expect_impossible(0, 2, negative);
}

TEST(Blob, RefusesWhatNoMemoryHolds) {
  RecordedLog log;
  EXPECT_FALSE(allocate(TAVIX_DATA_TYPE_INT64, 0, {INT_MAX, INT_MAX}));
  EXPECT_TRUE(log.only_error("TavixBlobAlloc", "blob of 2 dimensions is larger than memory"));
  EXPECT_FALSE(allocate(TAVIX_DATA_TYPE_INT8, 0, {INT_MAX, INT_MAX, 2, INT_MAX}));
  EXPECT_TRUE(log.only_error("TavixBlobAlloc", "blob of 4 dimensions is larger than memory"));
  EXPECT_FALSE(allocate(TAVIX_DATA_TYPE_INT8, 0, {INT_MAX, INT_MAX}));
  EXPECT_TRUE(
      log.only_error("TavixBlobAlloc", "no memory for a blob of 4611686014132420609 bytes"));
  // What is left of 2^63 bytes for the start of a block, divided by the last extent, is
  // 641 * 6700417.
  EXPECT_FALSE(allocate(TAVIX_DATA_TYPE_INT8, 0, {641, 6700417, INT_MAX}));
  EXPECT_TRUE(
      log.only_error("TavixBlobAlloc", "no memory for a blob of 9223372034707292159 bytes"));
  EXPECT_FALSE(allocate(TAVIX_DATA_TYPE_INT8, 0, {6, 715827883, INT_MAX}));
  EXPECT_TRUE(log.only_error("TavixBlobAlloc", "blob of 3 dimensions is larger than memory"));
  for (const int nth : {1, 2}) {  // the buffer, the record
    fail_nothrow_new(nth);
    EXPECT_FALSE(allocate(TAVIX_DATA_TYPE_INT8, 0, {6}));
    EXPECT_TRUE(log.only_error("TavixBlobAlloc", "no memory for a blob of 6 bytes"));
  }
  fail_calloc(1);
  EXPECT_FALSE(allocate(TAVIX_DATA_TYPE_INT8, 0, {6}));
  EXPECT_TRUE(log.only_error("TavixBlobAlloc", "no memory for a blob of 6 bytes"));
}

TEST(Blob, SharesABufferUntilTheLastLetsGo) {
  for (const bool first_goes_first : {true, false}) {
    Blob first = allocate(TAVIX_DATA_TYPE_UINT8, 0, {4});
    Blob second = allocate(TAVIX_DATA_TYPE_UINT8, 0, {4});
    TavixBufferRelease(second->buffer);
    second->buffer = TavixBufferRetain(first->buffer);
    EXPECT_EQ(second->buffer, first->buffer);
    static_cast<uint8_t *>(TavixBlobBufferGet(first.get()))[3] = 9;
    (first_goes_first ? first : second).reset();
    const Blob &left = first_goes_first ? second : first;
    EXPECT_EQ(static_cast<uint8_t *>(TavixBlobBufferGet(left.get()))[3], 9);
  }
}

TEST(Blob, NullIsIgnored) {
  TavixBlobFree(nullptr);
  TavixBufferRelease(nullptr);
  EXPECT_EQ(TavixBufferRetain(nullptr), nullptr);
  EXPECT_EQ(TavixBufferDataGetV2(nullptr), nullptr);
  EXPECT_EQ(TavixBlobBufferGet(nullptr), nullptr);
  const TavixBlob without_storage = {};
  EXPECT_EQ(TavixBlobBufferGet(&without_storage), nullptr);
}

TEST(Blob, WrapsMemoryOfItsCallerWithoutACopy) {
  RecordedLog log;
  float elements[] = {1, 2, 3, 4, 5, 6};
  int released = 0;
  const auto count = [](void *user) { ++*static_cast<int *>(user); };
  TavixBuffer *buffer = TavixBufferWrap(elements, count, &released);
  ASSERT_NE(buffer, nullptr);
  EXPECT_EQ(TavixBufferDataGetV2(buffer), elements);

  TavixBlob blob = {TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NC, 2, {2, 3}, buffer};
  EXPECT_EQ(TavixBlobBufferGet(&blob), elements);
  TavixBufferRetain(buffer);
  TavixBufferRelease(buffer);
  EXPECT_EQ(released, 0);
  TavixBufferRelease(buffer);
  EXPECT_EQ(released, 1);
  EXPECT_EQ(elements[5], 6);

  TavixBufferRelease(TavixBufferWrap(elements, nullptr, nullptr));
  EXPECT_TRUE(log.take().empty());

  fail_nothrow_new(1);
  EXPECT_EQ(TavixBufferWrap(elements, count, &released), nullptr);
  EXPECT_TRUE(log.only_error("TavixBufferWrap", printed("no memory for a buffer around %p",
                                                        static_cast<void *>(elements))));
  EXPECT_EQ(released, 1);
}

}  // namespace
}  // namespace tavix::test
