// SPDX-License-Identifier: Apache-2.0
#include "video/video_writer.h"

extern "C" {
#include <libavutil/opt.h>
}
#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

#include "tavix/interop/ffmpeg.h"

namespace tavix::tool {

void VideoWriter::CloseOutput::operator()(AVFormatContext *output) const {
  avio_closep(&output->pb);
  avformat_free_context(output);
}

VideoWriter::VideoWriter(std::filesystem::path target, const Format &format)
    : file_(std::move(target)),
      failure_(fmt::format("cannot write '{}'", file_.target().string())) {
  AVFormatContext *output = nullptr;
  checked(avformat_alloc_output_context2(&output, nullptr, "mp4", nullptr), failure_);
  output_.reset(output);
  open_encoder(format);
  open_file();
}

void VideoWriter::open_encoder(const Format &format) {
  const AVCodec *codec = avcodec_find_encoder_by_name("libx264");
  if (codec == nullptr) throw std::runtime_error(failure_ + ": this FFmpeg has no libx264");
  encoder_.reset(avcodec_alloc_context3(codec));
  if (!encoder_) throw std::bad_alloc();

  // Players expect 4:2:0, which has whole chroma samples only for even sizes.
  encoder_->width = format.width & ~1;
  encoder_->height = format.height & ~1;
  encoder_->pix_fmt = AV_PIX_FMT_YUV420P;
  encoder_->color_range = AVCOL_RANGE_MPEG;
  encoder_->colorspace = AVCOL_SPC_BT709;
  encoder_->color_primaries = AVCOL_PRI_BT709;
  encoder_->color_trc = AVCOL_TRC_BT709;
  encoder_->time_base = format.time_base;
  encoder_->framerate = format.frame_rate;
  encoder_->sample_aspect_ratio = format.pixel_aspect;
  encoder_->max_b_frames = 0;  // with pictures out of order, uneven times make a wrong duration
  encoder_->thread_count = 0;  // one for each processor
  encoder_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  av_opt_set(encoder_->priv_data, "preset", "veryfast", 0);
  av_opt_set(encoder_->priv_data, "crf", "20", 0);
  checked(avcodec_open2(encoder_.get(), codec, nullptr),
          fmt::format("{}: no H.264 video of {} x {}", failure_, format.width, format.height));

  picture_duration_ =
      std::max<int64_t>(1, av_rescale_q(1, av_inv_q(format.frame_rate), format.time_base));
  picture_ = make_picture(encoder_->pix_fmt, encoder_->width, encoder_->height);
  picture_->colorspace = encoder_->colorspace;
  picture_->color_range = encoder_->color_range;
}

void VideoWriter::open_file() {
  stream_ = avformat_new_stream(output_.get(), nullptr);
  if (stream_ == nullptr) throw std::bad_alloc();
  checked(avcodec_parameters_from_context(stream_->codecpar, encoder_.get()), failure_);
  stream_->time_base = encoder_->time_base;
  stream_->avg_frame_rate = encoder_->framerate;
  stream_->sample_aspect_ratio = encoder_->sample_aspect_ratio;
  const std::string url = file_url(file_.partial());
  checked(avio_open(&output_->pb, url.c_str(), AVIO_FLAG_WRITE), failure_);
  checked(avformat_write_header(output_.get(), nullptr), failure_);
}

void VideoWriter::write(const TavixFrameV2 &frame) {
  // The encoder may still read what it was given last.
  checked(av_frame_make_writable(picture_.get()), failure_);
  const AVFramePtr shown = av_frame_view(frame);
  shown->width &= ~1;
  shown->height &= ~1;
  converter_.convert(*shown, *picture_);
  if (start_ == AV_NOPTS_VALUE) start_ = frame.pts;
  picture_->pts = frame.pts - start_;
  encode(picture_.get());
}

void VideoWriter::finish() {
  encode(nullptr);
  checked(av_write_trailer(output_.get()), failure_);
  checked(avio_closep(&output_->pb), failure_);
}

// A picture to the encoder, or its end, and what it gives back to the file.
void VideoWriter::encode(const AVFrame *picture) {
  checked(avcodec_send_frame(encoder_.get(), picture), failure_);
  for (;;) {
    const int received = avcodec_receive_packet(encoder_.get(), packet_.get());
    if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) return;
    checked(received, failure_);
    if (packet_->duration == 0) packet_->duration = picture_duration_;
    packet_->stream_index = stream_->index;
    av_packet_rescale_ts(packet_.get(), encoder_->time_base, stream_->time_base);
    checked(av_interleaved_write_frame(output_.get(), packet_.get()), failure_);
  }
}

}  // namespace tavix::tool
