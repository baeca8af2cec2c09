// SPDX-License-Identifier: Apache-2.0
#include "codes.h"

#include <strings.h>
#include <algorithm>
#include <string>

#include "tavix/core.h"
#include "tavix/video_common_cpu.h"

namespace tavix::python {

namespace {

// clang-format off
constexpr Code kPixelFormatCodes[] = {
    {"RGB24",   TAVIX_PIX_FMT_RGB24},   {"BGR24",   TAVIX_PIX_FMT_BGR24},
    {"GRAY8",   TAVIX_PIX_FMT_GRAY8},   {"BGRA32",  TAVIX_PIX_FMT_BGRA32},
    {"RGBA32",  TAVIX_PIX_FMT_RGBA32},  {"NV12",    TAVIX_PIX_FMT_NV12},
    {"NV21",    TAVIX_PIX_FMT_NV21},    {"YV12",    TAVIX_PIX_FMT_YV12},
    {"I420",    TAVIX_PIX_FMT_I420},    {"RGBF32",  TAVIX_PIX_FMT_RGBF32},
    {"BGRF32",  TAVIX_PIX_FMT_BGRF32},  {"RGBAF32", TAVIX_PIX_FMT_RGBAF32},
    {"BGRAF32", TAVIX_PIX_FMT_BGRAF32}, {"GRAYF32", TAVIX_PIX_FMT_GRAYF32},
};
constexpr Code kColorSpaceCodes[] = {
    {"UNSPECIFIED", 0}, {"BT709", 1}, {"BT470BG", 2}, {"SMPTE170M", 3}, {"BT601", 4},
    {"BT2020_NCL", 7}, {"BT2020_CL", 8},
};
constexpr Code kColorRangeCodes[] = {{"UNSPECIFIED", 0}, {"LIMITED", 1}, {"FULL", 2}};
constexpr Code kInterpolationCodes[] = {
    {"NEAREST", 0}, {"LINEAR", 1}, {"CUBIC", 2}, {"AREA", 3}, {"LANCZOS", 4},
    {"LINEAR_EXACT", 5}, {"INVERSE_MAP", 16},
};
constexpr Code kBorderCodes[] = {
    {"CONSTANT", 0}, {"REPLICATE", 1}, {"REFLECT", 2}, {"WRAP", 3}, {"REFLECT_101", 4},
    {"TRANSPARENT", 5}, {"ISOLATED", 16},
};
constexpr Code kThresholdTypeCodes[] = {
    {"BINARY", 0}, {"BINARY_INVERSE", 1}, {"TRUNCATE", 2}, {"TO_ZERO", 3}, {"TO_ZERO_INVERSE", 4},
    {"OTSU", 8}, {"TRIANGLE", 16},
};
constexpr Code kLayoutCodes[] = {
    {"NCHW", TAVIX_DATA_FORMAT_NCHW}, {"NHWC", TAVIX_DATA_FORMAT_NHWC},
};
constexpr Code kBinaryOpCodes[] = {
    {"ADD", TAVIX_BINARY_OP_ADD}, {"SUB", TAVIX_BINARY_OP_SUB}, {"MUL", TAVIX_BINARY_OP_MUL},
    {"DIV", TAVIX_BINARY_OP_DIV}, {"MIN", TAVIX_BINARY_OP_MIN}, {"MAX", TAVIX_BINARY_OP_MAX},
    {"ABSDIFF", TAVIX_BINARY_OP_ABSDIFF}, {"OR", TAVIX_BINARY_OP_OR},
    {"AND", TAVIX_BINARY_OP_AND}, {"XOR", TAVIX_BINARY_OP_XOR},
};
constexpr Code kUnaryOpCodes[] = {
    {"MUL_ADD", TAVIX_UNARY_OP_MUL_ADD}, {"SQRT", TAVIX_UNARY_OP_SQRT},
    {"EXP", TAVIX_UNARY_OP_EXP}, {"LOG", TAVIX_UNARY_OP_LOG},
};
constexpr Code kStatisticCodes[] = {
    {"MEAN", TAVIX_STAT_OP_MEAN}, {"STD", TAVIX_STAT_OP_STDDEV}, {"SUM", TAVIX_STAT_OP_SUM},
    {"MAX", TAVIX_STAT_OP_MAX}, {"MIN", TAVIX_STAT_OP_MIN},
};
constexpr Code kStatusCodes[] = {
    {"OK", TAVIX_OK}, {"MEMORY", TAVIX_ERROR_MEMORY}, {"UNSUPPORTED", TAVIX_ERROR_UNSUPPORTED},
    {"INVALID_PARAM", TAVIX_ERROR_INVALID_PARAM}, {"INVALID_DATA", TAVIX_ERROR_INVALID_DATA},
};
// clang-format on

constexpr Codes kStatuses = {"Status", kStatusCodes};

}  // namespace

const Codes kPixelFormats = {"PixelFormat", kPixelFormatCodes};
const Codes kColorSpaces = {"ColorSpace", kColorSpaceCodes};
const Codes kColorRanges = {"ColorRange", kColorRangeCodes};
const Codes kInterpolations = {"Interpolation", kInterpolationCodes};
const Codes kBorders = {"Border", kBorderCodes};
const Codes kThresholdTypes = {"ThresholdType", kThresholdTypeCodes};
const Codes kLayouts = {"Layout", kLayoutCodes};
const Codes kBinaryOps = {"BinaryOp", kBinaryOpCodes};
const Codes kUnaryOps = {"UnaryOp", kUnaryOpCodes};
const Codes kStatistics = {"Statistic", kStatisticCodes};

int32_t code_of(const Codes &codes, py::handle value) {
  if (PyLong_Check(value.ptr())) {
    int overflow = 0;
    const long code = PyLong_AsLongAndOverflow(value.ptr(), &overflow);
    if (overflow != 0 || code != int32_t(code)) {
      throw py::value_error(std::string(codes.enumeration) + " code is out of range");
    }
    return int32_t(code);
  }
  if (PyUnicode_Check(value.ptr())) {
    const char *name = PyUnicode_AsUTF8(value.ptr());
    if (name == nullptr) throw py::error_already_set();
    for (const Code &code : codes.codes) {
      if (strcasecmp(code.name, name) == 0) return code.value;
    }
    throw py::value_error('\'' + std::string(name) + "' is no " + codes.enumeration);
  }
  throw py::type_error(std::string(codes.enumeration) + " must be a name or an int, not " +
                       Py_TYPE(value.ptr())->tp_name);
}

const char *name_of(const Codes &codes, int32_t value) {
  const auto found = std::ranges::find(codes.codes, value, &Code::value);
  return found == codes.codes.end() ? "unknown" : found->name;
}

void define_codes(py::module_ &module) {
  const py::object int_enum = py::module_::import("enum").attr("IntEnum");
  for (const Codes *codes :
       {&kPixelFormats, &kColorSpaces, &kColorRanges, &kInterpolations, &kBorders, &kThresholdTypes,
        &kLayouts, &kBinaryOps, &kUnaryOps, &kStatistics, &kStatuses}) {
    py::list members;
    for (const Code &code : codes->codes) members.append(py::make_tuple(code.name, code.value));
    module.attr(codes->enumeration) =
        int_enum(codes->enumeration, members, py::arg("module") = "tavix");
  }
}

}  // namespace tavix::python
