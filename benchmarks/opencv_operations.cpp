// SPDX-License-Identifier: Apache-2.0
// What the operations on OpenCV add to the plain OpenCV call: checks, views and, where an operation
// makes a frame, its allocation and the copy into it. "opencv" is the same call on the same memory.
#include <libyuv/convert_argb.h>
#include <libyuv/planar_functions.h>

#include <opencv2/imgproc.hpp>

#include <vector>

#include "support/harness.h"
#include "tavix/video_common_cpu.h"

namespace tavix::benchmarks {

namespace {

constexpr int32_t kFormat = TAVIX_PIX_FMT_BGR24;

// A new frame of a peer, in the size of the result.
Frame new_frame(const Frames &f, int32_t format) {
  return Frame(format, {f.dst->video.width, f.dst->video.height});
}

// An operation of two frames that makes the third.
template <auto function>
void make_frame(Frames &f) {
  TavixFrameV2 *frame = nullptr;
  function(f.src[0], f.src[1], &frame);
  TavixFrameFreeV2(frame);
}

Frames same_size(const Size &size) {
  return Frames({noise(kFormat, size, 1), noise(kFormat, size, 2)}, Frame(kFormat, size));
}

void compare_geometry() {
  const auto to_half = [](const Size &size) {
    return Frames({noise(kFormat, size, 1)}, Frame(kFormat, {size.width / 2, size.height / 2}));
  };
  compare("resize_half", to_half)
      .ours([](Frames &f) {
        TavixFrameResizeByCPU(f.src[0], f.dst, f.dst->video.width, f.dst->video.height, 1);
      })
      .peer("opencv", kExact, [](Frames &f) {
        cv::Mat dst = f.dst.mat();
        cv::resize(f.src[0].mat(), dst, dst.size(), 0, 0, cv::INTER_LINEAR);
      });

  static const float kMatrix[9] = {0.98f, 0.1f, 3, -0.1f, 0.98f, 5, 1e-5f, 2e-5f, 1};
  compare("warp_affine", same_size)
      .ours([](Frames &f) { TavixFrameWarpAffineByCPU(f.dst, f.src[0], kMatrix, 1, 0, 0); })
      .peer("opencv", kExact, [](Frames &f) {
        cv::Mat dst = f.dst.mat();
        cv::warpAffine(f.src[0].mat(), dst, cv::Mat(2, 3, CV_32F, const_cast<float *>(kMatrix)),
                       dst.size());
      });
  compare("warp_perspective", same_size)
      .ours([](Frames &f) { TavixFrameWarpPerspectiveByCPU(f.dst, f.src[0], kMatrix, 1, 0, 0); })
      .peer("opencv", kExact, [](Frames &f) {
        cv::Mat dst = f.dst.mat();
        cv::warpPerspective(f.src[0].mat(), dst,
                            cv::Mat(3, 3, CV_32F, const_cast<float *>(kMatrix)), dst.size());
      });
  compare("roi", same_size)
      .ours([](Frames &f) {
        const TavixRect rect = {8, 8, float(f.dst->video.width - 16),
                                float(f.dst->video.height - 16)};
        TavixFrameRoiByCPU(f.src[0], f.dst, rect, rect);
      })
      .peer("opencv", kExact, [](Frames &f) {
        const cv::Rect rect(8, 8, f.dst->video.width - 16, f.dst->video.height - 16);
        f.src[0].mat()(rect).copyTo(f.dst.mat()(rect));
      });
  const auto with_border = [](const Size &size) {
    return Frames({noise(kFormat, size, 1)}, Frame(kFormat, {size.width + 16, size.height + 16}));
  };
  compare("copy_make_border", with_border)
      .ours([](Frames &f) { TavixFrameCopyMakeBorderByCPU(f.src[0], f.dst, 8, 8, 8, 8, 4, 0); })
      .peer("opencv", kExact, [](Frames &f) {
        cv::Mat dst = f.dst.mat();
        cv::copyMakeBorder(f.src[0].mat(), dst, 8, 8, 8, 8, cv::BORDER_REFLECT_101);
      });
}

void compare_filters() {
  compare("blur", same_size)
      .ours([](Frames &f) {
        TavixFrameBlurByCPU(f.src[0], f.dst, {5, 5});
      })
      .peer("opencv", kExact, [](Frames &f) {
        cv::Mat dst = f.dst.mat();
        cv::blur(f.src[0].mat(), dst, {5, 5});
      });
  compare("box_filter", same_size)
      .ours([](Frames &f) {
        const TavixSize size = {3, 3};
        TavixFrameBoxFilterByCPU(f.src[0], f.dst, &size);
      })
      .peer("opencv", kExact, [](Frames &f) {
        cv::Mat dst = f.dst.mat();
        cv::boxFilter(f.src[0].mat(), dst, -1, {3, 3}, {-1, -1}, false, cv::BORDER_REPLICATE);
      });

  static float weights[9] = {0, -1, 0, -1, 5, -1, 0, -1, 0};
  compare("filter_2d", same_size)
      .ours([](Frames &f) {
        const TavixKernel kernel = {3, 3, TAVIX_DATA_TYPE_FLOAT32, weights};
        TavixFrameFilter2DByCPU(f.src[0], f.dst, &kernel);
      })
      .peer("opencv", kExact, [](Frames &f) {
        cv::Mat dst = f.dst.mat();
        cv::filter2D(f.src[0].mat(), dst, -1, cv::Mat(3, 3, CV_32F, weights), {-1, -1}, 0,
                     cv::BORDER_REPLICATE);
      });

  static uint8_t element[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
  static const TavixKernel kElement = {3, 3, TAVIX_DATA_TYPE_UINT8, element};
  compare("dilate", same_size)
      .ours([](Frames &f) { TavixFrameDilateBorderByCPU(f.src[0], f.dst, &kElement); })
      .peer("opencv", kExact, [](Frames &f) {
        cv::Mat dst = f.dst.mat();
        cv::dilate(f.src[0].mat(), dst, cv::Mat(3, 3, CV_8U, element));
      });
  compare("erode", same_size)
      .ours([](Frames &f) { TavixFrameErodeBorderByCPU(f.src[0], f.dst, &kElement); })
      .peer("opencv", kExact, [](Frames &f) {
        cv::Mat dst = f.dst.mat();
        cv::erode(f.src[0].mat(), dst, cv::Mat(3, 3, CV_8U, element));
      });
  compare("threshold", same_size)
      .ours([](Frames &f) { TavixFrameThresholdBinaryByCPU(f.src[0], f.dst, 99, 255, 0); })
      .peer("opencv", kExact, [](Frames &f) {
        cv::Mat dst = f.dst.mat();
        cv::threshold(f.src[0].mat(), dst, 99, 255, cv::THRESH_BINARY);
      });
  compare("min_max_norm", same_size)
      .ours([](Frames &f) { TavixFrameMinMaxNormByCPU(f.src[0], f.dst, 10, 200); })
      .peer("opencv", kExact, [](Frames &f) {
        cv::Mat dst = f.dst.mat();
        cv::normalize(f.src[0].mat(), dst, 10, 200, cv::NORM_MINMAX);
      });
}

// Operations that make their result: both sides take their new frames from the core, which fills
// them with zeros.
void compare_channels() {
  compare("channel_split", same_size)
      .ours([](Frames &f) {
        TavixChannelFrames channels = {};
        TavixFrameChannelSplitByCPU(f.src[0], &channels, 7);
        for (TavixFrameV2 *frame : {channels.red, channels.green, channels.blue})
          TavixFrameFreeV2(frame);
      })
      .peer("opencv", kUnequalWork, [](Frames &f) {
        const Frame channels[] = {new_frame(f, TAVIX_PIX_FMT_GRAY8),
                                  new_frame(f, TAVIX_PIX_FMT_GRAY8),
                                  new_frame(f, TAVIX_PIX_FMT_GRAY8)};
        std::vector<cv::Mat> views = {channels[0].mat(), channels[1].mat(), channels[2].mat()};
        cv::split(f.src[0].mat(), views);
      });
  compare("channel_split_one", same_size)
      .ours([](Frames &f) {
        TavixChannelFrames channels = {};
        TavixFrameChannelSplitByCPU(f.src[0], &channels, 2);
        TavixFrameFreeV2(channels.green);
      })
      .peer("opencv", kUnequalWork, [](Frames &f) {
        cv::extractChannel(f.src[0].mat(), new_frame(f, TAVIX_PIX_FMT_GRAY8).mat(), 1);
      });
  const auto with_mask = [](const Size &size) {
    return Frames({noise(kFormat, size, 1), noise(TAVIX_PIX_FMT_GRAY8, size, 2)},
                  Frame(TAVIX_PIX_FMT_BGRA32, size));
  };
  compare("add_mask", with_mask)
      .ours(make_frame<TavixFrameAddMaskByCPU>)
      .peer("libyuv", kUnequalWork, [](Frames &f) {
        const Frame frame = new_frame(f, TAVIX_PIX_FMT_BGRA32);
        const int width = frame->video.width, height = frame->video.height;
        libyuv::RGB24ToARGB(f.src[0]->data[0], f.src[0]->linesize[0], frame->data[0],
                            frame->linesize[0], width, height);
        libyuv::ARGBCopyYToAlpha(f.src[1]->data[0], f.src[1]->linesize[0], frame->data[0],
                                 frame->linesize[0], width, height);
      });
  compare("multi_frame", same_size)
      .ours(make_frame<TavixFrameMultiFrameByCPU>)
      .peer("opencv", kUnequalWork, [](Frames &f) {
        cv::multiply(f.src[0].mat(), f.src[1].mat(), new_frame(f, kFormat).mat());
      });
  compare("memfill", same_size)
      .ours([](Frames &f) { TavixFrameMemfillByCPU(f.src[0], f.dst, 7); })
      .peer("opencv", kExact, [](Frames &f) { f.dst.mat().setTo(cv::Scalar::all(7)); });
}

}  // namespace

void register_benchmarks() {
  compare_geometry();
  compare_filters();
  compare_channels();
}

}  // namespace tavix::benchmarks
