// SPDX-License-Identifier: Apache-2.0
#include "frame_layer_calls.h"

#include <algorithm>
#include <cstring>

#include "support/fill.h"
#include "tavix/frame.hpp"

namespace tavix::proof {

namespace {

constexpr int32_t kWidth = 21, kHeight = 13;

// The bytes of the last result, which take no memory of their own.
struct Kept {
  uint8_t bytes[1 << 12];
  size_t size;
};
Kept kept = {};

void keep(const void *data, size_t size) {
  kept.size = std::min(size, sizeof kept.bytes);
  std::memcpy(kept.bytes, data, kept.size);
}

void keep(const Frame &frame) {
  keep(frame->data[0], size_t(frame->linesize[0]) * size_t(frame.height()));
}

// Made before anything fails.
const Frame &source() {
  static const Frame frame = [] {
    Frame made(TAVIX_PIX_FMT_BGR24, kWidth, kHeight);
    test::Random random(1);
    for (int32_t i = 0; i < made->linesize[0] * kHeight; ++i)
      made->data[0][i] = uint8_t(random.below(256));
    return made;
  }();
  return frame;
}

}  // namespace

std::vector<Subject> frame_layer_subjects() {
  source();
  const auto take = [] {
    Result result = {{kept.bytes, kept.bytes + kept.size}, false};
    kept.size = 0;
    return result;
  };
  std::vector<Subject> all;
  const auto add = [&](const char *name, int lines, void (*use)()) {
    all.push_back({name, lines,
                   [use] {
                     use();
                     return TAVIX_OK;
                   },
                   take, true});
  };
  add("LayerFrame", 1, [] { keep(Frame(TAVIX_PIX_FMT_NV12, 8, 6)); });
  add("LayerClone", 1, [] { keep(source().clone()); });
  add("LayerBlob", 1, [] {
    const Blob blob(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NCHW, {1, 2, 3, 4});
    keep(blob.elements(), blob.size() * sizeof(float));
  });
  add("LayerCall", 1, [] {
    Frame small(TAVIX_PIX_FMT_BGR24, 7, 5);
    call<TavixFrameResizeByCPU>(source(), small, 7, 5, 1);
    keep(small);
  });
  add("LayerOutFrame", 2, [] {
    constexpr float kValues[8] = {1, 2, 3, 0, 1, 1, 1, 1};
    Frame floats;
    call<TavixFrameDataTypeConvertNormalizationFuseByCPU>(
        source(), out(floats), int32_t(TAVIX_DATA_TYPE_FLOAT32), kValues);
    keep(floats);
  });
  add("LayerOutArray", 2, [] {
    Array sums;
    call<TavixFrameStatisticalFunctionByCPU>(source(), int32_t(TAVIX_STAT_OP_SUM), out(sums));
    keep(&sums.get()->elements[0].value, sizeof(double));
  });
  add("LayerOutChannels", 2, [] {
    ChannelFrames channels;
    call<TavixFrameChannelSplitByCPU>(source(), out(channels), 7u);
    keep(channels.green);
  });
  add("LayerMask", 2, [] {
    const Frame mask(TAVIX_PIX_FMT_GRAY8, kWidth - 2, kHeight);
    Frame made;
    call<TavixFrameAddMaskByCPU>(source(), mask, out(made));
    keep(made);
  });
  add("LayerProduct", 2, [] {
    Frame made;
    call<TavixFrameMultiFrameByCPU>(source(), source(), out(made));
    keep(made);
  });
  // An error, and an exception of OpenCV, of which only the text depends on the memory that is
  // left.
  add("LayerRefusal", 1, [] {
    try {
      ChannelFrames channels;
      call<TavixFrameChannelSplitByCPU>(source(), out(channels), 8u);
    } catch (const Error &error) {
      keep(error.what(), std::strlen(error.what()));
    }
  });
  add("LayerException", 1, [] {
    Frame small(TAVIX_PIX_FMT_BGR24, 7, 5);
    try {
      call<TavixFrameRoiByCPU>(source(), small, TavixRect{0, 0, 90, 90}, TavixRect{0, 0, 90, 90});
    } catch (const Error &error) {
      keep(error.function().data(), error.function().size());
    }
  });
  return all;
}

}  // namespace tavix::proof
