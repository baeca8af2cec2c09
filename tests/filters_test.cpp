// SPDX-License-Identifier: Apache-2.0
// Filters beside direct calls of OpenCV, and their refusals.
#include "tavix/video_common_cpu/filters.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <numeric>
#include <opencv2/imgproc.hpp>

#include "support/core_double.h"
#include "support/opencv_reference.h"
#include "support/sweep.h"

namespace tavix::test {
namespace {

constexpr char kUnit[] = "source/host/tavix_frame_convert_cpu";

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
  TavixKernel floats() { return {float(width), float(height), 0, values.data()}; }
  TavixKernel bytes() { return {float(width) + 0.7f, float(height), 11, element.data()}; }
  cv::Size cv_size() const { return {width, height}; }
  cv::Mat cv_floats() const { return cv::Mat(values, true).reshape(1, height); }
  cv::Mat cv_bytes() const { return cv::Mat(element, true).reshape(1, height); }
};

struct Filter {
  const char *name;
  std::function<int32_t(const TavixFrameV2 *, TavixFrameV2 *, Parameters &)> call;
  std::function<void(const cv::Mat &, cv::Mat &, const Parameters &)> expected;
};

const Filter kFilters[] = {
    {"blur", [](auto *src, auto *dst, auto &p) { return TavixFrameBlurByCPU(src, dst, p.size()); },
     [](auto &src, auto &dst, auto &p) {
       cv::blur(src, dst, p.cv_size(), {-1, -1}, cv::BORDER_REFLECT_101);
     }},
    {"box filter",
     [](auto *src, auto *dst, auto &p) {
       const TavixSize size = p.size();
       return TavixFrameBoxFilterByCPU(src, dst, &size);
     },
     [](auto &src, auto &dst, auto &p) {
       cv::boxFilter(src, dst, -1, p.cv_size(), {-1, -1}, false, cv::BORDER_REPLICATE);
     }},
    {"filter2D",
     [](auto *src, auto *dst, auto &p) {
       const TavixKernel kernel = p.floats();
       return TavixFrameFilter2DByCPU(src, dst, &kernel);
     },
     [](auto &src, auto &dst, auto &p) {
       cv::filter2D(src, dst, -1, p.cv_floats(), {-1, -1}, 0, cv::BORDER_REPLICATE);
     }},
    {"dilate",
     [](auto *src, auto *dst, auto &p) {
       const TavixKernel kernel = p.bytes();
       return TavixFrameDilateBorderByCPU(src, dst, &kernel);
     },
     [](auto &src, auto &dst, auto &p) { cv::dilate(src, dst, p.cv_bytes()); }},
    {"erode",
     [](auto *src, auto *dst, auto &p) {
       const TavixKernel kernel = p.bytes();
       return TavixFrameErodeBorderByCPU(src, dst, &kernel);
     },
     [](auto &src, auto &dst, auto &p) { cv::erode(src, dst, p.cv_bytes()); }},
    {"threshold",
     [](auto *src, auto *dst, auto &p) {
       return TavixFrameThresholdBinaryByCPU(src, dst, 99.5, 200, p.threshold_type);
     },
     [](auto &src, auto &dst, auto &p) { cv::threshold(src, dst, 99.5, 200, p.threshold_type); }},
    {"min-max",
     [](auto *src, auto *dst, auto &) { return TavixFrameMinMaxNormByCPU(src, dst, -20, 300); },
     [](auto &src, auto &dst, auto &) { cv::normalize(src, dst, -20, 300, cv::NORM_MINMAX); }},
};

TEST(Filters, EqualOpencv) {
  const SweepAxes axes = {.formats = kRgbFormats,
                          .widths = {1, 2, 3, 8, 17, 64, 130},
                          .heights = {1, 2, 3, 5, 21},
                          .fills = {Fill::noise, Fill::full}};
  for (const Filter &filter : kFilters) {
    SCOPED_TRACE(filter.name);
    sweep(axes, 400, [&](const SweepCase &c) {
      // OpenCV takes strides of whole elements only.
      if (c.layout.bottom_up || (is_float_format(c.shape.format) && c.layout.pad % 4 != 0)) return;
      GuardedFrame src(c.shape, c.layout), dst(c.shape, c.layout);
      src.fill(c.fill, c.seed);
      dst.fill(Fill::noise, c.seed + 1);
      Parameters parameters(c.seed);
      cv::Mat expected;
      filter.expected(matrix_of(*src), expected, parameters);
      EXPECT_EQ(filter.call(src, dst, parameters), TAVIX_OK);
      EXPECT_TRUE(same_pixels_as(expected, *dst));
      EXPECT_TRUE(src.intact() && dst.intact() && logged_nothing());
    });
  }
}

TEST(Filters, WorkInPlace) {
  for (const Filter &filter : kFilters) {
    for (const int32_t format : kRgbFormats) {
      SCOPED_TRACE(::testing::Message() << filter.name << ", format " << format);
      GuardedFrame frame({format, 130, 21});
      frame.fill(Fill::noise, 1);
      Parameters parameters(23);
      cv::Mat expected;
      filter.expected(matrix_of(*frame), expected, parameters);
      EXPECT_EQ(filter.call(frame, frame, parameters), TAVIX_OK);
      EXPECT_TRUE(same_pixels_as(expected, *frame));
      EXPECT_TRUE(frame.intact() && logged_nothing());
    }
  }
}

// Packed rows, to OpenCV.
TEST(Filters, TakeALinesizeOf0) {
  for (const Filter &filter : kFilters) {
    SCOPED_TRACE(filter.name);
    GuardedFrame src({TAVIX_PIX_FMT_BGR24, 9, 7}), dst({TAVIX_PIX_FMT_BGR24, 9, 7});
    src.fill(Fill::noise, 1);
    Parameters parameters(7);
    cv::Mat expected;
    filter.expected(matrix_of(*src), expected, parameters);
    const int32_t packed = dst->linesize[0];
    src->linesize[0] = dst->linesize[0] = 0;
    EXPECT_EQ(filter.call(src, dst, parameters), TAVIX_OK);
    dst->linesize[0] = packed;
    EXPECT_TRUE(same_pixels_as(expected, *dst));
    EXPECT_TRUE(dst.intact() && logged_nothing());
  }
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

// Only the blur compares formats; the others take the source's type for both.
TEST(Filters, DestinationIsViewedWithTheSourcesType) {
  for (const Filter &filter : kFilters) {
    SCOPED_TRACE(filter.name);
    GuardedFrame src({TAVIX_PIX_FMT_RGB24, 9, 7}), dst({TAVIX_PIX_FMT_BGR24, 9, 7});
    src.fill(Fill::noise, 1);
    dst.fill(Fill::noise, 2);
    const auto before = dst.payload();
    Parameters parameters(7);
    if (std::string(filter.name) == "blur") {
      EXPECT_REFUSED(filter.call(src, dst, parameters), 7, kUnit, "TavixFrameBlurByCPU",
                     "src_frame and dst_frame have different formats: 0 vs 1");
      EXPECT_EQ(dst.payload(), before);
    } else {
      cv::Mat expected;
      filter.expected(matrix_of(*src), expected, parameters);
      EXPECT_EQ(filter.call(src, dst, parameters), TAVIX_OK);
      EXPECT_TRUE(same_pixels_as(expected, *dst));
    }
  }
}

TEST(Filters, LoseAResultThatDoesNotFit) {
  for (const Filter &filter : kFilters) {
    SCOPED_TRACE(filter.name);
    GuardedFrame src({TAVIX_PIX_FMT_GRAY8, 9, 7}), dst({TAVIX_PIX_FMT_GRAY8, 10, 7});
    src.fill(Fill::noise, 1);
    dst.fill(Fill::noise, 2);
    const auto before = dst.payload();
    Parameters parameters(7);
    EXPECT_EQ(filter.call(src, dst, parameters), TAVIX_OK);
    EXPECT_EQ(dst.payload(), before);
    EXPECT_TRUE(dst.intact() && logged_nothing());
  }
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
  GuardedFrame src({TAVIX_PIX_FMT_GRAY8, 9, 7}), dst({TAVIX_PIX_FMT_GRAY8, 9, 7});
  src.fill(Fill::noise, 1);
  dst.fill(Fill::noise, 2);
  const auto before = dst.payload();
  const TavixSize none = {0.9f, 3};
  float value = 1;
  const TavixKernel negative = {-1, -1, TAVIX_DATA_TYPE_FLOAT32, &value},
                    missing = {3, 3, TAVIX_DATA_TYPE_UINT8, nullptr};
  const auto failed = [](const char *function, const char *text) {
    const auto logs = core_double().take_logs();
    return logs.size() == 1 && logs[0].function == function && logs[0].text.starts_with(text);
  };
  EXPECT_EQ(TavixFrameBlurByCPU(src, dst, none), 7);
  EXPECT_TRUE(failed("TavixFrameBlurByCPU", "OpenCV error: "));
  EXPECT_EQ(TavixFrameBoxFilterByCPU(src, dst, &none), 7);
  EXPECT_TRUE(failed("TavixFrameBoxFilterByCPU", "OpenCV error: "));
  EXPECT_EQ(TavixFrameFilter2DByCPU(src, dst, &negative), 7);
  EXPECT_TRUE(failed("TavixFrameFilter2DByCPU", "OpenCV error: "));
  EXPECT_EQ(TavixFrameDilateBorderByCPU(src, dst, &missing), 7);
  EXPECT_TRUE(failed("TavixFrameDilateBorderByCPU", "Dilate failed: "));
  EXPECT_EQ(dst.payload(), before);
}

// OpenCV's to answer, however far they reach beyond the picture.
TEST(Filters, LongKernelsEqualOpencv) {
  for (const int32_t format : {TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_GRAYF32}) {
    GuardedFrame src({format, 9, 7}), dst({format, 9, 7});
    src.fill(Fill::noise, 1);
    const cv::Mat picture = matrix_of(*src);
    constexpr int kSide = 1 << 15;
    for (const cv::Size &size : {cv::Size(kSide, 1), cv::Size(1, kSide)}) {
      SCOPED_TRACE(::testing::Message() << "format " << format << ", " << size);
      const auto expect = [&](int32_t status, const cv::Mat &expected) {
        EXPECT_EQ(status, TAVIX_OK);
        EXPECT_TRUE(same_pixels_as(expected, *dst));
        EXPECT_TRUE(dst.intact() && logged_nothing());
      };
      const TavixSize kernel_size = {float(size.width), float(size.height)};
      std::vector<float> values(size_t(kSide), 0.001f);
      std::vector<uint8_t> element(size_t(kSide), 1);
      element[5] = 0;
      const TavixKernel floats = {kernel_size.width, kernel_size.height, 0, values.data()};
      const TavixKernel bytes = {kernel_size.width, kernel_size.height, 11, element.data()};
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
  GuardedFrame src({TAVIX_PIX_FMT_RGBAF32, 9, 7}), dst({TAVIX_PIX_FMT_RGBAF32, 9, 7});
  src.fill(Fill::noise, 1);
  dst.fill(Fill::noise, 2);
  const auto before = dst.payload();
  for (const float side :
       {134217728.0f, 536870912.0f, 2147483520.0f, 1e30f, INFINITY, NAN, -5.0f}) {
    const TavixSize sizes[] = {{side, 1}, {1, side}, {side, side}};
    for (const TavixSize &size : sizes) {
      if (side < 2e8f && size.width == 1) continue;  // columns are counted one by one
      EXPECT_EQ(TavixFrameBlurByCPU(src, dst, size), 7) << side;
      EXPECT_EQ(TavixFrameBoxFilterByCPU(src, dst, &size), 7) << side;
      EXPECT_EQ(core_double().take_logs().size(), 2u);
    }
  }
  EXPECT_EQ(dst.payload(), before);
}

TEST(Filters, KernelsThatOpencvCannotCountAreRefused) {
  GuardedFrame src({TAVIX_PIX_FMT_RGBAF32, 9, 7}), dst({TAVIX_PIX_FMT_RGBAF32, 9, 7});
  constexpr char kText[] = "kernel of 134217728x1 is too large for a frame of 9x7";
  const TavixSize size = {134217728.0f, 1};
  float value = 1;
  const TavixKernel floats = {size.width, 1, 0, &value}, bytes = {size.width, 1, 11, &value};
  EXPECT_REFUSED(TavixFrameBlurByCPU(src, dst, size), 7, kUnit, "TavixFrameBlurByCPU", kText);
  EXPECT_REFUSED(TavixFrameBoxFilterByCPU(src, dst, &size), 7, kUnit, "TavixFrameBoxFilterByCPU",
                 kText);
  EXPECT_REFUSED(TavixFrameFilter2DByCPU(src, dst, &floats), 7, kUnit, "TavixFrameFilter2DByCPU",
                 kText);
  EXPECT_REFUSED(TavixFrameDilateBorderByCPU(src, dst, &bytes), 7, kUnit,
                 "TavixFrameDilateBorderByCPU", kText);
  EXPECT_REFUSED(TavixFrameErodeBorderByCPU(src, dst, &bytes), 7, kUnit,
                 "TavixFrameErodeBorderByCPU", kText);
}

TEST(FilterRefusals, EveryRowInOrder) {
  GuardedFrame src({TAVIX_PIX_FMT_BGR24, 6, 4}), dst({TAVIX_PIX_FMT_BGR24, 6, 4});
  dst.fill(Fill::noise, 2);
  const auto before = dst.payload();
  TavixFrameV2 *const to = dst;
  const TavixSize size = {3, 3};
  uint8_t element[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
  float values[9] = {};
  const TavixKernel bytes = {3, 3, 11, element}, floats = {3, 3, 0, values};

  // Kernel types, with everything before them right.
  EXPECT_REFUSED(TavixFrameFilter2DByCPU(src, to, &bytes), 7, kUnit, "TavixFrameFilter2DByCPU",
                 "kernel->data_type:11 is not supported!");
  EXPECT_REFUSED(TavixFrameDilateBorderByCPU(src, to, &floats), 4, kUnit,
                 "TavixFrameDilateBorderByCPU",
                 "Only UINT8 data type is supported, current data type: 0");
  EXPECT_REFUSED(TavixFrameErodeBorderByCPU(src, to, &floats), 4, kUnit,
                 "TavixFrameErodeBorderByCPU",
                 "Only UINT8 data type is supported, current data type: 0");
  EXPECT_REFUSED(TavixFrameFilter2DByCPU(src, to, nullptr), 7, kUnit, "TavixFrameFilter2DByCPU",
                 printed("kernel:%p is nullptr", nullptr));
  EXPECT_REFUSED(TavixFrameDilateBorderByCPU(src, to, nullptr), 7, kUnit,
                 "TavixFrameDilateBorderByCPU", printed("kernel:%p is nullptr", nullptr));
  EXPECT_REFUSED(TavixFrameBoxFilterByCPU(src, to, nullptr), 7, kUnit, "TavixFrameBoxFilterByCPU",
                 printed("kernel_size:%p is nullptr", nullptr));

  // A wrong format is refused before a wrong kernel.
  src->video.format = 7;
  EXPECT_REFUSED(TavixFrameBlurByCPU(src, to, size), 7, kUnit, "TavixFrameBlurByCPU",
                 "Unsupported Frame Type:7 To OpencvType!");
  EXPECT_REFUSED(TavixFrameBoxFilterByCPU(src, to, &size), 4, kUnit, "TavixFrameBoxFilterByCPU",
                 "Unsupported Frame Type To OpencvType!");
  EXPECT_REFUSED(TavixFrameFilter2DByCPU(src, to, &bytes), 7, kUnit, "TavixFrameFilter2DByCPU",
                 "Unsupported Frame Type:7 To OpencvType!");
  EXPECT_REFUSED(TavixFrameDilateBorderByCPU(src, to, &floats), 7, kUnit,
                 "TavixFrameDilateBorderByCPU", "Unsupported Frame Type:7 To OpencvType!");
  EXPECT_REFUSED(TavixFrameErodeBorderByCPU(src, to, &floats), 7, kUnit,
                 "TavixFrameErodeBorderByCPU", "Unsupported Frame Type:7 To OpencvType!");
  EXPECT_REFUSED(TavixFrameMinMaxNormByCPU(src, to, 0, 1), 7, kUnit, "TavixFrameMinMaxNormByCPU",
                 "Unsupported Frame Type To OpencvType!");

  // A null plane is refused before the format, by the threshold after it.
  src->data[0] = nullptr;
  const std::string dst_frame_text =
      printed("src_frame->data[0]:%p or dst_frame->data[0]:%p is nullptr", nullptr, to->data[0]);
  EXPECT_REFUSED(TavixFrameBlurByCPU(src, to, size), 7, kUnit, "TavixFrameBlurByCPU",
                 dst_frame_text);
  EXPECT_REFUSED(
      TavixFrameBoxFilterByCPU(src, to, &size), 7, kUnit, "TavixFrameBoxFilterByCPU",
      printed("src_frame->data[0]:%p or des_frame->data[0]:%p is nullptr", nullptr, to->data[0]));
  EXPECT_REFUSED(TavixFrameFilter2DByCPU(src, to, &bytes), 7, kUnit, "TavixFrameFilter2DByCPU",
                 dst_frame_text);
  EXPECT_REFUSED(TavixFrameDilateBorderByCPU(src, to, &floats), 7, kUnit,
                 "TavixFrameDilateBorderByCPU", dst_frame_text);
  EXPECT_REFUSED(TavixFrameErodeBorderByCPU(src, to, &floats), 7, kUnit,
                 "TavixFrameErodeBorderByCPU", dst_frame_text);
  EXPECT_REFUSED(TavixFrameMinMaxNormByCPU(src, to, 0, 1), 7, kUnit, "TavixFrameMinMaxNormByCPU",
                 dst_frame_text);
  EXPECT_REFUSED(TavixFrameThresholdBinaryByCPU(src, to, 1, 2, 0), 4, kUnit,
                 "TavixFrameThresholdBinaryByCPU", "Unsupported Frame Type:7 To OpencvType!");
  src->video.format = 1;
  EXPECT_REFUSED(TavixFrameThresholdBinaryByCPU(src, to, 1, 2, 0), 7, kUnit,
                 "TavixFrameThresholdBinaryByCPU", dst_frame_text);
  EXPECT_EQ(dst.payload(), before);
}

}  // namespace
}  // namespace tavix::test
