// SPDX-License-Identifier: Apache-2.0
// Codes by the names of their enumerators, as traces and failures print them: "NV12" is
// TAVIX_PIX_FMT_NV12. A code without a name prints as "code 17".
#pragma once

#include <cstdint>
#include <string>

namespace tavix::test {

std::string format_name(int32_t format);
// "NV12 -> RGB24"
std::string conversion_name(int32_t from, int32_t to);

std::string data_type_name(uint32_t data_type);
std::string data_format_name(uint32_t data_format);

std::string binary_op_name(uint32_t op);
std::string unary_op_name(int32_t op);
std::string statistic_name(int32_t op);

}  // namespace tavix::test
