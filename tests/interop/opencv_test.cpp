// SPDX-License-Identifier: Apache-2.0
// Matrices and regions of them as frames, and back.
#include "tavix/interop/opencv.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

namespace {

// Noise, the same in every run.
cv::Mat noise(int rows, int cols, int type) {
  cv::Mat mat(rows, cols, type);
  cv::RNG(7).fill(mat, cv::RNG::UNIFORM, 0, 255);
  return mat;
}

bool same(const cv::Mat &a, const cv::Mat &b) {
  return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0;
}

TEST(OpenCv, TypesBecomeFormatsWithBlueFirst) {
  const std::pair<int, int> kRows[] = {
      {CV_8UC1, TAVIX_PIX_FMT_GRAY8},   {CV_8UC3, TAVIX_PIX_FMT_BGR24},
      {CV_8UC4, TAVIX_PIX_FMT_BGRA32},  {CV_32FC1, TAVIX_PIX_FMT_GRAYF32},
      {CV_32FC3, TAVIX_PIX_FMT_BGRF32}, {CV_32FC4, TAVIX_PIX_FMT_BGRAF32},
  };
  for (const auto &[type, format] : kRows) {
    const cv::Mat mat = noise(5, 7, type);
    const TavixFrameV2 frame = tavix::frame_view(mat);
    EXPECT_EQ(frame.video.format, format);
    EXPECT_EQ(frame.video.channels, mat.channels());
    EXPECT_EQ(frame.data[0], mat.data);
    const cv::Mat back = tavix::mat_view(frame);
    EXPECT_EQ(back.data, mat.data);
    EXPECT_TRUE(same(back, mat));
  }
}

// Of a region, every pixel and no other one.
TEST(OpenCv, OperationsStayInsideRegions) {
  for (const cv::Rect region :
       {cv::Rect(0, 0, 9, 4), cv::Rect(3, 2, 17, 11), cv::Rect(20, 5, 12, 9)}) {
    const cv::Mat source = noise(14, 32, CV_8UC3), before = noise(14, 32, CV_8UC3) / 2;
    cv::Mat target = before.clone();
    const TavixFrameV2 from = tavix::frame_view(source(region));
    TavixFrameV2 to = tavix::frame_view(target(region), TAVIX_PIX_FMT_RGB24);
    tavix::call<TavixFrameConvertColorByCPU>(from, to);
    cv::Mat expected = before.clone();
    cv::cvtColor(source(region), expected(region), cv::COLOR_BGR2RGB);
    EXPECT_TRUE(same(target, expected));
    EXPECT_TRUE(same(tavix::mat_view(to), expected(region)));
  }
}

TEST(OpenCv, FramesWithGapsAreMatrices) {
  const tavix::Frame frame(TAVIX_PIX_FMT_BGR24, 5, 3);
  cv::Mat mat = tavix::mat_view(*frame);
  EXPECT_EQ(mat.step[0], size_t(frame->linesize[0]));
  mat.at<cv::Vec3b>(2, 4) = {1, 2, 3};
  EXPECT_EQ(frame.row(2)[4 * 3 + 1], 2);
}

TEST(OpenCv, MatricesWithChromaRows) {
  const cv::Mat bgr = noise(12, 16, CV_8UC3);
  cv::Mat i420;
  cv::cvtColor(bgr, i420, cv::COLOR_BGR2YUV_I420);
  const cv::Mat wide = cv::Mat::zeros(18, 40, CV_8UC1);
  const TavixFrameV2 planar = tavix::frame_view(i420, TAVIX_PIX_FMT_I420);
  TavixFrameV2 nv12 = tavix::frame_view(wide(cv::Rect(4, 0, 16, 18)), TAVIX_PIX_FMT_NV12);
  EXPECT_EQ(planar.video.height, 12);
  tavix::call<TavixFrameConvertColorByCPU>(planar, nv12);
  for (int y = 0; y < 6; ++y)
    for (int x = 0; x < 8; ++x) {
      EXPECT_EQ(wide.at<uint8_t>(12 + y, 4 + 2 * x), planar.data[1][y * 8 + x]);
      EXPECT_EQ(wide.at<uint8_t>(12 + y, 4 + 2 * x + 1), planar.data[2][y * 8 + x]);
    }
  EXPECT_EQ(cv::countNonZero(wide(cv::Rect(20, 0, 20, 18))), 0);
}

TEST(OpenCv, RefusesWhatHasNoCounterpart) {
  EXPECT_THROW(tavix::frame_view(noise(4, 4, CV_16UC1)), tavix::Error);
  EXPECT_THROW(tavix::frame_view(noise(4, 4, CV_8UC2)), tavix::Error);
  EXPECT_THROW(tavix::frame_view(cv::Mat()), tavix::Error);
  EXPECT_THROW(tavix::frame_view(noise(4, 4, CV_8UC3), TAVIX_PIX_FMT_RGBA32), tavix::Error);
  EXPECT_THROW(tavix::frame_view(noise(4, 4, CV_8UC3), TAVIX_PIX_FMT_NONE), tavix::Error);
  EXPECT_THROW(tavix::frame_view(noise(4, 4, CV_8UC1), TAVIX_PIX_FMT_NV12), tavix::Error);
  EXPECT_THROW(tavix::frame_view(noise(6, 8, CV_8UC1)(cv::Rect(0, 0, 4, 6)), TAVIX_PIX_FMT_I420),
               tavix::Error);
  const int sizes[] = {2, 3, 4};
  EXPECT_THROW(tavix::frame_view(cv::Mat(3, sizes, CV_8UC1)), tavix::Error);

  const tavix::Frame nv12(TAVIX_PIX_FMT_NV12, 4, 4), grey(TAVIX_PIX_FMT_GRAY8, 4, 4);
  EXPECT_THROW(tavix::mat_view(*nv12), tavix::Error);
  TavixFrameV2 flipped = *grey;
  flipped.linesize[0] = -flipped.linesize[0];
  EXPECT_THROW(tavix::mat_view(flipped), tavix::Error);
  TavixFrameV2 device = *grey;
  device.memory = 1;
  EXPECT_THROW(tavix::mat_view(device), tavix::Error);
}

}  // namespace
