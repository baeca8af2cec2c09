// SPDX-License-Identifier: Apache-2.0
#include "overlap.h"

#include <cstdint>

namespace tavix::python {

namespace {

// Rows of bytes at equal distances.
struct Rows {
  int64_t start, stride, bytes, count;

  int64_t end() const { return start + stride * (count - 1) + bytes; }
  bool operator==(const Rows &) const = default;
};

Rows rows_of(const Picture &picture, int plane) {
  const TavixFrameV2 &record = picture.record();
  const core::Plane &shape = required_layout(record.video.format).planes[plane];
  return {int64_t(reinterpret_cast<intptr_t>(record.data[plane])), record.linesize[plane],
          core::plane_row_bytes(shape, record.video.width),
          core::plane_rows(shape, record.video.height)};
}

bool overlap(const Rows &a, const Rows &b) {
  if (a.count == 0 || b.count == 0 || a.bytes == 0 || b.bytes == 0) return false;
  if (a.end() <= b.start || b.end() <= a.start) return false;
  if (a.stride != b.stride || a.stride == 0) return true;
  // With one stride, row y of a meets row y - k of b where they touch for one such k.
  const int64_t distance = b.start - a.start;
  int64_t k = distance / a.stride;
  if (k * a.stride > distance) --k;
  const int64_t offset = distance - k * a.stride;  // of the row of b within the row of a
  const auto rows_meet = [&](int64_t shift) { return shift < a.count && -shift < b.count; };
  return (offset < a.bytes && rows_meet(k)) || (offset + b.bytes > a.stride && rows_meet(k + 1));
}

}  // namespace

void require_no_overlap(const Picture &src, const Picture &out, InPlace in_place) {
  if (in_place == InPlace::kAllowed && rows_of(src, 0) == rows_of(out, 0)) return;
  for (int s = 0; s < 3 && src.record().data[s] != nullptr; ++s) {
    for (int o = 0; o < 3 && out.record().data[o] != nullptr; ++o) {
      if (overlap(rows_of(src, s), rows_of(out, o))) {
        throw py::value_error(
            in_place == InPlace::kAllowed
                ? "out overlaps a source without being the same pixels"
                : "out overlaps a source, and the operation cannot work in place");
      }
    }
  }
}

}  // namespace tavix::python
