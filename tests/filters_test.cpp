// SPDX-License-Identifier: Apache-2.0
// Filters beside direct calls of OpenCV, and their refusals.
#include "tavix/video_common_cpu/filters.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <numeric>
#include <opencv2/imgproc.hpp>

#include "common/log.h"
#include "support/core_double.h"
#include "support/frame_pair.h"
#include "support/opencv_reference.h"
#include "support/sweep.h"

namespace tavix::test {
namespace {

constexpr auto *kUnit = module::kFrameConvertUnit;

// What a case of the sweep decides about the parameters.
struct Parameters {
  int width, height;  // of the kernel
  std::vector<float> values;
  std::vector<uint8_t> element;
  int threshold_type;

  explicit Parameters(uint64_t seed)
      : width(1 + int(seed % 5)), height(1 + int(seed / 5 % 5)), threshold_type(int(seed % 5)) {
    Random random(seed);
    for (int i = 0; i < width * height; ++i) {
      values.push_back(float(random.below(100)) / 50 - 0.9f);
      element.push_back(uint8_t(random.below(2)));
    }
    element[element.size() / 2] = 1;
  }
  TavixSize size() const { return {float(width) + 0.9f, float(height) + 0.5f}; }
  TavixKernel floats() {
    return {float(width), float(height), TAVIX_DATA_TYPE_FLOAT32, values.data()};
  }
  TavixKernel bytes() {
    return {float(width) + 0.7f, float(height), TAVIX_DATA_TYPE_UINT8, element.data()};
  }
  cv::Size cv_size() const { return {width, height}; }
  cv::Mat cv_floats() const { return cv::Mat(values, true).reshape(1, height); }
  cv::Mat cv_bytes() const { return cv::Mat(element, true).reshape(1, height); }
};

struct Filter {
  const char *function;
  std::function<int32_t(const TavixFrameV2 *, TavixFrameV2 *, Parameters &)> call;
  std::function<void(const cv::Mat &, cv::Mat &, const Parameters &)> expected;
};

const Filter kFilters[] = {
    {"TavixFrameBlurByCPU",
     [](auto *src, auto *dst, auto &p) { return TavixFrameBlurByCPU(src, dst, p.size()); },
     [](auto &src, auto &dst, auto &p) {
       cv::blur(src, dst, p.cv_size(), {-1, -1}, cv::BORDER_REFLECT_101);
     }},
    {"TavixFrameBoxFilterByCPU",
     [](auto *src, auto *dst, auto &p) {
       const TavixSize size = p.size();
       return TavixFrameBoxFilterByCPU(src, dst, &size);
     },
     [](auto &src, auto &dst, auto &p) {
       cv::boxFilter(src, dst, -1, p.cv_size(), {-1, -1}, false, cv::BORDER_REPLICATE);
     }},
    {"TavixFrameFilter2DByCPU",
     [](auto *src, auto *dst, auto &p) {
       const TavixKernel kernel = p.floats();
       return TavixFrameFilter2DByCPU(src, dst, &kernel);
     },
     [](auto &src, auto &dst, auto &p) {
       cv::filter2D(src, dst, -1, p.cv_floats(), {-1, -1}, 0, cv::BORDER_REPLICATE);
     }},
    {"TavixFrameDilateBorderByCPU",
     [](auto *src, auto *dst, auto &p) {
       const TavixKernel kernel = p.bytes();
       return TavixFrameDilateBorderByCPU(src, dst, &kernel);
     },
     [](auto &src, auto &dst, auto &p) { cv::dilate(src, dst, p.cv_bytes()); }},
    {"TavixFrameErodeBorderByCPU",
     [](auto *src, auto *dst, auto &p) {
       const TavixKernel kernel = p.bytes();
       return TavixFrameErodeBorderByCPU(src, dst, &kernel);
     },
     [](auto &src, auto &dst, auto &p) { cv::erode(src, dst, p.cv_bytes()); }},
    {"TavixFrameThresholdBinaryByCPU",
     [](auto *src, auto *dst, auto &p) {
       return TavixFrameThresholdBinaryByCPU(src, dst, 99.5, 200, p.threshold_type);
     },
     [](auto &src, auto &dst, auto &p) { cv::threshold(src, dst, 99.5, 200, p.threshold_type); }},
    {"TavixFrameMinMaxNormByCPU",
     [](auto *src, auto *dst, auto &) { return TavixFrameMinMaxNormByCPU(src, dst, -20, 300); },
     [](auto &src, auto &dst, auto &) { cv::normalize(src, dst, -20, 300, cv::NORM_MINMAX); }},
};

std::ostream &operator<<(std::ostream &out, const Filter &filter) {
  return out << filter.function;
}

class EachFilter : public ::testing::TestWithParam<Filter> {
 protected:
  static int32_t call(const TavixFrameV2 *src, TavixFrameV2 *dst, Parameters parameters) {
    return GetParam().call(src, dst, parameters);
  }
  static cv::Mat expected(const TavixFrameV2 &src, const Parameters &parameters) {
    cv::Mat result;
    GetParam().expected(matrix_of(src), result, parameters);
    return result;
  }
};
INSTANTIATE_TEST_SUITE_P(Filters, EachFilter, ::testing::ValuesIn(kFilters),
                         ::testing::PrintToStringParamName());

TEST_P(EachFilter, EqualsOpencv) {
  const SweepAxes axes = {.formats = kRgbFormats,
                          .widths = {1, 2, 3, 8, 17, 64, 130},
                          .heights = {1, 2, 3, 5, 21},
                          .fills = {Fill::noise, Fill::full}};
  sweep(axes, 400, [&](const SweepCase &c) {
    // OpenCV takes strides of whole elements only.
    if (c.layout.bottom_up || (is_float_format(c.shape.format) && c.layout.pad % 4 != 0)) return;
    GuardedFrame src(c.shape, c.layout), dst(c.shape, c.layout);
    src.fill(c.fill, c.seed);
    dst.fill(Fill::noise, c.seed + 1);
    EXPECT_EQ(call(src, dst, Parameters(c.seed)), TAVIX_OK);
    EXPECT_TRUE(same_pixels_as(expected(*src, Parameters(c.seed)), *dst));
    EXPECT_TRUE(src.intact() && dst.intact() && logged_nothing());
  });
}

TEST_P(EachFilter, WorksInPlace) {
  for (const int32_t format : kRgbFormats) {
    SCOPED_TRACE(format_name(format));
    GuardedFrame frame({format, 130, 21});
    frame.fill(Fill::noise, 1);
    const cv::Mat result = expected(*frame, Parameters(23));
    EXPECT_EQ(call(frame, frame, Parameters(23)), TAVIX_OK);
    EXPECT_TRUE(same_pixels_as(result, *frame));
    EXPECT_TRUE(frame.intact() && logged_nothing());
  }
}

// Packed rows, to OpenCV.
TEST_P(EachFilter, TakesALinesizeOf0) {
  FramePair frames({TAVIX_PIX_FMT_BGR24, 9, 7});
  const cv::Mat result = expected(*frames.src, Parameters(7));
  const int32_t packed = frames.dst->linesize[0];
  frames.src->linesize[0] = frames.dst->linesize[0] = 0;
  EXPECT_EQ(call(frames.src, frames.dst, Parameters(7)), TAVIX_OK);
  EXPECT_TRUE(same_pixels_as(result, *frames.dst, packed));
  EXPECT_TRUE(frames.dst.intact() && logged_nothing());
}

// Only the blur compares formats; the others take the source's type for both.
TEST_P(EachFilter, ViewsTheDestinationWithTheSourcesType) {
  FramePair frames({TAVIX_PIX_FMT_RGB24, 9, 7}, {TAVIX_PIX_FMT_BGR24, 9, 7});
  const int32_t status = call(frames.src, frames.dst, Parameters(7));
  if (std::string(GetParam().function) == "TavixFrameBlurByCPU") {
    EXPECT_REFUSED(status, TAVIX_ERROR_INVALID_PARAM, kUnit, GetParam().function,
                   "src_frame and dst_frame have different formats: 0 vs 1");
    EXPECT_TRUE(frames.untouched());
  } else {
    EXPECT_EQ(status, TAVIX_OK);
    EXPECT_TRUE(same_pixels_as(expected(*frames.src, Parameters(7)), *frames.dst));
  }
}

TEST_P(EachFilter, LosesAResultThatDoesNotFit) {
  FramePair frames({TAVIX_PIX_FMT_GRAY8, 9, 7}, {TAVIX_PIX_FMT_GRAY8, 10, 7});
  EXPECT_EQ(call(frames.src, frames.dst, Parameters(7)), TAVIX_OK);
  EXPECT_TRUE(frames.untouched() && logged_nothing());
}

TEST(Filters, AStructuringElementWithoutElementsIs3x3) {
  GuardedFrame src({TAVIX_PIX_FMT_BGR24, 9, 7}), dst({TAVIX_PIX_FMT_BGR24, 9, 7});
  src.fill(Fill::noise, 1);
  const TavixKernel none = {0.9f, 3, TAVIX_DATA_TYPE_UINT8, nullptr};
  cv::Mat expected;
  cv::dilate(matrix_of(*src), expected, cv::Mat());
  EXPECT_EQ(TavixFrameDilateBorderByCPU(src, dst, &none), TAVIX_OK);
  EXPECT_TRUE(same_pixels_as(expected, *dst));
}

TEST(Filters, BoxSumsBlurTruncatesItsSize) {
  GuardedFrame src({TAVIX_PIX_FMT_GRAY8, 9, 7}), dst({TAVIX_PIX_FMT_GRAY8, 9, 7});
  for (int y = 0; y < 7; ++y)
    for (int x = 0; x < 9; ++x) src.set<uint8_t>(x, y, 10);
  const TavixSize three = {3, 3};
  EXPECT_EQ(TavixFrameBoxFilterByCPU(src, dst, &three), TAVIX_OK);
  EXPECT_EQ(dst.get<uint8_t>(4, 3), 90);

  src.fill(Fill::noise, 1);
  GuardedFrame two({TAVIX_PIX_FMT_GRAY8, 9, 7});
  EXPECT_EQ(TavixFrameBlurByCPU(src, dst, {2.9f, 2.9f}), TAVIX_OK);
  EXPECT_EQ(TavixFrameBlurByCPU(src, two, {2, 2}), TAVIX_OK);
  EXPECT_EQ(dst.payload(), two.payload());
}

TEST(Filters, ZeroSizeIsOpencvsFailure) {
  FramePair frames({TAVIX_PIX_FMT_GRAY8, 9, 7});
  GuardedFrame &src = frames.src, &dst = frames.dst;
  const TavixSize none = {0.9f, 3};
  float value = 1;
  const TavixKernel negative = {-1, -1, TAVIX_DATA_TYPE_FLOAT32, &value},
                    missing = {3, 3, TAVIX_DATA_TYPE_UINT8, nullptr};
  const auto failed = [](const char *function, const char *text) {
    const auto logs = core_double().take_logs();
    return logs.size() == 1 && logs[0].function == function && logs[0].text.starts_with(text);
  };
  EXPECT_EQ(TavixFrameBlurByCPU(src, dst, none), kInvalid);
  EXPECT_TRUE(failed("TavixFrameBlurByCPU", "OpenCV error: "));
  EXPECT_EQ(TavixFrameBoxFilterByCPU(src, dst, &none), kInvalid);
  EXPECT_TRUE(failed("TavixFrameBoxFilterByCPU", "OpenCV error: "));
  EXPECT_EQ(TavixFrameFilter2DByCPU(src, dst, &negative), kInvalid);
  EXPECT_TRUE(failed("TavixFrameFilter2DByCPU", "OpenCV error: "));
  EXPECT_EQ(TavixFrameDilateBorderByCPU(src, dst, &missing), kInvalid);
  EXPECT_TRUE(failed("TavixFrameDilateBorderByCPU", "Dilate failed: "));
  EXPECT_TRUE(frames.untouched());
}

// OpenCV's to answer, however far they reach beyond the picture.
TEST(Filters, LongKernelsEqualOpencv) {
  for (const int32_t format : {TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_GRAYF32}) {
    GuardedFrame src({format, 9, 7}), dst({format, 9, 7});
    src.fill(Fill::noise, 1);
    const cv::Mat picture = matrix_of(*src);
    constexpr int kSide = 1 << 15;
    for (const cv::Size &size : {cv::Size(kSide, 1), cv::Size(1, kSide)}) {
      SCOPED_TRACE(::testing::Message() << format_name(format) << ", " << size);
      const auto expect = [&](int32_t status, const cv::Mat &expected) {
        EXPECT_EQ(status, TAVIX_OK);
        EXPECT_TRUE(same_pixels_as(expected, *dst));
        EXPECT_TRUE(dst.intact() && logged_nothing());
      };
      const TavixSize kernel_size = {float(size.width), float(size.height)};
      std::vector<float> values(size_t(kSide), 0.001f);
      std::vector<uint8_t> element(size_t(kSide), 1);
      element[5] = 0;
      const TavixKernel floats = {kernel_size.width, kernel_size.height, TAVIX_DATA_TYPE_FLOAT32,
                                  values.data()};
      const TavixKernel bytes = {kernel_size.width, kernel_size.height, TAVIX_DATA_TYPE_UINT8,
                                 element.data()};
      const cv::Mat cv_floats(size, CV_32F, values.data()), cv_bytes(size, CV_8U, element.data());
      cv::Mat expected;
      cv::blur(picture, expected, size);
      expect(TavixFrameBlurByCPU(src, dst, kernel_size), expected);
      cv::boxFilter(picture, expected, -1, size, {-1, -1}, false, cv::BORDER_REPLICATE);
      expect(TavixFrameBoxFilterByCPU(src, dst, &kernel_size), expected);
      cv::filter2D(picture, expected, -1, cv_floats, {-1, -1}, 0, cv::BORDER_REPLICATE);
      expect(TavixFrameFilter2DByCPU(src, dst, &floats), expected);
      cv::dilate(picture, expected, cv_bytes);
      expect(TavixFrameDilateBorderByCPU(src, dst, &bytes), expected);
      cv::erode(picture, expected, cv_bytes);
      expect(TavixFrameErodeBorderByCPU(src, dst, &bytes), expected);
    }
  }
}

// Sides with which OpenCV would overflow its own counts, and those that are no number.
TEST(Filters, AbsurdSizesFail) {
  FramePair frames({TAVIX_PIX_FMT_RGBAF32, 9, 7});
  GuardedFrame &src = frames.src, &dst = frames.dst;
  for (const float side :
       {134217728.0f, 536870912.0f, 2147483520.0f, 1e30f, INFINITY, NAN, -5.0f}) {
    const TavixSize sizes[] = {{side, 1}, {1, side}, {side, side}};
    for (const TavixSize &size : sizes) {
      if (side < 2e8f && size.width == 1) continue;  // columns are counted one by one
      EXPECT_EQ(TavixFrameBlurByCPU(src, dst, size), kInvalid) << side;
      EXPECT_EQ(TavixFrameBoxFilterByCPU(src, dst, &size), kInvalid) << side;
      EXPECT_EQ(core_double().take_logs().size(), 2u);
    }
  }
  EXPECT_TRUE(frames.untouched());
}

TEST(Filters, KernelsThatOpencvCannotCountAreRefused) {
  GuardedFrame src({TAVIX_PIX_FMT_RGBAF32, 9, 7}), dst({TAVIX_PIX_FMT_RGBAF32, 9, 7});
  constexpr char kText[] = "kernel of 134217728x1 is too large for a frame of 9x7";
  const TavixSize size = {134217728.0f, 1};
  float value = 1;
  const TavixKernel floats = {size.width, 1, TAVIX_DATA_TYPE_FLOAT32, &value},
                    bytes = {size.width, 1, TAVIX_DATA_TYPE_UINT8, &value};
  EXPECT_REFUSES(TavixFrameBlurByCPU, (src, dst, size), kInvalid, kUnit, kText);
  EXPECT_REFUSES(TavixFrameBoxFilterByCPU, (src, dst, &size), kInvalid, kUnit, kText);
  EXPECT_REFUSES(TavixFrameFilter2DByCPU, (src, dst, &floats), kInvalid, kUnit, kText);
  EXPECT_REFUSES(TavixFrameDilateBorderByCPU, (src, dst, &bytes), kInvalid, kUnit, kText);
  EXPECT_REFUSES(TavixFrameErodeBorderByCPU, (src, dst, &bytes), kInvalid, kUnit, kText);
}

uint8_t element[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
float weights[9] = {};
const TavixSize kSize = {3, 3};
const TavixKernel kBytes = {3, 3, TAVIX_DATA_TYPE_UINT8, element};
const TavixKernel kFloats = {3, 3, TAVIX_DATA_TYPE_FLOAT32, weights};

TEST(FilterRefusals, Kernels) {
  FramePair frames({TAVIX_PIX_FMT_BGR24, 6, 4});
  TavixFrameV2 *const src = frames.src, *const dst = frames.dst;
  const std::string no_kernel = printed("kernel:%p is nullptr", nullptr),
                    no_size = printed("kernel_size:%p is nullptr", nullptr);
  constexpr char kNotBytes[] = "Only UINT8 data type is supported, current data type: 0";
  EXPECT_REFUSES(TavixFrameFilter2DByCPU, (src, dst, &kBytes), kInvalid, kUnit,
                 "kernel->data_type:11 is not supported!");
  EXPECT_REFUSES(TavixFrameDilateBorderByCPU, (src, dst, &kFloats), kUnsupported, kUnit, kNotBytes);
  EXPECT_REFUSES(TavixFrameErodeBorderByCPU, (src, dst, &kFloats), kUnsupported, kUnit, kNotBytes);
  EXPECT_REFUSES(TavixFrameFilter2DByCPU, (src, dst, nullptr), kInvalid, kUnit, no_kernel);
  EXPECT_REFUSES(TavixFrameDilateBorderByCPU, (src, dst, nullptr), kInvalid, kUnit, no_kernel);
  EXPECT_REFUSES(TavixFrameBoxFilterByCPU, (src, dst, nullptr), kInvalid, kUnit, no_size);
  EXPECT_TRUE(frames.untouched());
}

// Calls whose kernel is wrong where they have one, and what they say of a source in NV12.
struct FormatRefusal {
  const char *function;
  int32_t (*call)(const TavixFrameV2 *src, TavixFrameV2 *dst);
  int32_t status;
  const char *text;
  const char *dst = "dst_frame";  // in the message about null planes
  bool plane_first = true;        // planes are checked before formats
};
std::ostream &operator<<(std::ostream &out, const FormatRefusal &refusal) {
  return out << refusal.function;
}
constexpr char kCode[] = "Unsupported Frame Type:7 To OpencvType!",
               kNoCode[] = "Unsupported Frame Type To OpencvType!";
const FormatRefusal kFormatRefusals[] = {
    {"TavixFrameBlurByCPU",
     [](auto *src, auto *dst) { return TavixFrameBlurByCPU(src, dst, kSize); }, kInvalid, kCode},
    {"TavixFrameBoxFilterByCPU",
     [](auto *src, auto *dst) { return TavixFrameBoxFilterByCPU(src, dst, &kSize); }, kUnsupported,
     kNoCode, "des_frame"},
    {"TavixFrameFilter2DByCPU",
     [](auto *src, auto *dst) { return TavixFrameFilter2DByCPU(src, dst, &kBytes); }, kInvalid,
     kCode},
    {"TavixFrameDilateBorderByCPU",
     [](auto *src, auto *dst) { return TavixFrameDilateBorderByCPU(src, dst, &kFloats); }, kInvalid,
     kCode},
    {"TavixFrameErodeBorderByCPU",
     [](auto *src, auto *dst) { return TavixFrameErodeBorderByCPU(src, dst, &kFloats); }, kInvalid,
     kCode},
    {"TavixFrameMinMaxNormByCPU",
     [](auto *src, auto *dst) { return TavixFrameMinMaxNormByCPU(src, dst, 0, 1); }, kInvalid,
     kNoCode},
    {"TavixFrameThresholdBinaryByCPU",
     [](auto *src, auto *dst) { return TavixFrameThresholdBinaryByCPU(src, dst, 1, 2, 0); },
     kUnsupported, kCode, "dst_frame", false},
};

class EachFormatRefusal : public ::testing::TestWithParam<FormatRefusal> {};
INSTANTIATE_TEST_SUITE_P(Filters, EachFormatRefusal, ::testing::ValuesIn(kFormatRefusals),
                         ::testing::PrintToStringParamName());

TEST_P(EachFormatRefusal, ComesBeforeTheKernelAndInItsPlaceAmongTheFrames) {
  const FormatRefusal &refusal = GetParam();
  FramePair frames({TAVIX_PIX_FMT_BGR24, 6, 4});
  TavixFrameV2 *const src = frames.src, *const dst = frames.dst;
  const auto refused = [&](int32_t status, const std::string &text) {
    EXPECT_REFUSED(refusal.call(src, dst), status, kUnit, refusal.function, text);
  };
  const std::string null_plane = printed("src_frame->data[0]:%p or %s->data[0]:%p is nullptr",
                                         nullptr, refusal.dst, dst->data[0]);
  src->video.format = TAVIX_PIX_FMT_NV12;
  refused(refusal.status, refusal.text);
  src->data[0] = nullptr;
  if (refusal.plane_first)
    refused(kInvalid, null_plane);
  else
    refused(refusal.status, refusal.text);
  src->video.format = TAVIX_PIX_FMT_BGR24;
  refused(kInvalid, null_plane);
  EXPECT_TRUE(frames.untouched());
}

}  // namespace
}  // namespace tavix::test
