// SPDX-License-Identifier: Apache-2.0
#include "video/video_reader.h"

extern "C" {
#include <libavutil/parseutils.h>
}
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <utility>

namespace tavix::tool {

namespace {

namespace fs = std::filesystem;

std::runtime_error error(const std::string &text) {
  return std::runtime_error(text);
}

// Decoders that draw text: what FFmpeg takes a text file for.
constexpr AVCodecID kTextCodecs[] = {AV_CODEC_ID_ANSI, AV_CODEC_ID_BINTEXT, AV_CODEC_ID_IDF,
                                     AV_CODEC_ID_XBIN};

// Audio files carry their cover as a video stream of one picture.
bool is_video(const AVStream &stream) {
  return (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) == 0 &&
         std::ranges::find(kTextCodecs, stream.codecpar->codec_id) == std::end(kTextCodecs);
}

}  // namespace

VideoReader::VideoReader(const fs::path &path)
    : path_(path), name_(fmt::format("'{}'", path.string())) {
  open_file(path);
  open_decoder();
}

void VideoReader::open_file(const fs::path &path) {
  std::error_code failure;
  const fs::file_status status = fs::status(path, failure);
  if (status.type() == fs::file_type::not_found) throw error(name_ + " does not exist");
  if (failure) throw error(fmt::format("cannot open {}: {}", name_, failure.message()));
  if (fs::is_directory(status)) throw error(name_ + " is a directory, not a video file");
  if (fs::is_regular_file(status) && fs::file_size(path) == 0) throw error(name_ + " is empty");

  AVFormatContext *input = nullptr;
  const int opened = avformat_open_input(&input, file_url(path).c_str(), nullptr, nullptr);
  input_.reset(input);
  if (opened == AVERROR_INVALIDDATA || opened == AVERROR_EOF || opened == AVERROR(EIO)) {
    throw error(name_ + " is not a video file, or is damaged");
  }
  checked(opened, "cannot open " + name_);
  checked(avformat_find_stream_info(input, nullptr), "cannot read " + name_);
}

void VideoReader::open_decoder() {
  const AVCodec *codec = nullptr;
  const int index = av_find_best_stream(input_.get(), AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
  if (index == AVERROR_DECODER_NOT_FOUND) {
    throw error(name_ + " holds video in a format that FFmpeg cannot decode here");
  }
  if (index < 0 || !is_video(*input_->streams[index])) throw error(name_ + " holds no video");
  stream_ = input_->streams[index];
  for (unsigned i = 0; i < input_->nb_streams; ++i) {
    if (int(i) != index) input_->streams[i]->discard = AVDISCARD_ALL;
  }

  decoder_.reset(avcodec_alloc_context3(codec));
  if (!decoder_) throw std::bad_alloc();
  const std::string failure = "cannot decode " + name_;
  checked(avcodec_parameters_to_context(decoder_.get(), stream_->codecpar), failure);
  decoder_->pkt_timebase = stream_->time_base;
  // Pictures wait for those that they refer to, so that one thread for each processor leaves
  // processors idle. FFmpeg advises against more than 16.
  decoder_->thread_count = std::min(16, 4 * int(std::thread::hardware_concurrency()));
  checked(avcodec_open2(decoder_.get(), codec, nullptr), failure);

  const AVRational rate = av_guess_frame_rate(input_.get(), stream_, nullptr);
  if (rate.num > 0 && rate.den > 0) frame_rate_ = rate;
}

int64_t VideoReader::expected_pictures() const {
  if (stream_->nb_frames > 0) return stream_->nb_frames;
  const AVRational picture_time = av_inv_q(frame_rate_);
  if (stream_->duration > 0) {
    return av_rescale_q(stream_->duration, stream_->time_base, picture_time);
  }
  return input_->duration > 0 ? av_rescale_q(input_->duration, AV_TIME_BASE_Q, picture_time) : 0;
}

const AVFrame *VideoReader::next() {
  if (!std::exchange(waiting_, false)) {
    if (!receive()) {
      ended_ = true;
      if (pictures_ > 0) return nullptr;
      throw error(name_ + " holds no picture that can be decoded");
    }
    put_in_time(*picture_);
  }
  ++pictures_;
  return picture_.get();
}

void VideoReader::put_back() {
  waiting_ = true;
  --pictures_;
}

// Where times may jump or are made up, a picture cannot be told by its time.
bool VideoReader::can_seek() const {
  constexpr int kUnreliable = AVFMT_TS_DISCONT | AVFMT_NOTIMESTAMPS;
  return (input_->iformat->flags & kUnreliable) == 0 && fs::is_regular_file(path_);
}

// A picture that begins anew and is not late. One with B-frames may be shown after its own time in
// the file: the search begins a second before.
bool VideoReader::reaches_key_frame(int64_t pts) {
  const int64_t second = std::max<int64_t>(1, std::llround(1 / av_q2d(stream_->time_base)));
  avcodec_flush_buffers(decoder_.get());
  const int found = av_seek_frame(input_.get(), stream_->index, pts - second, AVSEEK_FLAG_BACKWARD);
  return found >= 0 && receive() && picture_->key_frame &&
         picture_->pict_type == AV_PICTURE_TYPE_I && picture_->pts != AV_NOPTS_VALUE &&
         picture_->pts <= pts && damaged_ == 0;
}

void VideoReader::seek(int64_t pts) {
  // Times that come from the order of the packets are not known in the middle of a file.
  if (!can_seek() || damaged_ > 0 || !timed_) return;
  waiting_ = sought_ = reaches_key_frame(pts);
  if (!sought_) {
    open_file(path_);
    open_decoder();
  }
  pictures_ = damaged_ = 0;
  last_pts_ = AV_NOPTS_VALUE;
  if (sought_) put_in_time(*picture_);
}

bool VideoReader::receive() {
  for (;;) {
    const int received = avcodec_receive_frame(decoder_.get(), picture_.get());
    if (received == AVERROR_EOF) return false;
    if (received == AVERROR(EAGAIN)) {
      feed();
    } else if (received < 0) {
      found_damage(received);
    } else if (picture_->decode_error_flags != 0 || (picture_->flags & AV_FRAME_FLAG_CORRUPT)) {
      found_damage(AVERROR_INVALIDDATA);
    } else {
      return true;
    }
  }
}

// One packet of the stream, or its end, to the decoder.
void VideoReader::feed() {
  int read;
  do {
    av_packet_unref(packet_.get());
    read = av_read_frame(input_.get(), packet_.get());
  } while (read >= 0 && packet_->stream_index != stream_->index);

  if (read >= 0 && (packet_->flags & AV_PKT_FLAG_CORRUPT)) return found_damage(AVERROR_INVALIDDATA);
  if (read < 0 && read != AVERROR_EOF) found_damage(read);  // nothing can be read past it
  const int sent = avcodec_send_packet(decoder_.get(), read < 0 ? nullptr : packet_.get());
  if (sent < 0 && sent != AVERROR_EOF) found_damage(sent);
}

void VideoReader::found_damage(int failure) {
  ++damaged_;
  if (failure == AVERROR(ENOMEM)) throw std::bad_alloc();
}

// What the video stream itself says; 0 when it does not. A container's duration may be that of its
// sound.
double VideoReader::declared_seconds() const {
  const AVDictionaryEntry *tag = av_dict_get(stream_->metadata, "DURATION", nullptr, 0);
  int64_t microseconds = 0;
  if (tag == nullptr || av_parse_time(&microseconds, tag->value, 1) < 0) return 0;
  return double(microseconds) / 1e6;
}

// Transport streams are sequences of packets of one of these sizes.
bool VideoReader::ends_within_a_packet() const {
  constexpr uintmax_t kPacketSizes[] = {188, 192, 204};
  std::error_code failure;
  const uintmax_t size = fs::file_size(path_, failure);
  return !failure && std::string_view(input_->iformat->name) == "mpegts" &&
         std::ranges::none_of(kPacketSizes, [&](uintmax_t n) { return size % n == 0; });
}

int64_t VideoReader::lost() const {
  if (!ended_) return damaged_;
  int64_t missing = 0;
  if (damaged_ > 0 && stream_->nb_frames > 0 && !sought_) missing = stream_->nb_frames - pictures_;
  const double rate = av_q2d(frame_rate_);
  const double end = double(last_pts_ + last_duration_) * av_q2d(stream_->time_base);
  const double cut = (declared_seconds() - end) * rate;  // in pictures
  if (cut > 1.5 || damaged_ > 0) {
    // Pictures may be missing before the last one too.
    const double all = sought_ ? cut + double(pictures_) : declared_seconds() * rate;
    missing = std::max(missing, int64_t(std::llround(all)) - pictures_);
  }
  if (ends_within_a_packet()) missing = std::max<int64_t>(missing, 1);
  return std::max(missing, damaged_);
}

// Muxers and encoders want times that ascend; files need not have such, or any.
void VideoReader::put_in_time(AVFrame &picture) {
  const int64_t step =
      std::max<int64_t>(1, av_rescale_q(1, av_inv_q(frame_rate_), stream_->time_base));
  const bool first = last_pts_ == AV_NOPTS_VALUE;
  timed_ = picture.pts != AV_NOPTS_VALUE;
  int64_t pts = picture.best_effort_timestamp;
  if (pts == AV_NOPTS_VALUE) pts = first ? 0 : last_pts_ + step;
  if (!first) pts = std::max(pts, last_pts_ + 1);
  if (duration_of(picture) <= 0) duration_of(picture) = step;
  picture.pts = last_pts_ = pts;
  last_duration_ = duration_of(picture);
}

}  // namespace tavix::tool
