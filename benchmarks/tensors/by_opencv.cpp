// SPDX-License-Identifier: Apache-2.0
// What "tavix tensors" does, by OpenCV alone: decodes a video, resizes each frame to 224 x 224
// pixels and writes (sample - mean) * scale as planes of floats, red first.
//
//   tensors_by_opencv VIDEO OUTPUT SCALE RED,GREEN,BLUE
#include <cstdio>
#include <fstream>
#include <opencv2/dnn.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>
#include <string>

int main(int argc, char **argv) {
  cv::Scalar mean;
  if (argc != 5 || std::sscanf(argv[4], "%lf,%lf,%lf", &mean[0], &mean[1], &mean[2]) != 3) return 2;
  cv::VideoCapture video(argv[1], cv::CAP_FFMPEG);
  std::ofstream output(argv[2], std::ios::binary);
  const double scale = std::stod(argv[3]);
  cv::Mat frame, small, tensor;
  while (video.read(frame)) {
    cv::resize(frame, small, {224, 224}, 0, 0, cv::INTER_LINEAR);
    cv::dnn::blobFromImage(small, tensor, scale, {}, mean, true);
    output.write(tensor.ptr<char>(), std::streamsize(tensor.total() * tensor.elemSize()));
  }
  output.close();
  return output ? 0 : 1;
}
