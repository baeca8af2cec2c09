// SPDX-License-Identifier: Apache-2.0
// NCHW and NHWC tensors into packed pixels. The kernels are chosen once for each call.
#include "common/log.h"
#include "common/pixel_format.h"
#include "tavix_blob_set_cpu/blob_layouts.h"
#include "tavix_blob_set_cpu/tensor_region.h"

namespace tavix::module {

namespace {

constexpr auto &kUnit = kBlobSetUnit;

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
      put_channels<T>(strip, 1, pixels + c * kBytes, channels_, n);
    }
  }

  void read_some_channels(const uint8_t *src, uint8_t *dst) const {
    uint8_t strip[kStripElements * sizeof(T)];
    for_each_block(shape_.w, shape_.c, [&](int64_t x, int64_t n, int64_t c, int64_t channels) {
      convert_(src + (x * shape_.c + c) * bytes_, strip, n * channels);
      put_channels<T>(strip, channels, dst + (x * channels_ + c) * kBytes, channels_, n);
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

int32_t blob_to_frame(const char *function, const TavixBlob *src_blob,
                      const TavixFrames *dst_frames, TensorShape (*shape_of)(const TavixBlob &),
                      bool planar) {
  const auto *src = static_cast<const uint8_t *>(TavixBlobBufferGet(src_blob));
  TAVIX_REFUSE_AS_IF(kUnit, function, any_null(src), TAVIX_ERROR_INVALID_DATA,
                     "TavixBlobBufferGet is nullptr");
  TAVIX_REFUSE_AS_IF(kUnit, function, any_null(dst_frames), TAVIX_ERROR_INVALID_PARAM,
                     "dst_frames(%p) must not be nullptr", dst_frames);
  TAVIX_REFUSE_AS_IF(kUnit, function, dst_frames->frame_num != 1, TAVIX_ERROR_INVALID_PARAM,
                     "dst_frames->frame_num:%d need to be 1", dst_frames->frame_num);
  TAVIX_REFUSE_AS_IF(kUnit, function, any_null(dst_frames->frames), TAVIX_ERROR_INVALID_PARAM,
                     "dst_frames->frames(%p) must not be nullptr", dst_frames->frames);
  TavixFrameV2 *dst = dst_frames->frames[0];
  TAVIX_REFUSE_AS_IF(kUnit, function, any_null(dst), TAVIX_ERROR_INVALID_PARAM,
                     "dst_frame is nullptr");
  TAVIX_REFUSE_AS_IF(kUnit, function, any_plane_null(dst), TAVIX_ERROR_INVALID_PARAM,
                     "dst_frame->data[0] is nullptr");
  // Not the status of the other direction, on purpose.
  TAVIX_REFUSE_AS_IF(kUnit, function, src_blob->dims_size != 4, TAVIX_ERROR_INVALID_PARAM,
                     "src_blob_dims.size:%d need to be 4", src_blob->dims_size);
  const TensorShape shape = shape_of(*src_blob);
  const TavixVideoInfo &video = dst->video;
  TAVIX_REFUSE_AS_IF(kUnit, function, exceeds(shape, video), TAVIX_ERROR_INVALID_PARAM,
                     "dst_frame_width:%d dst_frame_height:%d dst_frame_channel:%d need great or "
                     "equle than src_blob_width:%d src_blob_height:%d src_blob_channel:%d",
                     video.width, video.height, video.channels, shape.w, shape.h, shape.c);
  if (differs(shape, video)) {
    TAVIX_LOG_AS(kUnit, function, TAVIX_LOG_WARNING,
                 "dst_frame_width:%d dst_frame_height:%d dst_frame_channel:%d is different from "
                 "src_blob_width:%d src_blob_height:%d src_blob_channel:%d",
                 video.width, video.height, video.channels, shape.w, shape.h, shape.c);
  }

  const bool float_frame = is_float(video.format);
  const TensorRows &rows = tensor_rows();
  const BlobElement *element = find_element(rows, src_blob->data_type);
  // The type is refused at the first element: an empty blob has none. The texts are kept as they
  // are.
  if (!shape.empty() && element == nullptr) {
    TAVIX_REFUSE_AS_IF(kUnit, function, float_frame, TAVIX_ERROR_UNSUPPORTED,
                       "BlobToFrameDataConvert dst_blob data_type:%d is not support",
                       src_blob->data_type);
    TAVIX_REFUSE_AS(kUnit, function, TAVIX_ERROR_UNSUPPORTED,
                    "ConvertUChar dst_blob data_type:%d is not support", src_blob->data_type);
  }
  TAVIX_REFUSE_AS_IF(kUnit, function, !all_host(dst), TAVIX_ERROR_INVALID_PARAM,
                     "dst_frame memory(%d) must be in host memory", dst->memory);
  if (shape.empty()) return TAVIX_OK;
  TAVIX_REFUSE_AS_IF(
      kUnit, function, !fits_memory(shape, element->bytes), TAVIX_ERROR_INVALID_PARAM,
      "src_blob of %d x %d x %d x %d elements exceeds memory", shape.n, shape.c, shape.h, shape.w);
  TAVIX_REFUSE_AS_IF(
      kUnit, function, !reaches_rows(dst->linesize[0], shape.h), TAVIX_ERROR_INVALID_PARAM,
      "dst_frame->linesize[0]:%d is too large for %d rows", dst->linesize[0], shape.h);

  if (float_frame) {
    TensorReader<float>(*dst, shape, rows, *element).read(src, planar);
  } else {
    TensorReader<uint8_t>(*dst, shape, rows, *element).read(src, planar);
  }
  return TAVIX_OK;
}

}  // namespace

int32_t BlobNCHWToFrameHWCByCPU(const TavixBlob *src_blob, const TavixFrames *dst_frames) {
  return blob_to_frame(__func__, src_blob, dst_frames, nchw_shape, true);
}

int32_t BlobNHWCToFrameHWCByCPU(const TavixBlob *src_blob, const TavixFrames *dst_frames) {
  return blob_to_frame(__func__, src_blob, dst_frames, nhwc_shape, false);
}

}  // namespace tavix::module
