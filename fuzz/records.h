// SPDX-License-Identifier: Apache-2.0
// Frames and blobs drawn from an input. Their memory is as large as they first say, between pages
// that nobody may touch; afterwards they may be spoiled, so that they say less or what no record
// says.
#pragma once

#include <cstdint>
#include <vector>

#include "choices.h"
#include "support/guarded_blob.h"
#include "support/guarded_frame.h"
#include "tavix/core/codes.h"

namespace tavix::fuzz {

// Memory of a record: what is watched, and put back before each call.
class Record {
 public:
  virtual ~Record() = default;
  virtual std::vector<uint8_t> contents() const = 0;
  virtual void restore(const std::vector<uint8_t> &contents) = 0;
  // Whether nothing outside the contents was written.
  virtual bool intact() const = 0;
};

// Not 0: wherever an input may choose a layout, each row ends at a page nobody may touch, so far
// from the next.
inline int32_t row_distance = 0;

// Elements of a row, 0 where a record has no pixels. Spoiled records have more than 32 bits count.
inline int64_t row_elements(const TavixVideoInfo &video) {
  const bool any = video.width > 0 && video.height > 0 && video.channels > 0;
  return any ? int64_t(video.width) * video.channels : 0;
}

class FrameRecord final : public Record {
 public:
  FrameRecord(Choices &c, const test::FrameShape &shape) : FrameRecord(c, shape, any_layout(c)) {}
  FrameRecord(Choices &c, const test::FrameShape &shape, const test::FrameLayout &layout);

  std::vector<uint8_t> contents() const override { return frame.payload(); }
  void restore(const std::vector<uint8_t> &contents) override { frame.set_payload(contents); }
  bool intact() const override { return frame.intact(); }

  // Sometimes makes the record say something else than its memory.
  void maybe_spoil(Choices &c);

  // More elements in a row than 32 bits count.
  void lengthen_rows();
  // Rows farther apart than 32 bits reach. Of at least three rows, which nobody may ask for then.
  void spread_rows();

  // Where a spoiled record says what no two records of a call would say alike by chance, all of
  // them say it. Of packed frames.
  template <class... Others>
  static void maybe_spoil_alike(Choices &c, FrameRecord &first, Others &...others) {
    const uint8_t how = c.byte();
    if (how < 240) return;
    const auto spoil = [&](FrameRecord &record) {
      record.spoiled = true;
      TavixVideoInfo &video = record->video;
      if (how < 248)
        video.format = how % 8 < 4 ? TAVIX_PIX_FMT_NV12 : TAVIX_PIX_FMT_NONE;
      else if (how > 253)
        record.lengthen_rows();
      else  // more channels in fewer pixels
        video.width /= 8, video.channels *= 8;
    };
    spoil(first), (spoil(others), ...);
  }

  TavixFrameV2 *operator->() { return &*frame; }
  TavixFrameV2 &operator*() { return *frame; }

  static test::FrameLayout any_layout(Choices &c);

  test::FrameLayout layout;
  test::GuardedFrame frame;
  bool spoiled = false;
};

class BlobRecord final : public Record {
 public:
  // Of a type without a name the storage is 64 bytes.
  BlobRecord(Choices &c, uint32_t data_type, uint32_t data_format,
             const std::vector<int32_t> &dims);

  std::vector<uint8_t> contents() const override;
  void restore(const std::vector<uint8_t> &contents) override;
  bool intact() const override { return blob.intact(); }

  void maybe_spoil(Choices &c);

  test::GuardedBlob blob;
  bool spoiled = false;
};

// Mostly a format that has packed pixels.
inline constexpr int32_t kPackedFormats[] = {0, 1, 2, 4, 5, 11, 12, 13, 14, 15};
inline constexpr int32_t kColorFormats[] = {0, 1, 2, 4, 5, 7, 8, 9, 10, 11, 12, 13, 14, 15};

test::FrameShape any_shape(Choices &c);

// Of records without padding.
template <class T>
void append_bytes(std::vector<uint8_t> &bytes, const T &value) {
  const auto *first = reinterpret_cast<const uint8_t *>(&value);
  bytes.insert(bytes.end(), first, first + sizeof value);
}

// The payload of a frame that a call made, by plane 0 of its record, and what it says of itself;
// the frame is freed. Null gives nothing and becomes null again.
std::vector<uint8_t> take_frame(TavixFrameV2 *&frame);

// Codes and numbers that operations may be asked for.
inline constexpr int32_t kIntegers[] = {0, 1,  2,  3,  4,  5,  6,         7,        8,
                                        9, 10, 16, 31, -1, -2, INT32_MIN, INT32_MAX};

// Ordinary numbers, halves, limits, and what is no number.
double any_number(Choices &c);

}  // namespace tavix::fuzz
