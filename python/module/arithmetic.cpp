// SPDX-License-Identifier: Apache-2.0
#include "operations.h"
#include "overlap.h"
#include "tavix/video_common_cpu.h"

namespace tavix::python {

namespace {

py::object binary(int32_t op, py::handle src1, py::handle src2, py::handle alpha, py::handle beta,
                  py::handle gamma, py::handle out) {
  Picture first = Picture::source(src1, "src1"), second = Picture::source(src2, "src2");
  first.take_order_of(second);
  second.take_order_of(first);
  const int32_t channels = first.channels();
  const ChannelValues a = channel_values(alpha, channels, "alpha");
  const ChannelValues b = channel_values(beta, channels, "beta");
  const ChannelValues c = channel_values(gamma, channels, "gamma");
  Picture result = Picture::result(first, out);
  require_no_overlap(first, result, InPlace::kAllowed);
  require_no_overlap(second, result, InPlace::kAllowed);
  call("TavixFrameBinaryArithmeticByCPU", {&first, &second, &result}, [&] {
    return TavixFrameBinaryArithmeticByCPU(&first.record(), &second.record(), uint32_t(op),
                                           a.values, b.values, c.values, &result.record());
  });
  return result.object();
}

py::object unary(int32_t op, py::handle src, py::handle scale, py::handle offset, py::handle out) {
  const Picture picture = Picture::source(src, "src");
  const ChannelValues a = channel_values(scale, picture.channels(), "scale");
  const ChannelValues b = channel_values(offset, picture.channels(), "offset");
  Picture result = Picture::result(picture, out);
  require_no_overlap(picture, result, InPlace::kAllowed);
  call("TavixFrameUnaryArithmeticByCPU", {&picture, &result}, [&] {
    return TavixFrameUnaryArithmeticByCPU(&picture.record(), op, a.values, b.values,
                                          &result.record());
  });
  return result.object();
}

struct Row {
  int32_t op;
  Member member;
};

constexpr Row kBinaries[] = {
    {TAVIX_BINARY_OP_ADD,
     {"add", "gamma + (alpha * src1 + beta * src2)",
      ">>> tavix.add(a, b, gamma=1)\narray([[ 14, 255]], dtype=uint8)"}},
    {TAVIX_BINARY_OP_SUB,
     {"subtract", "gamma + (alpha * src1 - beta * src2)",
      ">>> tavix.subtract(a, b)\narray([[  7, 100]], dtype=uint8)"}},
    {TAVIX_BINARY_OP_MUL,
     {"multiply", "gamma + (alpha * src1 * beta * src2)",
      ">>> tavix.multiply(a, b)\narray([[ 30, 255]], dtype=uint8)"}},
    {TAVIX_BINARY_OP_DIV,
     {"divide", "gamma + alpha * src1 / (beta * src2)",
      ">>> tavix.divide(a, b)\narray([[3, 2]], dtype=uint8)"}},
    {TAVIX_BINARY_OP_MIN,
     {"minimum", "gamma + the smaller of alpha * src1 and beta * src2",
      ">>> tavix.minimum(a, b)\narray([[  3, 100]], dtype=uint8)"}},
    {TAVIX_BINARY_OP_MAX,
     {"maximum", "gamma + the larger of alpha * src1 and beta * src2",
      ">>> tavix.maximum(a, b)\narray([[ 10, 200]], dtype=uint8)"}},
    {TAVIX_BINARY_OP_ABSDIFF,
     {"absdiff", "gamma + |alpha * src1 - beta * src2|",
      ">>> tavix.absdiff(b, a)\narray([[  7, 100]], dtype=uint8)"}},
    {TAVIX_BINARY_OP_OR,
     {"bitwise_or", "gamma + (the bits of alpha * src1 or beta * src2)",
      ">>> tavix.bitwise_or(a, b)\narray([[ 11, 236]], dtype=uint8)"}},
    {TAVIX_BINARY_OP_AND,
     {"bitwise_and", "gamma + (the bits of alpha * src1 and beta * src2)",
      ">>> tavix.bitwise_and(a, b)\narray([[ 2, 64]], dtype=uint8)"}},
    {TAVIX_BINARY_OP_XOR,
     {"bitwise_xor", "gamma + (the bits of alpha * src1 exclusive-or beta * src2)",
      ">>> tavix.bitwise_xor(a, b)\narray([[  9, 172]], dtype=uint8)"}},
};
constexpr char kBinaryParameters[] = "src1, src2, *, alpha=1, beta=1, gamma=0, out=None";
constexpr char kBinaryDoc[] = R"(, element by element.

src1, src2: pictures of one size and type, of 1, 3 or 4 channels.
alpha, beta, gamma: a number, or one for each channel.
out: a picture like them to write into; it may be one of them.

8-bit operands and results are rounded half to even and clamped to 0..255; floats are computed in
single precision where the processor has AVX2. Raises TavixError where the pictures differ.

>>> import numpy, tavix
>>> a = numpy.array([[10, 200]], numpy.uint8)
>>> b = numpy.array([[3, 100]], numpy.uint8)
)";

constexpr Row kUnaries[] = {
    {TAVIX_UNARY_OP_MUL_ADD,
     {"multiply_add", "scale * src + offset",
      ">>> tavix.multiply_add(a, 2, -1)\narray([[ 1., 17.]], dtype=float32)"}},
    {TAVIX_UNARY_OP_SQRT,
     {"sqrt", "The square root of scale * src, 0 of a negative one, + offset",
      ">>> tavix.sqrt(a)\narray([[1., 3.]], dtype=float32)"}},
    {TAVIX_UNARY_OP_EXP,
     {"exp", "e to the power of scale * src, + offset",
      ">>> tavix.exp(a, scale=0)\narray([[1., 1.]], dtype=float32)"}},
    {TAVIX_UNARY_OP_LOG,
     {"log", "The natural logarithm of scale * src, + offset",
      ">>> tavix.log(a, offset=1).round(4)\narray([[1.    , 3.1972]], dtype=float32)"}},
};
constexpr char kUnaryParameters[] = "src, scale=1, offset=0, *, out=None";
constexpr char kUnaryDoc[] = R"(, element by element.

src: a picture of 1, 3 or 4 channels, uint8 or float32.
scale, offset: a number, or one for each channel.
out: a picture like src to write into; it may be src.

8-bit results are rounded half to even and clamped to 0..255. Raises TavixError for 4:2:0 frames.

>>> import numpy, tavix
>>> a = numpy.array([[1, 9]], numpy.float32)
)";

}  // namespace

void define_arithmetic(py::module_ &module) {
  for (const Row &row : kBinaries) {
    module.def(
        row.member.name,
        [op = row.op](py::handle src1, py::handle src2, py::handle alpha, py::handle beta,
                      py::handle gamma,
                      py::handle out) { return binary(op, src1, src2, alpha, beta, gamma, out); },
        py::arg("src1"), py::arg("src2"), py::kw_only(), py::arg("alpha") = 1.0,
        py::arg("beta") = 1.0, py::arg("gamma") = 0.0, py::arg("out") = py::none(),
        docstring(row.member, kBinaryParameters, kBinaryDoc).c_str());
  }
  for (const Row &row : kUnaries) {
    module.def(
        row.member.name,
        [op = row.op](py::handle src, py::handle scale, py::handle offset, py::handle out) {
          return unary(op, src, scale, offset, out);
        },
        py::arg("src"), py::arg("scale") = 1.0, py::arg("offset") = 0.0, py::kw_only(),
        py::arg("out") = py::none(), docstring(row.member, kUnaryParameters, kUnaryDoc).c_str());
  }
}

}  // namespace tavix::python
