// SPDX-License-Identifier: Apache-2.0
#include "calls.h"

#include <cstring>
#include <memory>

#include "tavix/core.h"
#include "tavix/video_common_cpu.h"

namespace tavix::proof {

namespace {

using test::GuardedFrame;

// What every call works on: made before anything fails, and never freed.
struct Records {
  static constexpr int32_t kWidth = 37, kHeight = 18;

  GuardedFrame a, b, dst, mask, nv12, larger;
  TavixBlob *tensor = make_blob({1, 3, kHeight, kWidth}),
            *other = make_blob({1, 3, kHeight, kWidth});
  TavixFrameV2 *a_list[1] = {a}, *dst_list[1] = {dst};
  TavixFrames a_frames = {a_list, 1}, dst_frames = {dst_list, 1};
  double ones[4] = {1, 1, 1, 1}, parts[4] = {0.5, 0.25, 0.125, 2};
  float norm_vals[8] = {1, 2, 3, 4, 0.5f, 0.25f, 2, 1};
  float affine[6] = {0.9f, 0.1f, 1, -0.1f, 1.1f, 2},
        perspective[9] = {0.9f, 0.1f, 1, -0.1f, 1.1f, 2, 0.001f, 0, 1};
  float weights[9] = {0, 1, 0, 1, -4, 1, 0, 1, 0};
  uint8_t shape[9] = {0, 1, 0, 1, 1, 1, 0, 1, 0};
  TavixKernel filter = {3, 3, TAVIX_DATA_TYPE_FLOAT32, weights},
              element = {3, 3, TAVIX_DATA_TYPE_UINT8, shape};

  // What a call makes.
  TavixFrameV2 *frame = nullptr;
  TavixArray *array = nullptr;
  TavixBlob *blob = nullptr;
  TavixChannelFrames channels = {};

  static TavixBlob *make_blob(std::vector<int32_t> dims) {
    return TavixBlobAlloc(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NCHW, 4, dims.data());
  }

  explicit Records(const test::FrameLayout &layout)
      : a({TAVIX_PIX_FMT_BGR24, kWidth, kHeight}, layout),
        b({TAVIX_PIX_FMT_BGR24, kWidth, kHeight}, layout),
        dst({TAVIX_PIX_FMT_BGR24, kWidth, kHeight}, layout),
        mask({TAVIX_PIX_FMT_GRAY8, kWidth, kHeight}, layout),
        nv12({TAVIX_PIX_FMT_NV12, kWidth, kHeight}, layout),
        larger({TAVIX_PIX_FMT_BGR24, kWidth + 4, kHeight + 4}, layout) {
    a.fill(test::Fill::noise, 1), b.fill(test::Fill::noise, 2), mask.fill(test::Fill::noise, 4);
    renew();
    auto *scores = static_cast<float *>(TavixBlobBufferGet(tensor));
    for (int i = 0; i < 3 * kHeight * kWidth; ++i) scores[i] = float(i % 97) / 9 - 5;
  }

  // What calls write is as it was in the beginning.
  void renew() {
    nv12.fill(test::Fill::noise, 5);
    dst.fill(test::Fill::noise, 6), larger.fill(test::Fill::noise, 6);
    std::memset(TavixBlobBufferGet(other), 0, sizeof(float) * 3 * kHeight * kWidth);
  }
};

// The bytes of what calls write and make.
class Collector {
 public:
  void add(const void *data, size_t size) {
    const auto *bytes = static_cast<const uint8_t *>(data);
    result_.bytes.insert(result_.bytes.end(), bytes, bytes + size);
  }
  void add(const GuardedFrame &frame) {
    const auto payload = frame.payload();
    add(payload.data(), payload.size());
  }
  void take(TavixFrameV2 *&frame) {
    if (frame == nullptr) return;
    result_.made_something = true;
    const int32_t element = test::is_float_format(frame->video.format) ? 4 : 1;
    for (int32_t y = 0; y < frame->video.height; ++y)
      add(frame->data[0] + int64_t(y) * frame->linesize[0],
          size_t(frame->video.width * frame->video.channels * element));
    TavixFrameFreeV2(frame);
    frame = nullptr;
  }
  void take(TavixArray *&array) {
    if (array == nullptr) return;
    result_.made_something = true;
    for (int32_t i = 0; i < array->count; ++i) add(&array->elements[i].value, sizeof(double));
    TavixArrayFree(array);
    array = nullptr;
  }
  void take(TavixBlob *&blob) {
    if (blob == nullptr) return;
    result_.made_something = true;
    add(TavixBlobBufferGet(blob), 16);
    TavixBlobFree(blob);
    blob = nullptr;
  }
  const Result &result() const { return result_; }

 private:
  Result result_;
};

}  // namespace

std::vector<Subject> subjects(const test::FrameLayout &layout) {
  static auto &kept = *new std::vector<std::unique_ptr<Records>>;
  Records &r = *kept.emplace_back(new Records(layout));
  const auto take = [&r] {
    Collector all;
    for (const GuardedFrame *frame : {&r.dst, &r.larger, &r.nv12}) all.add(*frame);
    all.add(TavixBlobBufferGet(r.other), sizeof(float) * 3 * Records::kHeight * Records::kWidth);
    for (TavixFrameV2 **slot : {&r.frame, &r.channels.red, &r.channels.green, &r.channels.blue})
      all.take(*slot);
    all.take(r.array);
    all.take(r.blob);
    r.renew();
    return all.result();
  };

  std::vector<Subject> all;
  const auto add = [&](const char *name, int lines, std::function<int32_t()> call) {
    all.push_back({name, lines, std::move(call), take});
  };

  // Arithmetic, statistics, softmax: each of the four layers.
#define TAVIX_ADD_BINARY(layer)                                                              \
  add("TavixFrameBinaryArithmetic" #layer, 1, [&r] {                                         \
    return TavixFrameBinaryArithmetic##layer(r.a, r.b, TAVIX_BINARY_OP_ADD, r.ones, r.parts, \
                                             r.parts, r.dst);                                \
  })
#define TAVIX_ADD_UNARY(layer)                                                                  \
  add("TavixFrameUnaryArithmetic" #layer, 1, [&r] {                                             \
    return TavixFrameUnaryArithmetic##layer(r.a, TAVIX_UNARY_OP_SQRT, r.parts, r.parts, r.dst); \
  })
#define TAVIX_ADD_STATISTICS(layer)              \
  add("TavixFrameStatisticalFunction" #layer, 2, \
      [&r] { return TavixFrameStatisticalFunction##layer(r.a, TAVIX_STAT_OP_STDDEV, &r.array); })
#define TAVIX_ADD_SOFTMAX(layer) \
  add("TavixBlobSoftmax" #layer, 1, [&r] { return TavixBlobSoftmax##layer(r.tensor, 1, r.other); })
#define TAVIX_ADD_LAYERS(add_layer) \
  add_layer(ByCPU);                 \
  add_layer(Forward);               \
  add_layer(CommonC);               \
  add_layer(AVX)
  TAVIX_ADD_LAYERS(TAVIX_ADD_BINARY);
  TAVIX_ADD_LAYERS(TAVIX_ADD_UNARY);
  TAVIX_ADD_LAYERS(TAVIX_ADD_STATISTICS);
  TAVIX_ADD_LAYERS(TAVIX_ADD_SOFTMAX);
#undef TAVIX_ADD_BINARY
#undef TAVIX_ADD_UNARY
#undef TAVIX_ADD_STATISTICS
#undef TAVIX_ADD_SOFTMAX
#undef TAVIX_ADD_LAYERS

  // Colour and blobs.
  add("TavixFrameConvertColorByCPU", 1, [&r] { return TavixFrameConvertColorByCPU(r.a, r.nv12); });
  add("TavixFrameToBlobByCPU", 1, [&r] { return TavixFrameToBlobByCPU(r.a, r.other); });
  add("TavixFramesToBlobByCPU", 1, [&r] { return TavixFramesToBlobByCPU(&r.a_frames, r.other); });
  add("TavixBlobToFrameByCPU", 1, [&r] { return TavixBlobToFrameByCPU(r.tensor, r.dst); });
  add("TavixBlobToFramesByCPU", 1,
      [&r] { return TavixBlobToFramesByCPU(r.tensor, &r.dst_frames); });
  add("TavixFrameDataTypeConvertNormalizationFuseByCPU", 2, [&r] {
    return TavixFrameDataTypeConvertNormalizationFuseByCPU(r.a, &r.frame, TAVIX_DATA_TYPE_FLOAT32,
                                                           r.norm_vals);
  });

  // Geometry.
  add("TavixFrameResizeByCPU", 0, [&r] {
    return TavixFrameResizeByCPU(r.a, r.larger, Records::kWidth + 4, Records::kHeight + 4, 1);
  });
  add("TavixFrameResizeByScaleByCPU", 2,
      [&r] { return TavixFrameResizeByScaleByCPU(r.a, &r.frame, 0.5, 2, 1); });
  add("TavixFrameWarpAffineByCPU", 0,
      [&r] { return TavixFrameWarpAffineByCPU(r.larger, r.a, r.affine, 1, 0, 7); });
  add("TavixFrameWarpPerspectiveByCPU", 0,
      [&r] { return TavixFrameWarpPerspectiveByCPU(r.larger, r.a, r.perspective, 1, 0, 7); });
  add("TavixFrameRoiByCPU", 0, [&r] {
    return TavixFrameRoiByCPU(r.a, r.larger, {1, 2, 10, 9}, {3, 4, 10, 9});
  });
  add("TavixFrameCopyMakeBorderByCPU", 0,
      [&r] { return TavixFrameCopyMakeBorderByCPU(r.a, r.larger, 1, 3, 2, 2, 4, 0); });

  // Filters.
  add("TavixFrameBlurByCPU", 1, [&r] { return TavixFrameBlurByCPU(r.a, r.dst, {5, 3}); });
  add("TavixFrameBoxFilterByCPU", 1, [&r] {
    const TavixSize size = {3, 5};
    return TavixFrameBoxFilterByCPU(r.a, r.dst, &size);
  });
  add("TavixFrameFilter2DByCPU", 1,
      [&r] { return TavixFrameFilter2DByCPU(r.a, r.dst, &r.filter); });
  add("TavixFrameDilateBorderByCPU", 1,
      [&r] { return TavixFrameDilateBorderByCPU(r.a, r.dst, &r.element); });
  add("TavixFrameErodeBorderByCPU", 1,
      [&r] { return TavixFrameErodeBorderByCPU(r.a, r.dst, &r.element); });
  add("TavixFrameThresholdBinaryByCPU", 1,
      [&r] { return TavixFrameThresholdBinaryByCPU(r.a, r.dst, 100, 200, 0); });
  add("TavixFrameMinMaxNormByCPU", 1,
      [&r] { return TavixFrameMinMaxNormByCPU(r.a, r.dst, 10, 200); });

  // Channels, masks and fills.
  add("TavixFrameChannelSplitByCPU", 2,
      [&r] { return TavixFrameChannelSplitByCPU(r.a, &r.channels, 7); });
  add("TavixFrameAddMaskByCPU", 2, [&r] {
    const int32_t status = TavixFrameAddMaskByCPU(r.a, r.mask, &r.frame);
    if (status != TAVIX_OK) r.frame = nullptr;  // must not be used
    return status;
  });
  add("TavixFrameMultiFrameByCPU", 2,
      [&r] { return TavixFrameMultiFrameByCPU(r.a, r.b, &r.frame); });
  add("TavixFrameMemfillByCPU", 0, [&r] { return TavixFrameMemfillByCPU(r.dst, r.dst, 77); });

  // The core's services and what applications call.
  const auto made = [](const void *result) {
    return result == nullptr ? TAVIX_ERROR_MEMORY : TAVIX_OK;
  };
  add("TavixVideoFrameAllocV2", 1, [made, &r] {
    return made(r.frame = TavixVideoFrameAllocV2(TAVIX_PIX_FMT_BGR24, 0, 20, 10, 0, 64));
  });
  add("TavixFrameFreeV2", 0, [] {
    TavixFrameFreeV2(nullptr);
    return TAVIX_OK;
  });
  add("TavixFrameCopyV2", 0, [&r] { return TavixFrameCopyV2(r.dst, r.a, 0, 0); });
  add("TavixArrayAlloc", 1,
      [made, &r] { return made(r.array = TavixArrayAlloc(TAVIX_ARRAY_TYPE_DOUBLE, 3)); });
  add("TavixLoggerLogV2", 1, [] {
    TavixLoggerLogV2(TAVIX_LOG_ERROR, "file", "function", 1, "%0600d", 7);
    return TAVIX_OK;
  });
  add("TavixAtDeinitializeRegister", 0, [] {
    TavixAtDeinitializeRegister([] {});
    return TAVIX_OK;
  });
  add("TavixBlobBufferGet", 0, [made, &r] { return made(TavixBlobBufferGet(r.tensor)); });
  add("TavixBufferDataGetV2", 0,
      [made, &r] { return made(TavixBufferDataGetV2(r.tensor->buffer)); });
  add("TavixBlobAlloc", 1, [made, &r] {
    constexpr int32_t kDims[] = {4, 5};
    return made(r.blob = TavixBlobAlloc(TAVIX_DATA_TYPE_FLOAT32, 0, 2, kDims));
  });
  add("TavixBufferWrap", 1, [made] {
    TavixBuffer *buffer = TavixBufferWrap(nullptr, nullptr, nullptr);
    TavixBufferRelease(buffer);
    return made(buffer);
  });
  add("TavixBufferRetain", 0, [&r] {
    TavixBufferRelease(TavixBufferRetain(r.tensor->buffer));
    return TAVIX_OK;
  });
  add("TavixDeinitialize", 0, [] {
    TavixDeinitialize();
    return TAVIX_OK;
  });
  return all;
}

}  // namespace tavix::proof
