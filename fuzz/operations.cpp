// SPDX-License-Identifier: Apache-2.0
// Calls any exported operation with any records. An input is a row of choices: of records whose
// memory is as large as they say, perhaps spoiled so that they say less or what no record says, of
// the operation, and of its parameters. Whatever the call answers, it touches no memory but that of
// its records (guard pages and sanitizers see to it), leaves its sources as they were, returns a
// known status, and loses nothing.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <opencv2/core.hpp>
#include <vector>

#include "choices.h"
#include "support/core_double.h"
#include "support/guarded_blob.h"
#include "support/guarded_frame.h"
#include "tavix/video_common_cpu.h"

namespace tavix::fuzz {
namespace {

using test::GuardedBlob;
using test::GuardedFrame;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

constexpr int32_t kPixelFormats[] = {0, 1, 2, 4, 5, 7, 8, 9, 10, 11, 12, 13, 14, 15};
constexpr int32_t kNoFormats[] = {-1, 3, 6, 16, 17, 1000, INT32_MIN, INT32_MAX};
constexpr int32_t kSides[] = {1, 2, 3, 8, 16, 31, 33, 64};
constexpr int32_t kSmall[] = {1, 0, -1, INT32_MIN};
constexpr int32_t kIntegers[] = {0, 1, 2, 3, 4, 5, 7, 10, 31, -1, -2, INT32_MIN, INT32_MAX};
constexpr int32_t kExtents[] = {1, 2, 3, 17, 40, 0, -1, INT32_MIN};
constexpr float kFloats[] = {0,   1,     2,      3,      0.5f, -1,        8.25f,
                             255, 1e30f, -1e30f, 1e-30f, kNan, kInfinity, -kInfinity};
constexpr uint32_t kMemories[] = {1, 2, UINT32_MAX};
constexpr uint32_t kDataTypes[] = {0, 2, 3, 5, 6, 11, 12, 13, 0, 0, 11, 1, 4, 99, UINT32_MAX};
constexpr uint32_t kDataFormats[] = {0, 1,  0,  1,    0,    1,    2,    3,         8,
                                     9, 15, 16, 1000, 1005, 1006, 1007, UINT32_MAX};

void require(bool holds, const char *what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

test::FrameShape any_shape(Choices &c) {
  return {c.of(kPixelFormats), c.of(kSides), c.of(kSides)};
}

void spoil(Choices &c, TavixFrameV2 &frame) {
  switch (c.byte() % 6) {
    case 0:
      frame.memory = c.of(kMemories);
      break;
    case 1:
      frame.data[c.byte() % 3] = nullptr;
      break;
    case 2:
      frame.video.width = c.of(kSmall);
      break;
    case 3:
      frame.video.height = c.of(kSmall);
      break;
    case 4:
      frame.video.channels = c.of(kSmall);
      break;
    case 5:
      frame.video.format = c.of(kNoFormats);
      break;
  }
}

// Three frames, mostly of one shape; the first two are sources, the last a destination.
struct Frames {
  explicit Frames(Choices &c)
      : usual(any_shape(c)),
        a(make(c)),
        b(make(c)),
        dst(make(c)),
        payload_a(a.payload()),
        payload_b(b.payload()) {
    if (c.rarely()) spoil(c, *a);
    if (c.rarely()) spoil(c, *b);
    if (c.rarely()) spoil(c, *dst);
  }
  ~Frames() {
    require(a.intact() && b.intact() && dst.intact(), "padding was written");
    require(a.payload() == payload_a && b.payload() == payload_b, "a source was written");
  }

  GuardedFrame make(Choices &c) const {
    GuardedFrame frame(c.rarely() ? any_shape(c) : usual, c.of(test::kLayouts));
    frame.fill(c.of(test::kFills), c.byte());
    return frame;
  }

  test::FrameShape usual;
  GuardedFrame a, b, dst;
  std::vector<uint8_t> payload_a, payload_b;
};

template <class T>
T *maybe(Choices &c, T *pointer) {
  return c.rarely() ? nullptr : pointer;
}

template <class T, size_t n>
struct Values {
  explicit Values(Choices &c) {
    for (T &value : values) value = T(c.of(kFloats));
  }
  T values[n];
};

// Mostly the frame's extents, so that conversions happen.
std::vector<int32_t> any_extents(Choices &c, const TavixVideoInfo &video, bool planar) {
  const int32_t width = c.rarely() ? c.of(kSides) : std::max(video.width, 1);
  const int32_t height = c.rarely() ? c.of(kSides) : std::max(video.height, 1);
  const int32_t channels = c.rarely() ? c.of(kSides) : std::max(video.channels, 1);
  const int32_t n = c.rarely() ? 2 : 1;
  if (planar) return {n, channels, height, width};
  return {n, height, width, channels};
}

struct Blob {
  Blob(Choices &c, uint32_t data_type, uint32_t data_format, const std::vector<int32_t> &dims)
      : blob(data_type, data_format, dims, test::blob_element_bytes(data_type) == 0 ? 64 : 0) {
    for (uint8_t &byte : blob.elements<uint8_t>()) byte = c.byte();
    if (!c.rarely()) return;
    switch (c.byte() % 3) {
      case 0:
        blob->dims_size = c.of(kIntegers);
        break;
      case 1:
        blob->dims[c.byte() % 4] = c.of({0, -1, INT32_MIN});
        break;
      case 2:
        blob->buffer = nullptr;
        break;
    }
  }
  ~Blob() { require(blob.intact(), "memory before a blob was written"); }

  GuardedBlob blob;
};

// Some operations look at the destination with the source's format, which must hold no more.
TavixFrameV2 *as_source(Frames &f) {
  const auto pixel = [](const TavixFrameV2 &frame) {
    return test::channels_of(frame.video.format) *
           (test::is_float_format(frame.video.format) ? 4 : 1);
  };
  return pixel(*f.a) <= pixel(*f.dst) ? &*f.dst : nullptr;
}

// ---- The operations. ----

using Operation = int32_t(Choices &c, Frames &f);

int32_t binary_arithmetic(Choices &c, Frames &f) {
  constexpr decltype(&TavixFrameBinaryArithmeticByCPU) kEntries[] = {
      TavixFrameBinaryArithmeticByCPU, TavixFrameBinaryArithmeticForward,
      TavixFrameBinaryArithmeticCommonC, TavixFrameBinaryArithmeticAVX};
  const Values<double, 4> alpha(c), beta(c), gamma(c);
  return c.of(kEntries)(maybe(c, &*f.a), maybe(c, &*f.b), uint32_t(c.of(kIntegers)),
                        maybe(c, alpha.values), maybe(c, beta.values), maybe(c, gamma.values),
                        maybe(c, &*f.dst));
}

int32_t unary_arithmetic(Choices &c, Frames &f) {
  constexpr decltype(&TavixFrameUnaryArithmeticByCPU) kEntries[] = {
      TavixFrameUnaryArithmeticByCPU, TavixFrameUnaryArithmeticForward,
      TavixFrameUnaryArithmeticCommonC, TavixFrameUnaryArithmeticAVX};
  const Values<double, 4> scale(c), offset(c);
  return c.of(kEntries)(maybe(c, &*f.a), c.of(kIntegers), maybe(c, scale.values),
                        maybe(c, offset.values), maybe(c, &*f.dst));
}

int32_t statistics(Choices &c, Frames &f) {
  constexpr decltype(&TavixFrameStatisticalFunctionByCPU) kEntries[] = {
      TavixFrameStatisticalFunctionByCPU, TavixFrameStatisticalFunctionForward,
      TavixFrameStatisticalFunctionCommonC, TavixFrameStatisticalFunctionAVX};
  TavixArray *array = nullptr;
  const int32_t status = c.of(kEntries)(maybe(c, &*f.a), c.of(kIntegers), maybe(c, &array));
  TavixArrayFree(array);
  return status;
}

int32_t softmax(Choices &c, Frames &f) {
  constexpr decltype(&TavixBlobSoftmaxByCPU) kEntries[] = {
      TavixBlobSoftmaxByCPU, TavixBlobSoftmaxForward, TavixBlobSoftmaxCommonC, TavixBlobSoftmaxAVX};
  const uint32_t type = c.rarely() ? c.of(kDataTypes) : uint32_t(TAVIX_DATA_TYPE_FLOAT32);
  const auto dims = any_extents(c, f.a->video, true);
  Blob src(c, type, 0, dims), dst(c, type, 0, c.rarely() ? any_extents(c, f.a->video, true) : dims);
  return c.of(kEntries)(maybe(c, &*src.blob), c.of(kIntegers), maybe(c, &*dst.blob));
}

// The destination must be as large as the source, and some conversions go to the ends of strides.
int32_t convert_color(Choices &c, Frames &f) {
  GuardedFrame src(f.usual), dst({c.of(kPixelFormats), f.usual.width, f.usual.height});
  src.fill(c.of(test::kFills), c.byte());
  if (c.rarely()) spoil(c, c.byte() % 2 == 0 ? *src : *dst);
  const int32_t status = TavixFrameConvertColorByCPU(maybe(c, &*src), maybe(c, &*dst));
  require(src.intact() && dst.intact(), "padding was written");
  return status;
}

int32_t blobs(Choices &c, Frames &f) {
  const uint32_t layout = c.of(kDataFormats);
  Blob blob(c, c.of(kDataTypes), layout, any_extents(c, f.dst->video, layout != 1));
  if (c.rarely()) std::fill_n(blob.blob->dims, 8, INT32_MAX);
  TavixFrameV2 *src_frame[] = {maybe(c, &*f.a)}, *dst_frame[] = {maybe(c, &*f.dst)};
  const int32_t count = c.rarely() ? c.of(kIntegers) : 1;
  const TavixFrames src = {maybe(c, src_frame), count};
  TavixFrames dst = {maybe(c, dst_frame), count};
  TavixBlob *tensor = maybe(c, &*blob.blob);
  switch (c.byte() % 4) {
    case 0:
      return TavixFrameToBlobByCPU(src_frame[0], tensor);
    case 1:
      return TavixFramesToBlobByCPU(maybe(c, &src), tensor);
    case 2:
      return TavixBlobToFrameByCPU(tensor, dst_frame[0]);
    default:
      return TavixBlobToFramesByCPU(tensor, maybe(c, &dst));
  }
}

// What a call may have made.
struct NewFrame {
  ~NewFrame() { TavixFrameFreeV2(frame); }
  TavixFrameV2 *frame = nullptr;
};
struct NewChannels {
  ~NewChannels() {
    for (TavixFrameV2 *frame : {frames.red, frames.green, frames.blue, frames.alpha})
      TavixFrameFreeV2(frame);
  }
  TavixChannelFrames frames = {};
};

int32_t normalization(Choices &c, Frames &f) {
  const Values<float, 8> values(c);
  NewFrame dst;
  return TavixFrameDataTypeConvertNormalizationFuseByCPU(
      maybe(c, &*f.a), maybe(c, &dst.frame), c.of({0, 11, 0, 11, 5, -1}), maybe(c, values.values));
}

int32_t resize(Choices &c, Frames &f) {
  if (c.byte() % 2 == 0) {
    const bool as_dst = !c.rarely();
    const int32_t width = as_dst ? f.dst->video.width : c.of(kExtents);
    const int32_t height = as_dst ? f.dst->video.height : c.of(kExtents);
    return TavixFrameResizeByCPU(maybe(c, &*f.a), maybe(c, as_source(f)), width, height,
                                 c.of(kIntegers));
  }
  NewFrame dst;
  const float fx = c.of(kFloats), fy = c.of(kFloats);
  return TavixFrameResizeByScaleByCPU(maybe(c, &*f.a), maybe(c, &dst.frame), fx, fy,
                                      c.of(kIntegers));
}

int32_t warp(Choices &c, Frames &f) {
  const Values<float, 9> matrix(c);
  constexpr decltype(&TavixFrameWarpAffineByCPU) kEntries[] = {TavixFrameWarpAffineByCPU,
                                                               TavixFrameWarpPerspectiveByCPU};
  return c.of(kEntries)(maybe(c, &*f.dst), maybe(c, &*f.a), maybe(c, matrix.values),
                        c.of(kIntegers), c.of(kIntegers), c.of(kFloats));
}

TavixRect any_rect(Choices &c) {
  return {c.of(kFloats), c.of(kFloats), c.of(kFloats), c.of(kFloats)};
}

int32_t roi(Choices &c, Frames &f) {
  const TavixRect src = any_rect(c), dst = any_rect(c);
  return TavixFrameRoiByCPU(maybe(c, &*f.a), maybe(c, as_source(f)), src, dst);
}

int32_t make_border(Choices &c, Frames &f) {
  // Around nothing, the largest sides are a matter of memory only.
  const bool empty = f.a->video.width == 0 || f.a->video.height == 0;
  int32_t sides[4];
  for (int32_t &side : sides) side = std::min(c.of(kIntegers), empty ? 31 : INT32_MAX);
  return TavixFrameCopyMakeBorderByCPU(maybe(c, &*f.a), maybe(c, as_source(f)), sides[0], sides[1],
                                       sides[2], sides[3], c.of(kIntegers), c.of(kFloats));
}

int32_t filter(Choices &c, Frames &f) {
  TavixFrameV2 *src = maybe(c, &*f.a), *dst = maybe(c, &*f.dst);
  const float width = c.of(kFloats), height = c.of(kFloats);
  const TavixSize size = {width, height};
  std::vector<uint8_t> elements(9 * 9 * sizeof(double));
  for (uint8_t &element : elements) element = c.byte();
  // Sides beyond the elements would be a lie.
  const auto honest = [](float side) { return side > 9 ? 3.0f : side; };
  const TavixKernel kernel = {honest(width), honest(height), int32_t(c.of(kDataTypes)),
                              maybe(c, elements.data())};
  constexpr decltype(&TavixFrameFilter2DByCPU) kKernels[] = {
      TavixFrameFilter2DByCPU, TavixFrameDilateBorderByCPU, TavixFrameErodeBorderByCPU};
  switch (c.byte() % 5) {
    case 0:
      return TavixFrameBlurByCPU(src, dst, size);
    case 1:
      return TavixFrameBoxFilterByCPU(src, dst, maybe(c, &size));
    case 2:
      return TavixFrameThresholdBinaryByCPU(src, dst, width, height, c.of(kIntegers));
    case 3:
      return TavixFrameMinMaxNormByCPU(src, dst, c.of(kIntegers), c.of(kIntegers));
    default:
      return c.of(kKernels)(src, dst, maybe(c, &kernel));
  }
}

int32_t split(Choices &c, Frames &f) {
  NewChannels dst;
  return TavixFrameChannelSplitByCPU(maybe(c, &*f.a), maybe(c, &dst.frames),
                                     uint32_t(c.of(kIntegers)));
}

int32_t add_mask(Choices &c, Frames &f) {
  NewFrame dst;
  const int32_t status =
      TavixFrameAddMaskByCPU(maybe(c, &*f.a), maybe(c, &*f.b), maybe(c, &dst.frame));
  if (status != TAVIX_OK) dst.frame = nullptr;  // must not be used
  return status;
}

int32_t multi_frame(Choices &c, Frames &f) {
  NewFrame dst;
  return TavixFrameMultiFrameByCPU(maybe(c, &*f.a), maybe(c, &*f.b), maybe(c, &dst.frame));
}

// The elements are those of the source's format, whatever the destination's is.
int32_t memfill(Choices &c, Frames &f) {
  const TavixFrameV2 *src = test::is_float_format(f.dst->video.format) ? f.a : f.dst;
  return TavixFrameMemfillByCPU(maybe(c, src), maybe(c, &*f.dst), c.of(kFloats));
}

constexpr int32_t kStatuses[] = {TAVIX_OK, TAVIX_ERROR_MEMORY, TAVIX_ERROR_UNSUPPORTED,
                                 TAVIX_ERROR_INVALID_PARAM, TAVIX_ERROR_INVALID_DATA};

// With those that let OpenCV's exceptions leave the call.
constexpr struct {
  Operation *call;
  bool may_throw;
} kOperations[] = {
    {binary_arithmetic, false},
    {unary_arithmetic, false},
    {statistics, false},
    {softmax, false},
    {convert_color, false},
    {blobs, false},
    {normalization, false},
    {resize, true},
    {warp, true},
    {roi, true},
    {make_border, true},
    {filter, false},
    {split, true},
    {add_mask, true},
    {multi_frame, false},
    {memfill, false},
};

}  // namespace
}  // namespace tavix::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  using namespace tavix::fuzz;
  Choices choices(data, size);
  auto &core = tavix::test::core_double();
  core.reset();
  if (choices.rarely()) core.fail_frame_allocation();
  if (choices.rarely()) core.fail_array_allocation();
  {
    Frames frames(choices);
    const auto [operation, may_throw] = choices.of(kOperations);
    try {
      const int32_t status = operation(choices, frames);
      require(std::find(std::begin(kStatuses), std::end(kStatuses), status) != std::end(kStatuses),
              "a status without a name");
    } catch (const cv::Exception &) {
      require(may_throw, "an exception left the call");
    }
  }
  require(core.outstanding_frames() == 0, "a frame was lost");
  require(core.outstanding_arrays() == 0, "an array was lost");
  return 0;
}
