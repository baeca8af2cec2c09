// SPDX-License-Identifier: Apache-2.0
// The converters of NCHW and NHWC tensors: their checks, and the way from frame to blob or back.
#include "common/log.h"
#include "common/pixel_format.h"
#include "tavix_blob_set_cpu/blob_layouts.h"
#include "tavix_blob_set_cpu/tensor_transfer.h"

namespace tavix::module {

namespace {

constexpr auto &kUnit = kBlobSetUnit;

// How a direction words its lines, and what it answers.
struct TensorDirection {
  const char *frame, *blob;    // "src" or "dst"
  int32_t difference_level;    // of the line about a frame larger than the blob
  const char *convert_floats;  // the name of the conversion of float frames
  int32_t beyond_memory;       // status of a blob that exceeds memory
};
constexpr TensorDirection kToBlob = {"src", "dst", TAVIX_LOG_DEBUG, "ConvertFloat",
                                     TAVIX_ERROR_INVALID_DATA};
constexpr TensorDirection kFromBlob = {"dst", "src", TAVIX_LOG_WARNING, "BlobToFrameDataConvert",
                                       TAVIX_ERROR_INVALID_PARAM};

// Whether the elements of a shape that is not empty fit the address space of a process.
constexpr bool fits_memory(const TensorShape &shape, int32_t element_bytes) {
  constexpr int64_t kAddressSpace = int64_t(1) << 47;
  int64_t bytes = element_bytes;
  return !__builtin_mul_overflow(bytes, shape.n, &bytes) &&
         !__builtin_mul_overflow(bytes, shape.c, &bytes) &&
         !__builtin_mul_overflow(bytes, shape.h, &bytes) &&
         !__builtin_mul_overflow(bytes, shape.w, &bytes) && bytes <= kAddressSpace;
}

// The checks that both directions make of a call whose records are there. element: null for a type
// that no converter knows.
int32_t check_tensor(const LogOrigin &by, const TensorDirection &direction,
                     const TavixFrameV2 &frame, const TensorShape &shape, uint32_t data_type,
                     const BlobElement *element) {
  const TavixVideoInfo &video = frame.video;
  const char *const f = direction.frame, *const b = direction.blob;
  TAVIX_INVALID_AS_IF(
      by, video.width < shape.w || video.height < shape.h || video.channels < shape.c,
      "%s_frame_width:%d %s_frame_height:%d %s_frame_channel:%d need great or "
      "equle than %s_blob_width:%d %s_blob_height:%d %s_blob_channel:%d",
      f, video.width, f, video.height, f, video.channels, b, shape.w, b, shape.h, b, shape.c);
  if (video.width != shape.w || video.height != shape.h || video.channels != shape.c) {
    TAVIX_LOG_AS(by, direction.difference_level,
                 "%s_frame_width:%d %s_frame_height:%d %s_frame_channel:%d is different from "
                 "%s_blob_width:%d %s_blob_height:%d %s_blob_channel:%d",
                 f, video.width, f, video.height, f, video.channels, b, shape.w, b, shape.h, b,
                 shape.c);
  }
  // The type is refused at the first element: an empty blob has none. The line speaks of dst_blob
  // in both directions.
  TAVIX_REFUSE_AS_IF(by, !shape.empty() && element == nullptr, TAVIX_ERROR_UNSUPPORTED,
                     "%s dst_blob data_type:%d is not support",
                     is_float(video.format) ? direction.convert_floats : "ConvertUChar", data_type);
  TAVIX_INVALID_AS_IF(by, !all_host(&frame), "%s_frame memory(%d) must be in host memory", f,
                      frame.memory);
  if (shape.empty()) return TAVIX_OK;
  TAVIX_REFUSE_AS_IF(by, !fits_memory(shape, element->bytes), direction.beyond_memory,
                     "%s_blob of %d x %d x %d x %d elements exceeds memory", b, shape.n, shape.c,
                     shape.h, shape.w);
  TAVIX_INVALID_AS_IF(by, !reaches_rows(frame.linesize[0], shape.h),
                      "%s_frame->linesize[0]:%d is too large for %d rows", f, frame.linesize[0],
                      shape.h);
  return TAVIX_OK;
}

// Moves a tensor once it has passed its checks.
template <bool to_blob, class Frame, class Elements>
int32_t transfer(const LogOrigin &by, Frame &frame, const TensorShape &shape, uint32_t data_type,
                 Elements *blob, bool planar) {
  const TensorRows &rows = tensor_rows();
  const auto found = std::ranges::find(rows.elements, data_type, &BlobElement::data_type);
  const BlobElement *const element = found == rows.elements.end() ? nullptr : &*found;
  TAVIX_RETURN_IF_REFUSED(
      check_tensor(by, to_blob ? kToBlob : kFromBlob, frame, shape, data_type, element));
  if (shape.empty()) return TAVIX_OK;
  if (is_float(frame.video.format))
    TensorTransfer<float, to_blob>(frame, shape, rows, *element).run(blob, planar);
  else
    TensorTransfer<uint8_t, to_blob>(frame, shape, rows, *element).run(blob, planar);
  return TAVIX_OK;
}

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
  return transfer<true>(by, src, shape, dst_blob.data_type, dst, planar);
}

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
  return transfer<false>(by, *dst, shape_of(*src_blob), src_blob->data_type, src, planar);
}

}  // namespace

int32_t FrameHWCToBlobNCHWByCPU(const TavixFrames *src_frames, const TavixBlob *dst_blob) {
  TAVIX_RETURN_IF_REFUSED(check_records(TAVIX_HERE(kUnit), src_frames, dst_blob));
  return frame_to_blob(TAVIX_HERE(kUnit), *src_frames->frames[0], *dst_blob, nchw_shape(*dst_blob),
                       true);
}

// Elements are written in NHWC order, but the extents are read as the blob declares them.
int32_t FrameHWCToBlobNHWCByCPU(const TavixFrames *src_frames, const TavixBlob *dst_blob) {
  TAVIX_RETURN_IF_REFUSED(check_records(TAVIX_HERE(kUnit), src_frames, dst_blob));
  const uint32_t layout = dst_blob->data_format;
  TAVIX_REFUSE_IF(kUnit, layout > TAVIX_DATA_FORMAT_NHWC, TAVIX_ERROR_UNSUPPORTED,
                  "dst_blob data_format:%d need to be NHWC or NCHW", layout);
  return frame_to_blob(
      TAVIX_HERE(kUnit), *src_frames->frames[0], *dst_blob,
      layout == TAVIX_DATA_FORMAT_NCHW ? nchw_shape(*dst_blob) : nhwc_shape(*dst_blob), false);
}

int32_t BlobNCHWToFrameHWCByCPU(const TavixBlob *src_blob, const TavixFrames *dst_frames) {
  return blob_to_frame(TAVIX_HERE(kUnit), src_blob, dst_frames, nchw_shape, true);
}

int32_t BlobNHWCToFrameHWCByCPU(const TavixBlob *src_blob, const TavixFrames *dst_frames) {
  return blob_to_frame(TAVIX_HERE(kUnit), src_blob, dst_frames, nhwc_shape, false);
}

}  // namespace tavix::module
