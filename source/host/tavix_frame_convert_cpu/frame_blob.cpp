// SPDX-License-Identifier: Apache-2.0
// Frames into blobs and back: the layout code picks a converter, which checks and works. A failed
// conversion logs twice, once under the converter's name and once under the entry's.
#include <memory>
#include <new>

#include "common/frame_access.h"
#include "common/log.h"
#include "tavix/video_common_cpu/blob.h"
#include "tavix_blob_set_cpu/blob_layouts.h"

using namespace tavix::module;

namespace {

constexpr auto &kUnit = kFrameConvertUnit;

// Checks the blob and finds the converter of its layout; slot: where the table has it.
template <class Converters, class Converter>
int32_t find_converter(const LogOrigin &by, const char *name, const TavixBlob *blob,
                       const Converters &converters, uint32_t (*slot)(uint32_t code),
                       Converter *&converter) {
  TAVIX_INVALID_AS_IF(by, any_null(blob), "%s(%p) must not be nullptr", name,
                      static_cast<const void *>(blob));
  converter = converters[slot(blob->data_format)];
  // The line speaks of a destination blob in both directions.
  TAVIX_REFUSE_AS_IF(by, converter == nullptr, TAVIX_ERROR_UNSUPPORTED,
                     "dst_blob data format:%d is not support", blob->data_format);
  return TAVIX_OK;
}

// The list of one frame; converters only read source frames.
struct FrameList {
  std::unique_ptr<TavixFrames> list;
  std::unique_ptr<TavixFrameV2 *[]> frames;

  int32_t make(const LogOrigin &by, const char *name, const TavixFrameV2 *frame) {
    list.reset(new (std::nothrow) TavixFrames{});
    TAVIX_REFUSE_AS_IF(by, list == nullptr, TAVIX_ERROR_MEMORY, "malloc TavixFrames failed");
    frames.reset(new (std::nothrow) TavixFrameV2 *[1]);
    TAVIX_REFUSE_AS_IF(by, frames == nullptr, TAVIX_ERROR_MEMORY, "malloc %s failed", name);
    frames[0] = const_cast<TavixFrameV2 *>(frame);
    *list = {frames.get(), 1};
    return TAVIX_OK;
  }
};

// What a converter returned.
int32_t reported(const LogOrigin &by, int32_t status) {
  TAVIX_REFUSE_AS_IF(by, status != TAVIX_OK, status, "convert data type failed");
  return TAVIX_OK;
}

}  // namespace

// The entries for one frame take the layout code itself as the slot, so that codes 9 to 14 mean the
// layouts CNH4 to C; those for lists fold the codes from 1000 on. Both are kept as they are.
int32_t TavixFrameToBlobByCPU(const TavixFrameV2 *src_frame, TavixBlob *dst_blob) {
  FrameToBlobConverter *convert;
  TAVIX_RETURN_IF_REFUSED(find_converter(TAVIX_HERE(kUnit), "dst_blob", dst_blob,
                                         kFrameToBlobConverters, raw_layout_slot, convert));
  FrameList src;
  TAVIX_RETURN_IF_REFUSED(src.make(TAVIX_HERE(kUnit), "frames", src_frame));
  return reported(TAVIX_HERE(kUnit), convert(src.list.get(), dst_blob));
}

int32_t TavixFramesToBlobByCPU(const TavixFrames *src_frames, TavixBlob *dst_blob) {
  FrameToBlobConverter *convert;
  TAVIX_RETURN_IF_REFUSED(find_converter(TAVIX_HERE(kUnit), "dst_blob", dst_blob,
                                         kFrameToBlobConverters, layout_slot, convert));
  return reported(TAVIX_HERE(kUnit), convert(src_frames, dst_blob));
}

int32_t TavixBlobToFrameByCPU(const TavixBlob *src_blob, TavixFrameV2 *dst_frame) {
  BlobToFrameConverter *convert;
  TAVIX_RETURN_IF_REFUSED(find_converter(TAVIX_HERE(kUnit), "src_blob", src_blob,
                                         kBlobToFrameConverters, raw_layout_slot, convert));
  FrameList dst;
  TAVIX_RETURN_IF_REFUSED(dst.make(TAVIX_HERE(kUnit), "TavixFrameV2", dst_frame));
  return reported(TAVIX_HERE(kUnit), convert(src_blob, dst.list.get()));
}

int32_t TavixBlobToFramesByCPU(const TavixBlob *src_blob, TavixFrames *dst_frames) {
  BlobToFrameConverter *convert;
  TAVIX_RETURN_IF_REFUSED(find_converter(TAVIX_HERE(kUnit), "src_blob", src_blob,
                                         kBlobToFrameConverters, layout_slot, convert));
  return reported(TAVIX_HERE(kUnit), convert(src_blob, dst_frames));
}
