// SPDX-License-Identifier: Apache-2.0
// Conversions into, out of and among the 4:2:0 formats, in BT.601 limited range as all peers have
// it.
#include <libyuv.h>

#include <opencv2/imgproc.hpp>

#include "support/harness.h"
#include "support/swscale.h"
#include "tavix/video_common_cpu.h"

namespace tavix::benchmarks {

namespace {

// Fixed-point matrices of other widths and other means of a block: results lie this far apart.
constexpr Tolerance kNear = 4.0;
constexpr Tolerance kNearAboveBlack = kNear + 1.164 * 16;  // OpenCV takes luma below 16 for 16
constexpr Tolerance kNearUnit = kNear / 255.0;

struct Name {
  int32_t format;
  const char *name;
};
constexpr Name kBgr = {TAVIX_PIX_FMT_BGR24, "bgr"};
constexpr Name kBgra = {TAVIX_PIX_FMT_BGRA32, "bgra"};
constexpr Name kNv12 = {TAVIX_PIX_FMT_NV12, "nv12"};
constexpr Name kNv21 = {TAVIX_PIX_FMT_NV21, "nv21"};
constexpr Name kYv12 = {TAVIX_PIX_FMT_YV12, "yv12"};
constexpr Name kI420 = {TAVIX_PIX_FMT_I420, "i420"};
constexpr Name kGray = {TAVIX_PIX_FMT_GRAY8, "gray"};
constexpr Name kBgrF32 = {TAVIX_PIX_FMT_BGRF32, "bgrf32"};

// Two frames, and an 8-bit frame between them for compositions of two calls.
struct Conversion : SwscaleFrames {
  Frame between;

  Conversion(const Name &from, const Name &to, const Size &size)
      : SwscaleFrames(noise(from.format, size, 1, {0.0f, 1.0f}), Frame(to.format, size)),
        between(TAVIX_PIX_FMT_BGR24, size) {}
};

using Call = void (*)(Conversion &c);

void ours(Conversion &c) {
  TavixFrameConvertColorByCPU(c.src[0], c.dst);
}

void two_calls(Conversion &c) {
  TavixFrameConvertColorByCPU(c.src[0], c.between);
  TavixFrameConvertColorByCPU(c.between, c.dst);
}

Comparison<Conversion> compare_conversion(const Name &from, const Name &to,
                                          const std::string &suffix = "") {
  return compare(std::string(from.name) + "_to_" + to.name + suffix,
                 [=](const Size &size) { return Conversion(from, to, size); });
}

// Arguments of a libyuv call: planes with their strides, then the size.
int width(const Frame &f) {
  return f->video.width;
}
int height(const Frame &f) {
  return f->video.height;
}

template <auto routine>
void packed_to_nv(Conversion &c) {
  const Frame &s = c.src[0], &d = c.dst;
  routine(s->data[0], s->linesize[0], d->data[0], d->linesize[0], d->data[1], d->linesize[1],
          width(s), height(s));
}

template <auto routine>
void packed_to_planar(const Frame &s, const Frame &d) {
  routine(s->data[0], s->linesize[0], d->data[0], d->linesize[0], d->data[1], d->linesize[1],
          d->data[2], d->linesize[2], width(s), height(s));
}

template <auto routine>
void nv_to_packed(const Frame &s, const Frame &d) {
  routine(s->data[0], s->linesize[0], s->data[1], s->linesize[1], d->data[0], d->linesize[0],
          width(s), height(s));
}

template <auto routine>
void planar_to_packed(const Frame &s, const Frame &d) {
  routine(s->data[0], s->linesize[0], s->data[1], s->linesize[1], s->data[2], s->linesize[2],
          d->data[0], d->linesize[0], width(s), height(s));
}

// OpenCV's one-matrix view of a 4:2:0 frame, whose planes of packed rows follow one another only in
// its own buffers: the two-plane call for NV12, and a copy of I420 made when the frame is.
template <int code>
void opencv_nv_to_packed(Conversion &c) {
  const Frame &s = c.src[0];
  const cv::Mat y(height(s), width(s), CV_8UC1, s->data[0], size_t(s->linesize[0]));
  const cv::Mat uv(height(s) / 2, width(s) / 2, CV_8UC2, s->data[1], size_t(s->linesize[1]));
  cv::Mat dst = c.dst.mat();
  cv::cvtColorTwoPlane(y, uv, dst, code);
}

// As for a frame in one buffer; the planes of ours are elsewhere, so that results are not compared.
struct OneBuffer : Conversion {
  cv::Mat planes;

  OneBuffer(const Name &from, const Name &to, const Size &size)
      : Conversion(from, to, size),
        planes(size.height * 3 / 2, size.width, CV_8UC1, cv::Scalar(77)) {}
};

void float_to_bytes(Conversion &c) {
  cv::Mat between = c.between.mat();
  c.src[0].mat().convertTo(between, CV_8U, 255.0);
}

void bytes_to_float(Conversion &c) {
  cv::Mat dst = c.dst.mat();
  c.between.mat().convertTo(dst, CV_32F, 1.0 / 255.0);
}

template <int code>
void opencv_to_planar(OneBuffer &c) {
  cv::cvtColor(c.src[0].mat(), c.planes, code);
}

template <int code>
void opencv_from_planar(OneBuffer &c) {
  cv::Mat dst = c.dst.mat();
  cv::cvtColor(c.planes, dst, code);
}

auto compare_one_buffer(const Name &from, const Name &to) {
  return compare(std::string(from.name) + "_to_" + to.name,
                 [=](const Size &size) { return OneBuffer(from, to, size); })
      .ours([](OneBuffer &c) { ours(c); })
      .peer("swscale", kUnequalWork, [](OneBuffer &c) { c.swscale(); });
}

void register_encoders() {
  compare_conversion(kBgr, kNv12).ours(ours).peer("swscale", kUnequalWork, swscale_call);
  compare_conversion(kBgra, kNv12)
      .ours(ours)
      .peer("libyuv", kNear, packed_to_nv<libyuv::ARGBToNV12>)
      .peer("swscale", kUnequalWork, swscale_call);
  compare_one_buffer(kBgr, kI420)
      .peer("libyuv", kNear,
            [](OneBuffer &c) { packed_to_planar<libyuv::RGB24ToI420>(c.src[0], c.dst); })
      .peer("opencv", kUnequalWork, opencv_to_planar<cv::COLOR_BGR2YUV_I420>);
  compare_one_buffer(kBgra, kI420)
      .peer("libyuv", kNear,
            [](OneBuffer &c) { packed_to_planar<libyuv::ARGBToI420>(c.src[0], c.dst); })
      .peer("opencv", kUnequalWork, opencv_to_planar<cv::COLOR_BGRA2YUV_I420>);
}

void register_decoders() {
  compare_conversion(kNv12, kBgr)
      .ours(ours)
      .peer("libyuv", kNear,
            [](Conversion &c) { nv_to_packed<libyuv::NV12ToRGB24>(c.src[0], c.dst); })
      .peer("opencv", kNearAboveBlack, opencv_nv_to_packed<cv::COLOR_YUV2BGR_NV12>)
      .peer("swscale", kUnequalWork, swscale_call);
  compare_conversion(kNv12, kBgra)
      .ours(ours)
      .peer("libyuv", kNear,
            [](Conversion &c) { nv_to_packed<libyuv::NV12ToARGB>(c.src[0], c.dst); })
      .peer("opencv", kNearAboveBlack, opencv_nv_to_packed<cv::COLOR_YUV2BGRA_NV12>)
      .peer("swscale", kUnequalWork, swscale_call);
  compare_one_buffer(kI420, kBgr)
      .peer("libyuv", kNear,
            [](OneBuffer &c) { planar_to_packed<libyuv::I420ToRGB24>(c.src[0], c.dst); })
      .peer("opencv", kUnequalWork, opencv_from_planar<cv::COLOR_YUV2BGR_I420>);
  compare_one_buffer(kI420, kBgra)
      .peer("libyuv", kNear,
            [](OneBuffer &c) { planar_to_packed<libyuv::I420ToARGB>(c.src[0], c.dst); })
      .peer("opencv", kUnequalWork, opencv_from_planar<cv::COLOR_YUV2BGRA_I420>);
}

// One pass beside two: the best peer for the 8-bit half, then OpenCV's scaling of elements.
void register_floats() {
  compare_conversion(kBgrF32, kI420)
      .ours(ours)
      .peer("own_two_calls", kNear, two_calls)
      .peer("opencv_libyuv", kNear, [](Conversion &c) {
        float_to_bytes(c);
        packed_to_planar<libyuv::RGB24ToI420>(c.between, c.dst);
      });
  compare_conversion(kBgrF32, kNv12).ours(ours).peer("own_two_calls", kNear, two_calls);
  compare_conversion(kNv12, kBgrF32)
      .ours(ours)
      .peer("own_two_calls", kNearUnit, two_calls)
      .peer("libyuv_opencv", kNearUnit, [](Conversion &c) {
        nv_to_packed<libyuv::NV12ToRGB24>(c.src[0], c.between);
        bytes_to_float(c);
      });
  compare_conversion(kI420, kBgrF32)
      .ours(ours)
      .peer("own_two_calls", kNearUnit, two_calls)
      .peer("libyuv_opencv", kNearUnit, [](Conversion &c) {
        planar_to_packed<libyuv::I420ToRGB24>(c.src[0], c.between);
        bytes_to_float(c);
      });
}

void register_repacking() {
  compare_conversion(kNv12, kNv21)
      .ours(ours)
      .peer("libyuv", kExact,
            [](Conversion &c) {
              const Frame &s = c.src[0], &d = c.dst;
              libyuv::NV21ToNV12(s->data[0], s->linesize[0], s->data[1], s->linesize[1], d->data[0],
                                 d->linesize[0], d->data[1], d->linesize[1], width(s), height(s));
            })
      .peer("swscale", kExact, swscale_call);
  compare_conversion(kNv12, kI420)
      .ours(ours)
      .peer("libyuv", kExact,
            [](Conversion &c) {
              const Frame &s = c.src[0], &d = c.dst;
              libyuv::NV12ToI420(s->data[0], s->linesize[0], s->data[1], s->linesize[1], d->data[0],
                                 d->linesize[0], d->data[1], d->linesize[1], d->data[2],
                                 d->linesize[2], width(s), height(s));
            })
      .peer("swscale", kExact, swscale_call);
  compare_conversion(kI420, kNv12)
      .ours(ours)
      .peer("libyuv", kExact,
            [](Conversion &c) {
              const Frame &s = c.src[0], &d = c.dst;
              libyuv::I420ToNV12(s->data[0], s->linesize[0], s->data[1], s->linesize[1], s->data[2],
                                 s->linesize[2], d->data[0], d->linesize[0], d->data[1],
                                 d->linesize[1], width(s), height(s));
            })
      .peer("swscale", kExact, swscale_call);
  compare_conversion(kI420, kYv12).ours(ours).peer("libyuv", kExact, [](Conversion &c) {
    const Frame &s = c.src[0], &d = c.dst;
    libyuv::I420Copy(s->data[0], s->linesize[0], s->data[1], s->linesize[1], s->data[2],
                     s->linesize[2], d->data[0], d->linesize[0], d->data[2], d->linesize[2],
                     d->data[1], d->linesize[1], width(s), height(s));
  });
  compare_conversion(kGray, kI420).ours(ours).peer("libyuv", kExact, [](Conversion &c) {
    packed_to_planar<libyuv::I400ToI420>(c.src[0], c.dst);
  });
  compare_conversion(kGray, kNv12).ours(ours);
  compare_conversion(kNv12, kGray).ours(ours);
}

}  // namespace

void register_benchmarks() {
  register_encoders();
  register_decoders();
  register_floats();
  register_repacking();
}

}  // namespace tavix::benchmarks
