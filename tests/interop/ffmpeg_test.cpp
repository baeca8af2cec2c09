// SPDX-License-Identifier: Apache-2.0
// Decoded pictures as frames, and back: clips of every colour space and range are made by FFmpeg,
// decoded, viewed, and converted beside zimg within the differences that docs/colour.md states.
#include "tavix/interop/ffmpeg.h"

#include <gtest/gtest.h>

#include <zimg++.hpp>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

extern "C" const char *c11_view_of(const AVFrame *picture, TavixFrameV2 *view);
extern "C" const char *c11_view_as(const TavixFrameV2 *frame, AVFrame *picture);

namespace {

constexpr int kWidth = 256, kHeight = 192;

struct Space {
  const char *name;        // in FFmpeg's filters and options
  int32_t frame;           // in frames
  const char *documented;  // in the document
  zimg_matrix_coefficients_e matrix;
};
constexpr Space kSpaces[] = {
    {"bt709", 1, "BT.709", ZIMG_MATRIX_BT709},
    {"bt470bg", 2, "BT.601", ZIMG_MATRIX_BT470_BG},
    {"smpte170m", 3, "BT.601", ZIMG_MATRIX_ST170_M},
    {"bt2020nc", 7, "BT.2020", ZIMG_MATRIX_BT2020_NCL},
};

struct Range {
  const char *name;
  int32_t frame;
  const char *documented;
  zimg_pixel_range_e range;
};
constexpr Range kRanges[] = {{"tv", 1, "limited", ZIMG_RANGE_LIMITED},
                             {"pc", 2, "full", ZIMG_RANGE_FULL}};

// A file of the test's own folder, removed with it.
class TestFile {
 public:
  explicit TestFile(const std::string &name)
      : path_(::testing::TempDir() + "interop-" + std::to_string(::getpid()) + "-" + name) {}
  ~TestFile() { std::remove(path_.c_str()); }
  TestFile(const TestFile &) = delete;
  TestFile &operator=(const TestFile &) = delete;
  const std::string &path() const { return path_; }

 private:
  std::string path_;
};

// Slow waves of the three channels that meet in most colours.
std::string smooth_colours() {
  const auto wave = [](double turns) {
    return char(std::lround(127.5 + 127.5 * std::sin(2 * M_PI * turns)));
  };
  std::string rgb;
  for (int y = 0; y < kHeight; ++y)
    for (int x = 0; x < kWidth; ++x) {
      const double h = double(x) / kWidth, v = double(y) / kHeight;
      for (const double turns : {h, v + 0.1, 0.7 * h - 0.9 * v}) rgb += wave(turns);
    }
  return rgb;
}

// Writes a clip of one picture of smooth colours, encoded as the options say.
void make_clip(const TestFile &clip, const std::string &options) {
  const TestFile raw("picture.rgb");
  std::ofstream(raw.path(), std::ios::binary) << smooth_colours();
  const std::string command = "ffmpeg -nostdin -loglevel error -y -f rawvideo -pix_fmt rgb24 -s " +
                              std::to_string(kWidth) + "x" + std::to_string(kHeight) + " -i '" +
                              raw.path() + "' " + options + " '" + clip.path() + "'";
  ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

// The first picture of a file.
tavix::AVFramePtr decode(const TestFile &file) {
  tavix::AVFramePtr picture = tavix::detail::make_av_frame();
  AVFormatContext *input = nullptr;
  EXPECT_EQ(avformat_open_input(&input, file.path().c_str(), nullptr, nullptr), 0);
  EXPECT_GE(avformat_find_stream_info(input, nullptr), 0);
  const AVCodecParameters *parameters = input->streams[0]->codecpar;
  AVCodecContext *decoder = avcodec_alloc_context3(avcodec_find_decoder(parameters->codec_id));
  avcodec_parameters_to_context(decoder, parameters);
  EXPECT_EQ(avcodec_open2(decoder, nullptr, nullptr), 0);
  AVPacket *packet = av_packet_alloc();
  int received = AVERROR(EAGAIN);
  while (received == AVERROR(EAGAIN)) {
    const bool more = av_read_frame(input, packet) >= 0;
    avcodec_send_packet(decoder, more ? packet : nullptr);
    av_packet_unref(packet);
    received = avcodec_receive_frame(decoder, picture.get());
  }
  EXPECT_EQ(received, 0);
  av_packet_free(&packet);
  avcodec_free_context(&decoder);
  avformat_close_input(&input);
  return picture;
}

// The picture as R, G and B planes, by zimg: chroma serves its block as it is.
std::array<std::vector<uint8_t>, 3> zimg_rgb(const AVFrame &picture, const Space &space,
                                             const Range &range) {
  zimgxx::zimage_format to;
  to.width = kWidth;
  to.height = kHeight;
  to.pixel_type = ZIMG_PIXEL_BYTE;
  to.color_family = ZIMG_COLOR_RGB;
  to.matrix_coefficients = ZIMG_MATRIX_RGB;
  to.pixel_range = ZIMG_RANGE_FULL;
  zimgxx::zimage_format from = to;
  from.subsample_w = from.subsample_h = 1;
  from.color_family = ZIMG_COLOR_YUV;
  from.matrix_coefficients = space.matrix;
  from.pixel_range = range.range;
  from.chroma_location = ZIMG_CHROMA_CENTER;
  zimgxx::zfilter_graph_builder_params params;
  params.resample_filter_uv = ZIMG_RESIZE_POINT;
  params.cpu_type = ZIMG_CPU_NONE;
  const auto graph = zimgxx::FilterGraph::build(from, to, &params);

  // zimg reads whole cache lines; a decoder's planes are aligned alike.
  struct alignas(64) Line {
    uint8_t bytes[64];
  };
  static_assert(kWidth % sizeof(Line) == 0, "");
  std::vector<Line> planes(3 * kWidth * kHeight / sizeof(Line));
  uint8_t *const out_bytes = planes.front().bytes;
  zimgxx::zimage_buffer_const in;
  zimgxx::zimage_buffer out;
  for (int k = 0; k < 3; ++k) {
    in.plane[k] = {picture.data[k], picture.linesize[k], ZIMG_BUFFER_MAX};
    out.plane[k] = {out_bytes + k * kWidth * kHeight, kWidth, ZIMG_BUFFER_MAX};
  }
  std::vector<Line> scratch(graph.get_tmp_size() / sizeof(Line) + 1);
  graph.process(in, out, scratch.data());
  std::array<std::vector<uint8_t>, 3> rgb;
  for (int k = 0; k < 3; ++k) {
    const uint8_t *plane = out_bytes + k * kWidth * kHeight;
    rgb[size_t(k)].assign(plane, plane + kWidth * kHeight);
  }
  return rgb;
}

// The largest difference that the document states for decoding.
double documented_difference(const Space &space, const Range &range) {
  const std::string start =
      std::string("| 4:2:0 to 8-bit colour | ") + space.documented + " " + range.documented + " | ";
  std::ifstream file(TAVIX_DOCS "/colour.md");
  for (std::string line; std::getline(file, line);)
    if (line.compare(0, start.size(), start) == 0) return std::stod(line.substr(start.size()));
  ADD_FAILURE() << "no row '" << start << "'";
  return 0;
}

TEST(FFmpeg, DecodedPicturesConvertAsTheirTagsSay) {
  for (const Space &space : kSpaces) {
    for (const Range &range : kRanges) {
      SCOPED_TRACE(std::string(space.name) + " " + range.name);
      const TestFile clip("clip.mkv");
      make_clip(clip, std::string("-vf scale=out_color_matrix=") + space.name +
                          ":out_range=" + range.name + ",format=yuv420p -colorspace " + space.name +
                          " -color_range " + range.name + " -c:v libx264 -qp 0");
      const tavix::AVFramePtr picture = decode(clip);
      const TavixFrameV2 frame = tavix::frame_view(*picture);
      EXPECT_EQ(frame.video.format, TAVIX_PIX_FMT_I420);
      EXPECT_EQ(frame.video.color_space, space.frame);
      EXPECT_EQ(frame.video.color_range, range.frame);
      EXPECT_EQ(frame.data[2], picture->data[2]);

      const tavix::Frame rgb(TAVIX_PIX_FMT_RGB24, kWidth, kHeight);
      tavix::call<TavixFrameConvertColorByCPU>(frame, rgb);
      const auto peer = zimg_rgb(*picture, space, range);
      int largest = 0;
      for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x)
          for (int k = 0; k < 3; ++k)
            largest = std::max(
                largest, std::abs(rgb.row(y)[3 * x + k] - peer[size_t(k)][size_t(y * kWidth + x)]));
      EXPECT_LE(largest, documented_difference(space, range));
    }
  }
}

TEST(FFmpeg, EverySpaceAndRangeComesBack) {
  const tavix::Frame frame(TAVIX_PIX_FMT_NV12, 6, 4);
  for (const int32_t space : {0, 1, 2, 3, 4, 7, 8})
    for (const int32_t range : {0, 1, 2}) {
      frame->video.color_space = space;
      frame->video.color_range = range;
      const tavix::AVFramePtr picture = tavix::av_frame_view(*frame);
      const TavixFrameV2 back = tavix::frame_view(*picture);
      EXPECT_EQ(back.video.color_space, space == 4 ? 3 : space);  // both are SMPTE 170M
      EXPECT_EQ(back.video.color_range, range);
    }
}

TEST(FFmpeg, EveryFormatComesBackWithItsPlanes) {
  for (int32_t format = 0; format < TAVIX_PIX_FMT_NONE; ++format) {
    if (format == 3 || format == 6) continue;
    SCOPED_TRACE(TavixPixelFormatName(format));
    const tavix::Frame frame(format, 6, 4);
    frame->pts = 5;
    frame->dts = 6;
    frame->duration = 7;
    AVFrame *raw = av_frame_alloc();
    const char *reason = c11_view_as(frame.get(), raw);
    if (reason != nullptr) {
      EXPECT_GE(format, TAVIX_PIX_FMT_RGBF32);
      EXPECT_STREQ(reason, "its pixel format has no counterpart");
    } else {
      EXPECT_EQ(raw->data[0], frame->data[0]);
      TavixFrameV2 back;
      EXPECT_EQ(c11_view_of(raw, &back), nullptr);
      const bool yv12 = format == TAVIX_PIX_FMT_YV12;
      EXPECT_EQ(back.video.format, yv12 ? int32_t(TAVIX_PIX_FMT_I420) : format);
      EXPECT_EQ(back.video.channels, frame->video.channels);
      EXPECT_EQ(back.data[1], frame->data[yv12 ? 2 : 1]);
      EXPECT_EQ(back.data[2], frame->data[yv12 ? 1 : 2]);
      EXPECT_EQ(back.linesize[1], frame->linesize[1]);
      EXPECT_EQ(back.pts, 5);
      EXPECT_EQ(back.dts, 6);
      EXPECT_EQ(back.duration, 7);
    }
    av_frame_free(&raw);
  }
}

TEST(FFmpeg, JpegFormatsAreOfFullRange) {
  const TestFile jpeg("picture.jpg");
  make_clip(jpeg, "-pix_fmt yuvj420p");
  const tavix::AVFramePtr picture = decode(jpeg);
  ASSERT_EQ(picture->format, AV_PIX_FMT_YUVJ420P);
  picture->color_range = AVCOL_RANGE_UNSPECIFIED;  // the format alone says it
  const TavixFrameV2 frame = tavix::frame_view(*picture);
  EXPECT_EQ(frame.video.format, TAVIX_PIX_FMT_I420);
  EXPECT_EQ(frame.video.color_range, 2);
}

// Bottom up, as some decoders and vflip leave pictures: the conversion turns nothing.
TEST(FFmpeg, FlippedPicturesKeepTheirOrder) {
  const TestFile clip("clip.mkv");
  make_clip(clip, "-c:v ffv1 -pix_fmt bgr0");
  const tavix::AVFramePtr picture = decode(clip);
  const tavix::Frame upright(TAVIX_PIX_FMT_RGB24, kWidth, kHeight);
  const tavix::Frame turned(TAVIX_PIX_FMT_RGB24, kWidth, kHeight);
  tavix::call<TavixFrameConvertColorByCPU>(tavix::frame_view(*picture), upright);
  picture->data[0] += (kHeight - 1) * picture->linesize[0];
  picture->linesize[0] = -picture->linesize[0];
  const TavixFrameV2 flipped = tavix::frame_view(*picture);
  EXPECT_LT(flipped.linesize[0], 0);
  tavix::call<TavixFrameConvertColorByCPU>(flipped, turned);
  for (int y = 0; y < kHeight; ++y)
    EXPECT_TRUE(
        std::equal(upright.row(y), upright.row(y) + 3 * kWidth, turned.row(kHeight - 1 - y)));
}

TEST(FFmpeg, PictureFramesKeepTheirPixels) {
  const TestFile clip("clip.mkv");
  make_clip(clip, "-c:v ffv1 -pix_fmt yuv420p");
  tavix::AVFramePtr picture = decode(clip);
  const uint8_t *pixels = picture->data[0];
  const int references = av_buffer_get_ref_count(picture->buf[0]);
  const tavix::PictureFrame kept(*picture);
  EXPECT_EQ(av_buffer_get_ref_count(picture->buf[0]), references + 1);
  picture.reset();
  EXPECT_EQ(kept->data[0], pixels);  // no copy
  const tavix::Frame rgb(TAVIX_PIX_FMT_RGB24, kWidth, kHeight);
  tavix::call<TavixFrameConvertColorByCPU>(*kept, rgb);
}

// What has no counterpart is refused, with the reason, and the view is left alone.
TEST(FFmpeg, RefusesWithAReason) {
  const tavix::Frame nv12(TAVIX_PIX_FMT_NV12, 6, 4), i420(TAVIX_PIX_FMT_I420, 6, 4);
  const auto reason_of = [](const tavix::Frame &frame, void (*change)(AVFrame &)) {
    const tavix::AVFramePtr picture = tavix::av_frame_view(*frame);
    change(*picture);
    TavixFrameV2 view;
    view.flags = 77;
    const char *reason = TavixViewOfAVFrame(picture.get(), &view);
    EXPECT_EQ(view.flags, 77);
    EXPECT_THROW(tavix::frame_view(*picture), tavix::Error);
    return std::string(reason == nullptr ? "" : reason);
  };
  EXPECT_EQ(reason_of(nv12, [](AVFrame &p) { p.format = AV_PIX_FMT_YUV422P; }),
            "its pixel format has no counterpart");
  EXPECT_EQ(reason_of(nv12, [](AVFrame &p) { p.format = AV_PIX_FMT_VAAPI; }),
            "its pixel format has no counterpart");
  EXPECT_EQ(reason_of(nv12, [](AVFrame &p) { p.colorspace = AVCOL_SPC_YCGCO; }),
            "its colour space has no counterpart");
  EXPECT_EQ(reason_of(nv12, [](AVFrame &p) { p.crop_left = 2; }),
            "it is yet to be cropped (av_frame_apply_cropping)");
  EXPECT_EQ(reason_of(nv12, [](AVFrame &p) { p.data[0] = nullptr; }), "the picture has no pixels");
  EXPECT_EQ(reason_of(i420, [](AVFrame &p) { p.linesize[2] += 1; }),
            "its chroma planes differ in line size");

  const auto reason_back = [](void (*change)(TavixFrameV2 &)) {
    const tavix::Frame frame(TAVIX_PIX_FMT_BGR24, 6, 4);
    change(*frame);
    EXPECT_THROW(tavix::av_frame_view(*frame), tavix::Error);
    const tavix::AVFramePtr picture = tavix::detail::make_av_frame();
    const char *reason = TavixViewAsAVFrame(frame.get(), picture.get());
    EXPECT_EQ(picture->data[0], nullptr);
    return std::string(reason == nullptr ? "" : reason);
  };
  EXPECT_EQ(reason_back([](TavixFrameV2 &f) { f.video.format = TAVIX_PIX_FMT_BGRF32; }),
            "its pixel format has no counterpart");
  EXPECT_EQ(reason_back([](TavixFrameV2 &f) { f.video.color_space = 5; }),
            "its colour space has no counterpart");
  EXPECT_EQ(reason_back([](TavixFrameV2 &f) { f.video.color_range = 3; }),
            "its colour range has no counterpart");
  EXPECT_EQ(reason_back([](TavixFrameV2 &f) { f.video.channels = 4; }),
            "its pixels have another number of channels");
  EXPECT_EQ(reason_back([](TavixFrameV2 &f) { f.memory = 1; }), "the frame is outside host memory");

  const tavix::AVFramePtr owner = tavix::detail::make_av_frame();
  owner->format = AV_PIX_FMT_GRAY8;
  owner->width = owner->height = 16;
  ASSERT_EQ(av_frame_get_buffer(owner.get(), 0), 0);
  EXPECT_STREQ(TavixViewAsAVFrame(nv12.get(), owner.get()), "the picture has buffers of its own");
}

}  // namespace
