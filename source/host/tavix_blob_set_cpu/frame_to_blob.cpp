// SPDX-License-Identifier: Apache-2.0
// Packed pixels into NCHW and NHWC tensors. The kernels are chosen once for each call.
#include "common/log.h"
#include "common/pixel_format.h"
#include "tavix_blob_set_cpu/blob_layouts.h"
#include "tavix_blob_set_cpu/tensor_region.h"

namespace tavix::module {

namespace {

constexpr auto &kUnit = kBlobSetUnit;

constexpr TensorDirection kDirection = {.frame = "src",
                                        .blob = "dst",
                                        .difference_level = TAVIX_LOG_DEBUG,
                                        .convert_floats = "ConvertFloat",
                                        .beyond_memory = TAVIX_ERROR_INVALID_DATA};

// A frame of elements T and the way of its elements into a blob.
template <class T>
class TensorWriter {
 public:
  TensorWriter(const TavixFrameV2 &frame, const TensorShape &shape, const TensorRows &rows,
               const BlobElement &element)
      : frame_(frame),
        shape_(joined_rows<T>(shape, frame)),
        channels_(frame.video.channels),
        bytes_(element.bytes),
        split_last_(moves_blob_elements<T>(element)),
        convert_(std::is_same_v<T, float> ? element.from_f32 : element.from_u8),
        split_(pixel_rows(rows, split_last_ ? bytes_ : kBytes, channels_).split),
        direct_(shape.c == channels_ ? direct(element) : nullptr) {}

  // Image after image: every one of the batch is the same frame.
  void write(uint8_t *blob, bool planar) const {
    const int64_t row_bytes = bytes_ * shape_.w * (planar ? 1 : shape_.c);
    const int64_t plane_bytes = bytes_ * shape_.h * shape_.w;
    for (int32_t n = 0; n < shape_.n; ++n, blob += plane_bytes * shape_.c) {
      for (int32_t y = 0; y < shape_.h; ++y) {
        const uint8_t *src = row(frame_, y);
        uint8_t *dst = blob + y * row_bytes;
        if (shape_.c == channels_ && (!planar || channels_ == 1)) {
          convert_(src, dst, int64_t(shape_.w) * channels_);
        } else if (planar) {
          write_planes(src, dst, plane_bytes);
        } else {
          write_some_channels(src, dst);
        }
      }
    }
  }

 private:
  static constexpr int64_t kBytes = sizeof(T);

  SplitRow *direct(const BlobElement &element) const {
    if (split_ == nullptr || same_bits<T>(element)) return split_;
    return std::is_same_v<T, uint8_t> ? element.widen_u8[channels_] : nullptr;
  }

  void write_planes(const uint8_t *src, uint8_t *dst, int64_t plane_bytes) const {
    if (direct_ != nullptr) {
      uint8_t *planes[kMaxChannels];
      for (int32_t c = 0; c < channels_; ++c) planes[c] = dst + c * plane_bytes;
      return direct_(src, planes, shape_.w);
    }
    for (int64_t x = 0; x < shape_.w; x += kStripPixels) {
      const int64_t n = std::min<int64_t>(kStripPixels, shape_.w - x);
      const uint8_t *pixels = src + x * channels_ * kBytes;
      uint8_t *columns = dst + x * bytes_;
      if (split_ == nullptr) {
        pick_and_convert(pixels, columns, plane_bytes, n);
      } else if (split_last_) {
        convert_and_split(pixels, columns, plane_bytes, n);
      } else {
        split_and_convert(pixels, columns, plane_bytes, n);
      }
    }
  }

  // A strip of n pixels into the same columns of every plane.
  void convert_and_split(const uint8_t *pixels, uint8_t *columns, int64_t plane_bytes,
                         int64_t n) const {
    uint8_t strip[kStripElements], rest[kStripPixels * sizeof(T)];
    uint8_t *planes[kMaxChannels];
    for (int32_t c = 0; c < channels_; ++c)
      // cppcheck-suppress legacyUninitvar // what goes into the rest is never read
      planes[c] = c < shape_.c ? columns + c * plane_bytes : rest;
    convert_(pixels, strip, n * channels_);
    split_(strip, planes, n);
  }
  void split_and_convert(const uint8_t *pixels, uint8_t *columns, int64_t plane_bytes,
                         int64_t n) const {
    uint8_t strips[kMaxChannels][kStripPixels * sizeof(T)];
    uint8_t *const planes[kMaxChannels] = {strips[0], strips[1], strips[2], strips[3]};
    split_(pixels, planes, n);
    for (int32_t c = 0; c < shape_.c; ++c) convert_(strips[c], columns + c * plane_bytes, n);
  }
  void pick_and_convert(const uint8_t *pixels, uint8_t *columns, int64_t plane_bytes,
                        int64_t n) const {
    uint8_t strip[kStripPixels * sizeof(T)];
    for (int32_t c = 0; c < shape_.c; ++c) {
      move_channels<T>(pixels + c * kBytes, channels_, strip, 1, 1, n);
      convert_(strip, columns + c * plane_bytes, n);
    }
  }

  void write_some_channels(const uint8_t *src, uint8_t *dst) const {
    uint8_t strip[kStripElements * sizeof(T)];
    for_each_block(shape_.w, shape_.c, [&](int64_t x, int64_t n, int64_t c, int64_t channels) {
      move_channels<T>(src + (x * channels_ + c) * kBytes, channels_, strip, channels, channels, n);
      convert_(strip, dst + (x * shape_.c + c) * bytes_, n * channels);
    });
  }

  const TavixFrameV2 &frame_;
  TensorShape shape_;
  int32_t channels_;
  int64_t bytes_;    // of a blob element
  bool split_last_;  // channels are split after the conversion
  ConvertRow *convert_;
  SplitRow *split_;
  SplitRow *direct_;  // from pixels to the planes of all channels in one step, or null
};

// What both layouts check first.
int32_t check_records(const LogOrigin &by, const TavixFrames *src_frames,
                      const TavixBlob *dst_blob) {
  TAVIX_INVALID_AS_IF(by, any_null(src_frames), "src_frames(%p) must not be nullptr", src_frames);
  TAVIX_INVALID_AS_IF(by, src_frames->frame_num != 1, "src_frame num:%d need to be 1",
                      src_frames->frame_num);
  TAVIX_INVALID_AS_IF(by, any_null(src_frames->frames),
                      "src_frames->frames(%p) must not be nullptr", src_frames->frames);
  TAVIX_INVALID_AS_IF(by, any_null(src_frames->frames[0]), "src_frame is nullptr");
  TAVIX_REFUSE_AS_IF(by, dst_blob->dims_size != 4, TAVIX_ERROR_INVALID_DATA,
                     "dst_blob_dims size:%d need to be 4", dst_blob->dims_size);
  return TAVIX_OK;
}

int32_t frame_to_blob(const LogOrigin &by, const TavixFrameV2 &src, const TavixBlob &dst_blob,
                      const TensorShape &shape, bool planar) {
  auto *dst = static_cast<uint8_t *>(TavixBlobBufferGet(&dst_blob));
  TAVIX_REFUSE_AS_IF(by, any_null(dst), TAVIX_ERROR_INVALID_DATA, "TavixBlobBufferGet is nullptr");
  TAVIX_INVALID_AS_IF(by, any_plane_null(&src), "src_frame data[0] is nullptr");
  const TensorRows &rows = tensor_rows();
  const BlobElement *element = nullptr;
  TAVIX_RETURN_IF_REFUSED(
      check_tensor(kDirection, by, src, shape, dst_blob.data_type, rows, element));
  if (shape.empty()) return TAVIX_OK;
  if (is_float(src.video.format)) {
    TensorWriter<float>(src, shape, rows, *element).write(dst, planar);
  } else {
    TensorWriter<uint8_t>(src, shape, rows, *element).write(dst, planar);
  }
  return TAVIX_OK;
}

}  // namespace

int32_t FrameHWCToBlobNCHWByCPU(const TavixFrames *src_frames, const TavixBlob *dst_blob) {
  TAVIX_RETURN_IF_REFUSED(check_records(TAVIX_HERE, src_frames, dst_blob));
  return frame_to_blob(TAVIX_HERE, *src_frames->frames[0], *dst_blob, nchw_shape(*dst_blob), true);
}

// Elements are written in NHWC order, but the extents are read as the blob declares them.
int32_t FrameHWCToBlobNHWCByCPU(const TavixFrames *src_frames, const TavixBlob *dst_blob) {
  TAVIX_RETURN_IF_REFUSED(check_records(TAVIX_HERE, src_frames, dst_blob));
  const uint32_t layout = dst_blob->data_format;
  TAVIX_REFUSE_IF(layout > TAVIX_DATA_FORMAT_NHWC, TAVIX_ERROR_UNSUPPORTED,
                  "dst_blob data_format:%d need to be NHWC or NCHW", layout);
  return frame_to_blob(
      TAVIX_HERE, *src_frames->frames[0], *dst_blob,
      layout == TAVIX_DATA_FORMAT_NCHW ? nchw_shape(*dst_blob) : nhwc_shape(*dst_blob), false);
}

}  // namespace tavix::module
