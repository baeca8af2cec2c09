// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <iterator>

#include "operations.h"
#include "overlap.h"
#include "tavix/video_common_cpu.h"

namespace tavix::python {

namespace {

struct Channel {
  char letter;
  uint32_t bit;
  TavixFrameV2 *TavixChannelFrames::*slot;
};
constexpr Channel kChannels[] = {
    {'r', 1, &TavixChannelFrames::red},
    {'g', 2, &TavixChannelFrames::green},
    {'b', 4, &TavixChannelFrames::blue},
    {'a', 8, &TavixChannelFrames::alpha},
};

const Channel *channel_of(char letter) {
  const auto found = std::ranges::find(kChannels, letter, &Channel::letter);
  return found == std::end(kChannels) ? nullptr : found;
}

// Frees what a split made and nobody took.
struct ChannelFrames : TavixChannelFrames {
  ChannelFrames() : TavixChannelFrames{} {}
  ~ChannelFrames() {
    for (const Channel &channel : kChannels) TavixFrameFreeV2(this->*channel.slot);
  }
};

py::tuple split(py::handle src, const std::string &channels) {
  const Picture picture = Picture::source(src, "src");
  uint32_t mask = 0;
  for (const char letter : channels) {
    const Channel *channel = channel_of(letter);
    if (channel == nullptr) throw py::value_error("channels are r, g, b and a, not " + channels);
    if ((mask & channel->bit) != 0) throw py::value_error("a channel is named twice: " + channels);
    mask |= channel->bit;
  }
  ChannelFrames frames;
  call("TavixFrameChannelSplitByCPU", {&picture},
       [&] { return TavixFrameChannelSplitByCPU(&picture.record(), &frames, mask); });
  py::tuple result(channels.size());
  for (size_t i = 0; i < channels.size(); ++i) {
    TavixFrameV2 *&slot = frames.*channel_of(channels[i])->slot;
    result[i] = Picture::adopt(picture, std::exchange(slot, nullptr)).object();
  }
  return result;
}

py::object add_mask(py::handle src, py::handle mask, py::handle source, py::handle out) {
  const Picture picture = Picture::source(src, "src", source);
  const Picture alpha = Picture::source(mask, "mask");
  TavixFrameV2 *frame =
      frame_of_call("TavixFrameAddMaskByCPU", {&picture, &alpha}, [&](TavixFrameV2 **made) {
        const int32_t status = TavixFrameAddMaskByCPU(&picture.record(), &alpha.record(), made);
        if (status == TAVIX_ERROR_INVALID_PARAM)
          *made = nullptr;  // freed already, if there was one
        return status;
      });
  return Picture::adopt_into(picture, frame, out).object();
}

py::object product(py::handle src1, py::handle src2, py::handle out) {
  Picture first = Picture::source(src1, "src1"), second = Picture::source(src2, "src2");
  first.take_order_of(second);
  second.take_order_of(first);
  second.require_like(first, "src2");
  if (out.is_none()) {
    TavixFrameV2 *frame =
        frame_of_call("TavixFrameMultiFrameByCPU", {&first, &second}, [&](TavixFrameV2 **made) {
          return TavixFrameMultiFrameByCPU(&first.record(), &second.record(), made);
        });
    return Picture::adopt(second, frame).object();
  }
  if (out.ptr() != src2.ptr()) {
    throw py::value_error("out must be src2, or None for a new picture");
  }
  Picture result = Picture::target(out, "out");
  require_no_overlap(first, result, InPlace::kAllowed);
  TavixFrameV2 *same = &second.record();
  call("TavixFrameMultiFrameByCPU", {&first, &second},
       [&] { return TavixFrameMultiFrameByCPU(&first.record(), &second.record(), &same); });
  return result.object();
}

py::object fill(py::handle out, float value) {
  Picture picture = Picture::target(out, "out");
  call("TavixFrameMemfillByCPU", {&picture},
       [&] { return TavixFrameMemfillByCPU(&picture.record(), &picture.record(), value); });
  return picture.object();
}

}  // namespace

void define_channels(py::module_ &module) {
  module.def("split", &split, py::arg("src"), py::arg("channels") = "rgb",
             R"(split(src, channels='rgb')
--

Channels of a picture as new grey pictures, in the order of the letters r, g, b and a.

src: a packed picture; arrays count as red, green, blue and alpha, Frames as their format says.

Raises TavixError for a channel that the picture does not have.

>>> import numpy, tavix
>>> blue, red = tavix.split(numpy.array([[[1, 2, 3], [4, 5, 6]]], numpy.uint8), 'br')
>>> blue, red
(array([[3, 6]], dtype=uint8), array([[1, 4]], dtype=uint8))
)");
  module.def("add_mask", &add_mask, py::arg("src"), py::arg("mask"), py::kw_only(),
             py::arg("source") = py::none(), py::arg("out") = py::none(),
             R"(add_mask(src, mask, *, source=None, out=None)
--

A picture with a grey mask as its alpha channel: R, G, B, A from an array.

src: a packed picture; a grey one becomes blue, green, red and alpha. source: the format of an
    array. mask: a grey picture; one of another size is resized, its values are kept: 0..255 of an
    8-bit mask in a float picture.
out: a picture to copy the result into.

Raises TavixError for a mask of more than one channel.

>>> import numpy, tavix
>>> tavix.add_mask(numpy.array([[[1, 2, 3]]], numpy.uint8), numpy.array([[9]], numpy.uint8))
array([[[1, 2, 3, 9]]], dtype=uint8)
)");
  module.def("product", &product, py::arg("src1"), py::arg("src2"), py::kw_only(),
             py::arg("out") = py::none(),
             R"(product(src1, src2, *, out=None)
--

src1 * src2, element by element, saturated.

src1, src2: packed pictures of one size and type.
out: src2 itself, to write into it.

Raises ValueError where the pictures differ.

>>> import numpy, tavix
>>> tavix.product(numpy.array([[3, 90]], numpy.uint8), numpy.array([[5, 3]], numpy.uint8))
array([[ 15, 255]], dtype=uint8)
)");
  module.def("fill", &fill, py::arg("out"), py::arg("value"),
             R"(fill(out, value)
--

Writes one value to every element of out, and returns it. 8-bit values are clamped to 0..255 and
truncated.

Raises TavixError for 4:2:0 frames.

>>> import numpy, tavix
>>> tavix.fill(numpy.empty((1, 2), numpy.uint8), 300)
array([[255, 255]], dtype=uint8)
)");
}

}  // namespace tavix::python
