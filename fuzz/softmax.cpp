// SPDX-License-Identifier: Apache-2.0
// Softmax of blobs of one to eight dimensions against the references of its tests.
#include "softmax_reference.h"

#include <algorithm>

#include "families.h"
#include "support/compare.h"
#include "tavix/video_common_cpu/softmax.h"

namespace tavix::fuzz {

namespace {

enum class Kind { best, portable, vector };
struct Entry {
  const char *name;
  decltype(&TavixBlobSoftmaxByCPU) entry;
  Kind kind;
};
constexpr Entry kEntries[] = {{"TavixBlobSoftmaxByCPU", TavixBlobSoftmaxByCPU, Kind::best},
                              {"TavixBlobSoftmaxForward", TavixBlobSoftmaxForward, Kind::best},
                              {"TavixBlobSoftmaxCommonC", TavixBlobSoftmaxCommonC, Kind::portable},
                              {"TavixBlobSoftmaxAVX", TavixBlobSoftmaxAVX, Kind::vector}};

// At most about a thousand elements.
test::Dims any_dims(Choices &c) {
  test::Dims dims(size_t(1 + c.below(8)));
  int32_t elements = 1;
  for (int32_t &extent : dims) {
    extent = 1 + c.byte() % std::max(1, std::min(70, 1024 / elements));
    elements *= extent;
  }
  return dims;
}

// Scores whose spread is up to twice what an exponential can hold, mostly.
void fill_scores(Choices &c, BlobRecord &record) {
  if (c.below(3) == 0) return;
  test::Random random(c.byte());
  const double spread = 0.5 + c.byte();
  for (float &score : record.blob.elements<float>())
    score = float((double(random.below(20001)) / 10000 - 1) * spread);
}

}  // namespace

void softmax(Choices &c, std::span<const Path> paths) {
  const Entry entry = c.of(kEntries);
  const test::Dims dims = any_dims(c);
  const int32_t rank = int32_t(dims.size());
  const int32_t axis = c.rarely() ? c.of(kIntegers) : c.below(2 * rank) - rank;
  const bool same_dims = !c.rarely();
  BlobRecord src(c, TAVIX_DATA_TYPE_FLOAT32, 0, dims),
      dst(c, TAVIX_DATA_TYPE_FLOAT32, 0, same_dims ? dims : any_dims(c));
  fill_scores(c, src);
  src.maybe_spoil(c), dst.maybe_spoil(c);
  if (src.spoiled && same_dims && c.byte() % 2 == 0) {
    std::copy_n(src.blob->dims, TAVIX_BLOB_MAX_DIMS, dst.blob->dims);
    dst.blob->dims_size = src.blob->dims_size;
  }
  // Extents whose product says nothing of their signs.
  if (c.byte() > 247 && same_dims && rank > 2) {
    src.spoiled = true;
    for (BlobRecord *record : {&src, &dst})
      for (int i : {0, 1}) record->blob->dims[i] = -1;
  }
  const bool null = c.rarely(), spoiled = src.spoiled || dst.spoiled || !same_dims || null;
  TavixBlob *in = null ? c.maybe(&*src.blob) : &*src.blob,
            *out = null ? c.maybe(&*dst.blob) : &*dst.blob;
  const auto expect_result = [&](const Path &path) {
    if (spoiled) return;
    const size_t along = size_t(axis < 0 ? axis + rank : axis);
    const bool vector = entry.kind == Kind::best ? path.vector : entry.kind == Kind::vector;
    const bool lanes = vector && test::inner_of(dims, along) == 1;
    const std::vector<float> expected = test::softmax_reference(
        src.blob, dims, along, lanes ? test::vector_line : test::scalar_line);
    const auto actual = dst.blob.elements<float>();
    EXPECT_TRUE(test::same_values<float>(expected, {actual.data(), actual.size()}));
  };
  check({.function = entry.name,
         .run = [&] { return entry.entry(in, axis, out); },
         .sources = {&src},
         .destinations = {&dst},
         .expect_result = expect_result,
         .must_succeed = !spoiled && axis >= -rank && axis < rank && entry.kind != Kind::vector},
        paths);
}

}  // namespace tavix::fuzz
