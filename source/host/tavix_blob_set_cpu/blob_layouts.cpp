// SPDX-License-Identifier: Apache-2.0
#include "tavix_blob_set_cpu/blob_layouts.h"

#include "common/log.h"

namespace tavix::module {

namespace {

constexpr auto &kUnit = kBlobSetUnit;

#define TAVIX_LAYOUT_CODE(layout) TAVIX_DATA_FORMAT_##layout,
constexpr uint32_t kCodes[] = {TAVIX_LAYOUTS(TAVIX_LAYOUT_CODE)};
#undef TAVIX_LAYOUT_CODE

constexpr bool in_slot_order() {
  for (uint32_t slot = 0; slot < std::size(kCodes); ++slot)
    if (layout_slot(kCodes[slot]) != slot) return false;
  return std::size(kCodes) == kLayoutSlots;
}
static_assert(in_slot_order(), "the list of layouts is the table");

}  // namespace

#define TAVIX_REFUSING_CONVERTERS(layout)                                          \
  int32_t FrameHWCToBlob##layout##ByCPU(const TavixFrames *, const TavixBlob *) {  \
    TAVIX_LOG(kUnit, TAVIX_LOG_ERROR, "FrameHWCToBlob" #layout " is not support"); \
    return TAVIX_ERROR_UNSUPPORTED;                                                \
  }                                                                                \
  int32_t Blob##layout##ToFrameHWCByCPU(const TavixBlob *, const TavixFrames *) {  \
    TAVIX_LOG(kUnit, TAVIX_LOG_ERROR, "Blob" #layout "ToFrameHWC is not support"); \
    return TAVIX_ERROR_UNSUPPORTED;                                                \
  }
TAVIX_REFUSED_LAYOUTS(TAVIX_REFUSING_CONVERTERS)
#undef TAVIX_REFUSING_CONVERTERS

#define TAVIX_FRAME_TO_BLOB(layout) FrameHWCToBlob##layout##ByCPU,
#define TAVIX_BLOB_TO_FRAME(layout) Blob##layout##ToFrameHWCByCPU,
constinit const std::array<FrameToBlobConverter *, kLayoutSlots + 1> kFrameToBlobConverters = {
    TAVIX_LAYOUTS(TAVIX_FRAME_TO_BLOB) nullptr};
constinit const std::array<BlobToFrameConverter *, kLayoutSlots + 1> kBlobToFrameConverters = {
    TAVIX_LAYOUTS(TAVIX_BLOB_TO_FRAME) nullptr};
#undef TAVIX_FRAME_TO_BLOB
#undef TAVIX_BLOB_TO_FRAME

}  // namespace tavix::module
