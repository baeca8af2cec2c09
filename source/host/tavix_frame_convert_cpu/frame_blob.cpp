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

using FrameArray = std::unique_ptr<TavixFrameV2 *[]>;

FrameArray make_frame_array() {
  return FrameArray(new (std::nothrow) TavixFrameV2 *[1]);
}

std::unique_ptr<TavixFrames> make_frame_list() {
  return std::unique_ptr<TavixFrames>(new (std::nothrow) TavixFrames{});
}

// The list of one frame; converters only read source frames.
void fill_list(TavixFrames &list, const FrameArray &array, const TavixFrameV2 *frame) {
  array[0] = const_cast<TavixFrameV2 *>(frame);
  list = {array.get(), 1};
}

}  // namespace

// The entries for one frame take the layout code itself as the slot, so that codes 9 to 14 mean the
// layouts CNH4 to C; those for lists fold the codes from 1000 on. Both are kept as they are.
int32_t TavixFrameToBlobByCPU(const TavixFrameV2 *src_frame, TavixBlob *dst_blob) {
  TAVIX_REFUSE_IF(kUnit, any_null(dst_blob), TAVIX_ERROR_INVALID_PARAM,
                  "dst_blob(%p) must not be nullptr", dst_blob);
  const auto convert = kFrameToBlobConverters[raw_layout_slot(dst_blob->data_format)];
  TAVIX_REFUSE_IF(kUnit, convert == nullptr, TAVIX_ERROR_UNSUPPORTED,
                  "dst_blob data format:%d is not support", dst_blob->data_format);
  const auto list = make_frame_list();
  TAVIX_REFUSE_IF(kUnit, list == nullptr, TAVIX_ERROR_MEMORY, "malloc TavixFrames failed");
  const auto array = make_frame_array();
  TAVIX_REFUSE_IF(kUnit, array == nullptr, TAVIX_ERROR_MEMORY, "malloc frames failed");
  fill_list(*list, array, src_frame);
  const int32_t status = convert(list.get(), dst_blob);
  TAVIX_REFUSE_IF(kUnit, status != TAVIX_OK, status, "convert data type failed");
  return TAVIX_OK;
}

int32_t TavixFramesToBlobByCPU(const TavixFrames *src_frames, TavixBlob *dst_blob) {
  TAVIX_REFUSE_IF(kUnit, any_null(dst_blob), TAVIX_ERROR_INVALID_PARAM,
                  "dst_blob(%p) must not be nullptr", dst_blob);
  const auto convert = kFrameToBlobConverters[layout_slot(dst_blob->data_format)];
  TAVIX_REFUSE_IF(kUnit, convert == nullptr, TAVIX_ERROR_UNSUPPORTED,
                  "dst_blob data format:%d is not support", dst_blob->data_format);
  const int32_t status = convert(src_frames, dst_blob);
  TAVIX_REFUSE_IF(kUnit, status != TAVIX_OK, status, "convert data type failed");
  return TAVIX_OK;
}

// The messages speak of a destination blob in this direction too.
int32_t TavixBlobToFrameByCPU(const TavixBlob *src_blob, TavixFrameV2 *dst_frame) {
  TAVIX_REFUSE_IF(kUnit, any_null(src_blob), TAVIX_ERROR_INVALID_PARAM,
                  "src_blob(%p) must not be nullptr", src_blob);
  const auto convert = kBlobToFrameConverters[raw_layout_slot(src_blob->data_format)];
  TAVIX_REFUSE_IF(kUnit, convert == nullptr, TAVIX_ERROR_UNSUPPORTED,
                  "dst_blob data format:%d is not support", src_blob->data_format);
  const auto list = make_frame_list();
  TAVIX_REFUSE_IF(kUnit, list == nullptr, TAVIX_ERROR_MEMORY, "malloc TavixFrames failed");
  const auto array = make_frame_array();
  TAVIX_REFUSE_IF(kUnit, array == nullptr, TAVIX_ERROR_MEMORY, "malloc TavixFrameV2 failed");
  fill_list(*list, array, dst_frame);
  const int32_t status = convert(src_blob, list.get());
  TAVIX_REFUSE_IF(kUnit, status != TAVIX_OK, status, "convert data type failed");
  return TAVIX_OK;
}

int32_t TavixBlobToFramesByCPU(const TavixBlob *src_blob, TavixFrames *dst_frames) {
  TAVIX_REFUSE_IF(kUnit, any_null(src_blob), TAVIX_ERROR_INVALID_PARAM,
                  "src_blob(%p) must not be nullptr", src_blob);
  const auto convert = kBlobToFrameConverters[layout_slot(src_blob->data_format)];
  TAVIX_REFUSE_IF(kUnit, convert == nullptr, TAVIX_ERROR_UNSUPPORTED,
                  "dst_blob data format:%d is not support", src_blob->data_format);
  const int32_t status = convert(src_blob, dst_frames);
  TAVIX_REFUSE_IF(kUnit, status != TAVIX_OK, status, "convert data type failed");
  return TAVIX_OK;
}
