// SPDX-License-Identifier: Apache-2.0
// NCHW and NHWC tensors into packed pixels. The kernels are chosen once for each call.
#include "common/log.h"
#include "common/pixel_format.h"
#include "tavix_blob_set_cpu/blob_layouts.h"
#include "tavix_blob_set_cpu/tensor_region.h"

namespace tavix::module {

namespace {

constexpr auto &kUnit = kBlobSetUnit;

constexpr TensorDirection kDirection = {.frame = "dst",
                                        .blob = "src",
                                        .difference_level = TAVIX_LOG_WARNING,
                                        .convert_floats = "BlobToFrameDataConvert",
                                        .beyond_memory = TAVIX_ERROR_INVALID_PARAM};

// A frame of elements T and the way of a blob's elements into it.
template <class T>
class TensorReader {
 public:
  TensorReader(TavixFrameV2 &frame, const TensorShape &shape, const TensorRows &rows,
               const BlobElement &element)
      : frame_(frame),
        shape_(joined_rows<T>(shape, frame)),
        channels_(frame.video.channels),
        bytes_(element.bytes),
        merge_first_(moves_blob_elements<T>(element)),
        convert_(std::is_same_v<T, float> ? element.to_f32 : element.to_u8),
        merge_(shape.c == channels_
                   ? pixel_rows(rows, merge_first_ ? bytes_ : kBytes, channels_).merge
                   : nullptr),
        direct_(same_bits<T>(element) ? merge_ : nullptr) {}

  // Every image of the batch overwrites the one before, so that only the last needs reading.
  void read(const uint8_t *blob, bool planar) const {
    const int64_t row_bytes = bytes_ * shape_.w * (planar ? 1 : shape_.c);
    const int64_t plane_bytes = bytes_ * shape_.h * shape_.w;
    blob += plane_bytes * shape_.c * (shape_.n - 1);
    for (int32_t y = 0; y < shape_.h; ++y) {
      const uint8_t *src = blob + y * row_bytes;
      uint8_t *dst = row(frame_, y);
      if (shape_.c == channels_ && (!planar || channels_ == 1)) {
        convert_(src, dst, int64_t(shape_.w) * channels_);
      } else if (planar) {
        read_planes(src, plane_bytes, dst);
      } else {
        read_some_channels(src, dst);
      }
    }
  }

 private:
  static constexpr int64_t kBytes = sizeof(T);

  void read_planes(const uint8_t *src, int64_t plane_bytes, uint8_t *dst) const {
    if (direct_ != nullptr) {
      const uint8_t *planes[kMaxChannels];
      for (int32_t c = 0; c < channels_; ++c) planes[c] = src + c * plane_bytes;
      return direct_(planes, dst, shape_.w);
    }
    for (int64_t x = 0; x < shape_.w; x += kStripPixels) {
      const int64_t n = std::min<int64_t>(kStripPixels, shape_.w - x);
      const uint8_t *columns = src + x * bytes_;
      uint8_t *pixels = dst + x * channels_ * kBytes;
      if (merge_ == nullptr) {
        convert_and_put(columns, plane_bytes, pixels, n);
      } else if (merge_first_) {
        merge_and_convert(columns, plane_bytes, pixels, n);
      } else {
        convert_and_merge(columns, plane_bytes, pixels, n);
      }
    }
  }

  // A strip of n pixels from the same columns of every plane.
  void merge_and_convert(const uint8_t *columns, int64_t plane_bytes, uint8_t *pixels,
                         int64_t n) const {
    uint8_t strip[kStripElements];
    const uint8_t *planes[kMaxChannels];
    for (int32_t c = 0; c < channels_; ++c) planes[c] = columns + c * plane_bytes;
    merge_(planes, strip, n);
    convert_(strip, pixels, n * channels_);
  }
  void convert_and_merge(const uint8_t *columns, int64_t plane_bytes, uint8_t *pixels,
                         int64_t n) const {
    uint8_t strips[kMaxChannels][kStripPixels * sizeof(T)];
    const uint8_t *const planes[kMaxChannels] = {strips[0], strips[1], strips[2], strips[3]};
    for (int32_t c = 0; c < channels_; ++c) convert_(columns + c * plane_bytes, strips[c], n);
    merge_(planes, pixels, n);
  }
  void convert_and_put(const uint8_t *columns, int64_t plane_bytes, uint8_t *pixels,
                       int64_t n) const {
    uint8_t strip[kStripPixels * sizeof(T)];
    for (int32_t c = 0; c < shape_.c; ++c) {
      convert_(columns + c * plane_bytes, strip, n);
      move_channels<T>(strip, 1, pixels + c * kBytes, channels_, 1, n);
    }
  }

  void read_some_channels(const uint8_t *src, uint8_t *dst) const {
    uint8_t strip[kStripElements * sizeof(T)];
    for_each_block(shape_.w, shape_.c, [&](int64_t x, int64_t n, int64_t c, int64_t channels) {
      convert_(src + (x * shape_.c + c) * bytes_, strip, n * channels);
      move_channels<T>(strip, channels, dst + (x * channels_ + c) * kBytes, channels_, channels, n);
    });
  }

  TavixFrameV2 &frame_;
  TensorShape shape_;
  int32_t channels_;
  int64_t bytes_;     // of a blob element
  bool merge_first_;  // channels are merged before the conversion
  ConvertRow *convert_;
  MergeRow *merge_;
  MergeRow *direct_;  // from the planes of all channels to pixels in one step, or null
};

int32_t blob_to_frame(const LogOrigin &by, const TavixBlob *src_blob, const TavixFrames *dst_frames,
                      TensorShape (*shape_of)(const TavixBlob &), bool planar) {
  const auto *src = static_cast<const uint8_t *>(TavixBlobBufferGet(src_blob));
  TAVIX_REFUSE_AS_IF(by, any_null(src), TAVIX_ERROR_INVALID_DATA, "TavixBlobBufferGet is nullptr");
  TAVIX_INVALID_AS_IF(by, any_null(dst_frames), "dst_frames(%p) must not be nullptr", dst_frames);
  TAVIX_INVALID_AS_IF(by, dst_frames->frame_num != 1, "dst_frames->frame_num:%d need to be 1",
                      dst_frames->frame_num);
  TAVIX_INVALID_AS_IF(by, any_null(dst_frames->frames),
                      "dst_frames->frames(%p) must not be nullptr", dst_frames->frames);
  TavixFrameV2 *dst = dst_frames->frames[0];
  TAVIX_INVALID_AS_IF(by, any_null(dst), "dst_frame is nullptr");
  TAVIX_INVALID_AS_IF(by, any_plane_null(dst), "dst_frame->data[0] is nullptr");
  // Not the status of the other direction, on purpose.
  TAVIX_INVALID_AS_IF(by, src_blob->dims_size != 4, "src_blob_dims.size:%d need to be 4",
                      src_blob->dims_size);
  const TensorShape shape = shape_of(*src_blob);
  const TensorRows &rows = tensor_rows();
  const BlobElement *element = nullptr;
  TAVIX_RETURN_IF_REFUSED(
      check_tensor(kDirection, by, *dst, shape, src_blob->data_type, rows, element));
  if (shape.empty()) return TAVIX_OK;
  if (is_float(dst->video.format)) {
    TensorReader<float>(*dst, shape, rows, *element).read(src, planar);
  } else {
    TensorReader<uint8_t>(*dst, shape, rows, *element).read(src, planar);
  }
  return TAVIX_OK;
}

}  // namespace

int32_t BlobNCHWToFrameHWCByCPU(const TavixBlob *src_blob, const TavixFrames *dst_frames) {
  return blob_to_frame(TAVIX_HERE, src_blob, dst_frames, nchw_shape, true);
}

int32_t BlobNHWCToFrameHWCByCPU(const TavixBlob *src_blob, const TavixFrames *dst_frames) {
  return blob_to_frame(TAVIX_HERE, src_blob, dst_frames, nhwc_shape, false);
}

}  // namespace tavix::module
