// SPDX-License-Identifier: Apache-2.0
// Whether a result depends on a byte that nobody has set, at every level of this processor. For the
// memory sanitizer, which ends the program at a branch or an address that does. Padding and
// destinations are unset; so must no byte of a result be. What runs on OpenCV is left out, because
// the sanitizer does not see what OpenCV sets.
//
//   unset_bytes            every kernel
//   unset_bytes planted    one sample of a source is unset too: every level must show it
#include <sanitizer/msan_interface.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>

#include "support/guarded_frame.h"
#include "support/names.h"
#include "support/seams.h"
#include "tavix/core.h"
#include "tavix/video_common_cpu.h"

namespace {

using namespace tavix;
using test::FrameLayout;
using test::GuardedFrame;

std::string running;  // as failures name it
int calls = 0;

void expect(bool holds, const char *otherwise) {
  if (holds) return;
  std::printf("%s: %s\n", running.c_str(), otherwise);
  std::exit(1);
}

bool is_set(const void *bytes, size_t size) {
  return __msan_test_shadow(bytes, size) == -1;
}

bool is_set(const GuardedFrame &frame) {
  const auto payload = frame.payload();
  return is_set(payload.data(), payload.size());
}

void expect_set(bool set) {
  ++calls;
  expect(set, "a byte of the result is unset");
}

struct Size {
  int32_t width, height;
};

constexpr int32_t kPacked[] = {TAVIX_PIX_FMT_BGR24,  TAVIX_PIX_FMT_GRAY8,   TAVIX_PIX_FMT_RGBA32,
                               TAVIX_PIX_FMT_BGRF32, TAVIX_PIX_FMT_GRAYF32, TAVIX_PIX_FMT_RGBAF32};

// Nothing of it is set.
GuardedFrame unset_frame(int32_t format, Size size, const FrameLayout &layout) {
  GuardedFrame frame({format, size.width, size.height}, layout);
  const auto shapes = test::plane_shapes(frame->video);
  for (int plane = 0; plane < int(shapes.size()); ++plane)
    for (int32_t y = 0; y < shapes[plane].rows; ++y)
      __msan_poison(frame.row(y, plane), size_t(std::abs(frame->linesize[plane])));
  return frame;
}

// Its payload is set, its padding is not.
GuardedFrame source_frame(int32_t format, Size size, const FrameLayout &layout, uint64_t seed = 1) {
  GuardedFrame frame = unset_frame(format, size, layout);
  frame.fill(test::Fill::noise, seed);
  return frame;
}

// run(size, layout) for sizes with tails of every length.
void for_each_size(const std::function<void(Size size, const FrameLayout &layout)> &run) {
  for (const FrameLayout &layout : test::kLayouts) {
    for (int32_t width = 1; width <= 70; ++width) run({width, 1 + width % 3}, layout);
    for (const int32_t width : {127, 128, 200, 321}) run({width, 4}, layout);
  }
}

// run(src, other, layout) for sources of every packed format, which succeeds.
void for_each_packed(const std::string &name,
                     const std::function<int32_t(const GuardedFrame &src, const GuardedFrame &other,
                                                 const FrameLayout &layout)> &run) {
  for (const int32_t format : kPacked) {
    for_each_size([&](Size size, const FrameLayout &layout) {
      running = name + " of " + test::format_name(format) + ", width " + std::to_string(size.width);
      const GuardedFrame src = source_frame(format, size, layout),
                         other = source_frame(format, size, layout, 2);
      expect(run(src, other, layout) == TAVIX_OK, "refused");
    });
  }
}

GuardedFrame unset_like(const GuardedFrame &frame, const FrameLayout &layout) {
  return unset_frame(frame->video.format, {frame->video.width, frame->video.height}, layout);
}

constexpr double kOnes[] = {1, 1, 1, 1}, kZeros[] = {}, kParts[] = {0.5, 0.25, 3, -1};

void binary_arithmetic() {
  for (uint32_t op = TAVIX_BINARY_OP_ADD; op <= TAVIX_BINARY_OP_XOR; ++op) {
    for (const double *scale : {kOnes, kParts}) {
      for_each_packed(test::binary_op_name(op),
                      [&](const GuardedFrame &src, const GuardedFrame &other, auto &layout) {
                        GuardedFrame dst = unset_like(src, layout);
                        const int32_t status = TavixFrameBinaryArithmeticByCPU(
                            src, other, op, scale, scale, kZeros, dst);
                        expect_set(is_set(dst));
                        return status;
                      });
    }
  }
}

void unary_arithmetic() {
  for (int32_t op = TAVIX_UNARY_OP_MUL_ADD; op <= TAVIX_UNARY_OP_LOG; ++op) {
    for_each_packed(test::unary_op_name(op), [&](const GuardedFrame &src, auto &, auto &layout) {
      GuardedFrame dst = unset_like(src, layout);
      const int32_t status = TavixFrameUnaryArithmeticByCPU(src, op, kParts, kOnes, dst);
      expect_set(is_set(dst));
      return status;
    });
  }
}

void statistics() {
  for (int32_t op = TAVIX_STAT_OP_MEAN; op <= TAVIX_STAT_OP_MIN; ++op) {
    for_each_packed(test::statistic_name(op), [&](const GuardedFrame &src, auto &, auto &) {
      TavixArray *array = nullptr;
      const int32_t status = TavixFrameStatisticalFunctionByCPU(src, op, &array);
      for (int32_t i = 0; array != nullptr && i < array->count; ++i)
        expect_set(is_set(&array->elements[i].value, sizeof(double)));
      TavixArrayFree(array);
      return status;
    });
  }
}

void normalization() {
  constexpr float kNormVals[] = {1, 2, 3, 4, 0.5f, 0.25f, 2, 1};
  for (const int32_t type : {TAVIX_DATA_TYPE_UINT8, TAVIX_DATA_TYPE_FLOAT32}) {
    for_each_packed("normalisation", [&](const GuardedFrame &src, auto &, auto &) {
      TavixFrameV2 *made = nullptr;
      const int32_t status =
          TavixFrameDataTypeConvertNormalizationFuseByCPU(src, &made, type, kNormVals);
      if (made != nullptr)
        expect_set(is_set(made->data[0], size_t(made->linesize[0] * made->video.height)));
      TavixFrameFreeV2(made);
      return status;
    });
  }
}

bool is_planar(int32_t format) {
  return format >= TAVIX_PIX_FMT_NV12 && format <= TAVIX_PIX_FMT_I420;
}

// Between grey and 4:2:0 whole strides are written: they have no padding. Even sizes: of odd ones,
// conversions leave rows and columns as they were.
void color() {
  int pairs = 0;
  for (int32_t from = 0; from < TAVIX_PIX_FMT_NONE; ++from) {
    for (int32_t to = 0; to < TAVIX_PIX_FMT_NONE; ++to) {
      const bool strides = (from == TAVIX_PIX_FMT_GRAY8 && is_planar(to)) ||
                           (is_planar(from) && to == TAVIX_PIX_FMT_GRAY8);
      int32_t status = TAVIX_OK;
      for_each_size([&](Size half, const FrameLayout &layout) {
        running = test::conversion_name(from, to) + ", width " + std::to_string(2 * half.width);
        const Size size = {2 * half.width, 2 * half.height};
        const GuardedFrame src = source_frame(from, size, strides ? FrameLayout() : layout);
        GuardedFrame dst = unset_frame(to, size, strides ? FrameLayout() : layout);
        if (status == TAVIX_OK) status = TavixFrameConvertColorByCPU(src, dst);
        if (status == TAVIX_OK) expect_set(is_set(dst));
      });
      pairs += status == TAVIX_OK;
    }
  }
  running = "colour conversion";
  expect(pairs == 170, "another number of pairs of formats");
}

// To a blob whose elements are unset, and back.
void blobs() {
  struct Element {
    uint32_t type;
    size_t bytes;
  };
  constexpr Element kElements[] = {{TAVIX_DATA_TYPE_INT8, 1},  {TAVIX_DATA_TYPE_UINT8, 1},
                                   {TAVIX_DATA_TYPE_INT16, 2}, {TAVIX_DATA_TYPE_UINT16, 2},
                                   {TAVIX_DATA_TYPE_INT32, 4}, {TAVIX_DATA_TYPE_UINT32, 4},
                                   {TAVIX_DATA_TYPE_INT64, 8}, {TAVIX_DATA_TYPE_FLOAT32, 4}};
  for (const Element &element : kElements) {
    for (const uint32_t layout : {TAVIX_DATA_FORMAT_NCHW, TAVIX_DATA_FORMAT_NHWC}) {
      const std::string name = test::data_format_name(layout) + test::data_type_name(element.type);
      for_each_packed(name, [&](const GuardedFrame &src, auto &, auto &padding) {
        const auto &video = src->video;
        const int32_t planar[] = {1, video.channels, video.height, video.width},
                      packed[] = {1, video.height, video.width, video.channels};
        TavixBlob *blob = TavixBlobAlloc(element.type, layout, 4,
                                         layout == TAVIX_DATA_FORMAT_NCHW ? planar : packed);
        const size_t bytes = element.bytes * size_t(video.channels * video.height * video.width);
        __msan_poison(TavixBlobBufferGet(blob), bytes);
        expect(TavixFrameToBlobByCPU(src, blob) == TAVIX_OK, "refused");
        expect_set(is_set(TavixBlobBufferGet(blob), bytes));
        GuardedFrame dst = unset_like(src, padding);
        const int32_t status = TavixBlobToFrameByCPU(blob, dst);
        expect_set(is_set(dst));
        TavixBlobFree(blob);
        return status;
      });
    }
  }
}

// Along an axis of rows and along one of panels, for every length.
void softmax() {
  for (int32_t length = 1; length <= 70; ++length) {
    for (const int32_t axis : {0, 1}) {
      running = "softmax, length " + std::to_string(length) + ", axis " + std::to_string(axis);
      const int32_t dims[] = {axis == 0 ? length : 7, axis == 0 ? 7 : length};
      TavixBlob *blobs[2];
      for (TavixBlob *&blob : blobs)
        blob = TavixBlobAlloc(TAVIX_DATA_TYPE_FLOAT32, TAVIX_DATA_FORMAT_NC, 2, dims);
      const size_t bytes = sizeof(float) * size_t(7 * length);
      auto *scores = static_cast<float *>(TavixBlobBufferGet(blobs[0]));
      for (int32_t i = 0; i < 7 * length; ++i) scores[i] = float(i % 97) / 9 - 5;
      __msan_poison(TavixBlobBufferGet(blobs[1]), bytes);
      expect(TavixBlobSoftmaxByCPU(blobs[0], axis, blobs[1]) == TAVIX_OK, "refused");
      expect_set(is_set(TavixBlobBufferGet(blobs[1]), bytes));
      for (TavixBlob *blob : blobs) TavixBlobFree(blob);
    }
  }
}

// The sum of frames of which one sample is unset.
void planted() {
  const Size size = {321, 1};
  const GuardedFrame src = source_frame(TAVIX_PIX_FMT_BGRF32, size, {});
  GuardedFrame dst = unset_like(src, {});
  __msan_poison(src->data[0] + 400, sizeof(float));
  running = "planted";
  expect(TavixFrameBinaryArithmeticByCPU(src, src, TAVIX_BINARY_OP_ADD, kOnes, kOnes, kZeros,
                                         dst) == TAVIX_OK,
         "refused");
  const bool shows = __msan_test_shadow(dst->data[0], 321 * 3 * sizeof(float)) == 400;
  std::puts(shows ? "the unset sample shows" : "nothing noticed the unset sample");
  if (!shows) std::exit(0);
}

}  // namespace

int main(int count, char **arguments) {
  const bool plant = count == 2 && std::string_view(arguments[1]) == "planted";
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  TavixLoggerSetLevel(TAVIX_LOG_ERROR + 1);
  const test::ScopedWorkers one(1);
  for (const module::CpuLevel level : test::levels()) {
    const test::ScopedLevel scoped(level);
    std::printf("%s: ", test::name_of(level));
    if (plant) {
      planted();
      continue;
    }
    calls = 0;
    for (const auto run :
         {binary_arithmetic, unary_arithmetic, statistics, normalization, color, blobs, softmax})
      run();
    std::printf("%d results, none depends on a byte that nobody has set\n", calls);
  }
  // The sanitizer ends the program here.
  if (plant) {
    const GuardedFrame frame = unset_frame(TAVIX_PIX_FMT_GRAY8, {1, 1}, {});
    if (*frame->data[0] > 100) std::puts("a branch on an unset byte");
  }
}
