// SPDX-License-Identifier: Apache-2.0
// Frames into tensors and back: 8-bit and float BGR frames, the two layouts, the usual element
// types.
#include <opencv2/dnn.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <memory>
#include <vector>

#include "common/pixel_format.h"
#include "support/harness.h"
#include "tavix/video_common_cpu.h"

namespace tavix::benchmarks {

namespace {

const Sizes kTensorSizes = {{256, 256}, {640, 640}, {1920, 1080}};

struct Element {
  const char *name;
  uint32_t data_type;
  int depth;  // OpenCV's
};
constexpr Element kFloat = {"f32", TAVIX_DATA_TYPE_FLOAT32, CV_32F},
                  kByte = {"u8", TAVIX_DATA_TYPE_UINT8, CV_8U},
                  kShort = {"i16", TAVIX_DATA_TYPE_INT16, CV_16S},
                  kInt = {"i32", TAVIX_DATA_TYPE_INT32, CV_32S};

// A frame and a blob of one image of its size, and OpenCV's views of both.
struct Tensors : Workload {
  Tensors(int32_t format, const Size &size, const Element &element, bool planar)
      : frame(noise(format, size, 1, {1.0f, 255.0f})),
        back(format, size),
        depth(element.depth),
        image_scratch(size.height, size.width, CV_MAKETYPE(element.depth, channels())) {
    const int32_t c = channels(), h = size.height, w = size.width;
    const std::vector<int32_t> dims = planar ? std::vector{1, c, h, w} : std::vector{1, h, w, c};
    blob = std::shared_ptr<TavixBlob>(
        TavixBlobAlloc(element.data_type, planar ? TAVIX_DATA_FORMAT_NCHW : TAVIX_DATA_FORMAT_NHWC,
                       4, dims.data()),
        TavixBlobFree);
    tensor = cv::Mat(4, dims.data(), element.depth, data());
    for (int32_t k = 0; k < c; ++k) {
      planes.emplace_back(h, w, element.depth,
                          static_cast<uint8_t *>(data()) + tensor.elemSize() * size_t(k * h) * w);
      frame_planes.emplace_back(h, w, frame.mat().depth());
    }
    packed = cv::Mat(h, w, CV_MAKETYPE(element.depth, c), data());
  }

  int32_t channels() const { return frame->video.channels; }
  void *data() const { return TavixBlobBufferGet(blob.get()); }
  Samples samples() const {
    const int64_t count = int64_t(tensor.total());
    switch (depth) {
      case CV_8U:
        return {static_cast<uint8_t *>(data()), count};
      case CV_16S:
        return {static_cast<int16_t *>(data()), count};
      case CV_32S:
        return {static_cast<int32_t *>(data()), count};
      default:
        return {static_cast<float *>(data()), count};
    }
  }

  Frame frame, back;
  int depth;
  std::shared_ptr<TavixBlob> blob;
  cv::Mat tensor, packed;             // over the blob
  std::vector<cv::Mat> planes;        // over the blob
  std::vector<cv::Mat> frame_planes;  // scratch: the frame's elements in planes
  cv::Mat image_scratch;              // the blob's elements in pixels
};

// Calls body with rows a and up to b, in strips that stay in the second cache.
template <class Body>
void in_strips(const cv::Mat &image, const Body &body) {
  const int rows = std::max(1, int(65536 / image.step));
  for (int y = 0; y < image.rows; y += rows) body(cv::Range(y, std::min(y + rows, image.rows)));
}

std::vector<cv::Mat> rows_of(const std::vector<cv::Mat> &planes, const cv::Range &strip) {
  std::vector<cv::Mat> parts;
  for (const cv::Mat &plane : planes) parts.push_back(plane.rowRange(strip));
  return parts;
}

struct Layout {
  const char *name;
  bool planar;
};
constexpr Layout kPlanar = {"nchw", true}, kPacked = {"nhwc", false};

std::string frame_name(int32_t format) {
  return module::is_float(format) ? "f32" : "u8";
}

void to_blob(int32_t format, const Element &element, const Layout &layout) {
  const bool same = (module::is_float(format) ? CV_32F : CV_8U) == element.depth;
  // OpenCV rounds where the library truncates.
  const Tolerance tolerance = module::is_float(format) && !same ? 1.0 : kExact;
  auto comparison = compare(
      "blob_" + frame_name(format) + "_to_" + element.name + "_" + layout.name,
      [=](const Size &size) {
        Tensors t(format, size, element, layout.planar);
        t.inputs = t.frame.planes();
        t.outputs = {t.samples()};
        return t;
      },
      kTensorSizes);
  comparison.ours([](Tensors &t) { TavixFrameToBlobByCPU(t.frame, t.blob.get()); });
  if (!layout.planar) {
    comparison.peer("opencv", tolerance,
                    [](Tensors &t) { t.frame.mat().convertTo(t.packed, t.depth); });
    return;
  }
  if (same) {
    comparison.peer("opencv", kExact, [](Tensors &t) { cv::split(t.frame.mat(), t.planes); });
  } else {
    comparison.peer("opencv", tolerance, [](Tensors &t) {
      const cv::Mat image = t.frame.mat();
      in_strips(image, [&](const cv::Range &strip) {
        std::vector<cv::Mat> scratch = rows_of(t.frame_planes, {0, strip.size()});
        cv::split(image.rowRange(strip), scratch);
        for (size_t c = 0; c < scratch.size(); ++c)
          scratch[c].convertTo(t.planes[c].rowRange(strip), t.depth);
      });
    });
  }
  if (element.depth == CV_32F) {
    comparison.peer("opencv_dnn", kExact, [](Tensors &t) {
      cv::dnn::blobFromImage(t.frame.mat(), t.tensor, 1.0, cv::Size(), cv::Scalar(), false, false,
                             CV_32F);
    });
  }
}

void to_frame(const Element &element, int32_t format, const Layout &layout) {
  const int depth = module::is_float(format) ? CV_32F : CV_8U;
  const bool same = depth == element.depth;
  const Tolerance tolerance = module::is_float(format) || same ? kExact : 1.0;
  auto comparison = compare(
      std::string("blob_") + layout.name + "_" + element.name + "_to_" + frame_name(format),
      [=](const Size &size) {
        Tensors t(format, size, element, layout.planar);
        fill_noise(t.samples(), 1, {1.0f, 254.4f});
        // Values that neither truncation nor rounding takes out of the bytes.
        if (element.depth != CV_32F && element.depth != CV_8U)
          t.tensor.setTo(0), cv::randu(t.tensor, 0, 256);
        t.inputs = {t.samples()};
        t.outputs = t.back.planes();
        return t;
      },
      kTensorSizes);
  comparison.ours([](Tensors &t) { TavixBlobToFrameByCPU(t.blob.get(), t.back); });
  if (!layout.planar) {
    comparison.peer("opencv", tolerance, [depth](Tensors &t) {
      cv::Mat image = t.back.mat();
      t.packed.convertTo(image, depth);
    });
    return;
  }
  if (same) {
    comparison.peer("opencv", kExact, [](Tensors &t) {
      cv::Mat image = t.back.mat();
      cv::merge(t.planes, image);
    });
    return;
  }
  comparison.peer("opencv_convert_merge", tolerance, [depth](Tensors &t) {
    cv::Mat image = t.back.mat();
    in_strips(image, [&](const cv::Range &strip) {
      cv::Mat part = image.rowRange(strip);
      std::vector<cv::Mat> scratch = rows_of(t.frame_planes, {0, strip.size()});
      for (size_t c = 0; c < scratch.size(); ++c)
        t.planes[c].rowRange(strip).convertTo(scratch[c], depth);
      cv::merge(scratch, part);
    });
  });
  comparison.peer("opencv_merge_convert", tolerance, [depth](Tensors &t) {
    cv::Mat image = t.back.mat();
    in_strips(image, [&](const cv::Range &strip) {
      cv::Mat part = image.rowRange(strip);
      cv::Mat scratch = t.image_scratch.rowRange(0, strip.size());
      cv::merge(rows_of(t.planes, strip), scratch);
      scratch.convertTo(part, depth);
    });
  });
}

}  // namespace

void register_benchmarks() {
  for (const int32_t format : {TAVIX_PIX_FMT_BGR24, TAVIX_PIX_FMT_BGRF32}) {
    for (const Layout &layout : {kPlanar, kPacked}) {
      for (const Element &element : {kFloat, kByte, kShort, kInt}) {
        to_blob(format, element, layout);
        to_frame(element, format, layout);
      }
    }
  }
}

}  // namespace tavix::benchmarks
