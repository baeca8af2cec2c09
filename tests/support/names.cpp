// SPDX-License-Identifier: Apache-2.0
#include "support/names.h"

#include <algorithm>

#include "tavix/core/host.h"
#include "tavix/video_common_cpu.h"

namespace tavix::test {

namespace {

struct Name {
  int64_t code;
  const char *text;
};

template <size_t n>
std::string name_in(const Name (&names)[n], int64_t code) {
  const auto *found =
      std::find_if(names, names + n, [code](const Name &name) { return name.code == code; });
  return found != names + n ? found->text : "code " + std::to_string(code);
}

// The name is the last word of the enumerator.
#define NAME(prefix, word) \
  { TAVIX_##prefix##_##word, #word }

constexpr Name kDataTypes[] = {NAME(DATA_TYPE, FLOAT32), NAME(DATA_TYPE, INT8),
                               NAME(DATA_TYPE, INT32),   NAME(DATA_TYPE, INT64),
                               NAME(DATA_TYPE, UINT32),  NAME(DATA_TYPE, UINT8),
                               NAME(DATA_TYPE, INT16),   NAME(DATA_TYPE, UINT16)};

constexpr Name kDataFormats[] = {
    NAME(DATA_FORMAT, NCHW),     NAME(DATA_FORMAT, NHWC),   NAME(DATA_FORMAT, NHWC4),
    NAME(DATA_FORMAT, NC2HW2),   NAME(DATA_FORMAT, NC4HW4), NAME(DATA_FORMAT, NC8HW8),
    NAME(DATA_FORMAT, NC16HW16), NAME(DATA_FORMAT, NCDHW),  NAME(DATA_FORMAT, NHC4W4),
    NAME(DATA_FORMAT, CNH4),     NAME(DATA_FORMAT, NDHWC),  NAME(DATA_FORMAT, CHW),
    NAME(DATA_FORMAT, NC),       NAME(DATA_FORMAT, SCALAR), NAME(DATA_FORMAT, C)};

constexpr Name kBinaryOps[] = {NAME(BINARY_OP, ADD),     NAME(BINARY_OP, SUB), NAME(BINARY_OP, MUL),
                               NAME(BINARY_OP, DIV),     NAME(BINARY_OP, MIN), NAME(BINARY_OP, MAX),
                               NAME(BINARY_OP, ABSDIFF), NAME(BINARY_OP, OR),  NAME(BINARY_OP, AND),
                               NAME(BINARY_OP, XOR)};

constexpr Name kUnaryOps[] = {NAME(UNARY_OP, MUL_ADD), NAME(UNARY_OP, SQRT), NAME(UNARY_OP, EXP),
                              NAME(UNARY_OP, LOG)};

constexpr Name kStatistics[] = {NAME(STAT_OP, MEAN), NAME(STAT_OP, STDDEV), NAME(STAT_OP, SUM),
                                NAME(STAT_OP, MAX), NAME(STAT_OP, MIN)};

#undef NAME

}  // namespace

std::string format_name(int32_t format) {
  const std::string name = TavixPixelFormatName(format), prefix = "TAVIX_PIX_FMT_";
  return name.starts_with(prefix) ? name.substr(prefix.size()) : "code " + std::to_string(format);
}
std::string conversion_name(int32_t from, int32_t to) {
  return format_name(from) + " -> " + format_name(to);
}
std::string data_type_name(uint32_t data_type) {
  return name_in(kDataTypes, data_type);
}
std::string data_format_name(uint32_t data_format) {
  return name_in(kDataFormats, data_format);
}
std::string binary_op_name(uint32_t op) {
  return name_in(kBinaryOps, op);
}
std::string unary_op_name(int32_t op) {
  return name_in(kUnaryOps, op);
}
std::string statistic_name(int32_t op) {
  return name_in(kStatistics, op);
}

}  // namespace tavix::test
