// SPDX-License-Identifier: Apache-2.0
#include "common/channel_statistics.h"

#include <fmt/format.h>

#include <memory>

#include "common/program.h"
#include "tavix/core.h"
#include "tavix/video_common_cpu.h"

namespace tavix::examples {

namespace {

struct Statistic {
  const char *name;
  TavixStatisticalFunctionOp op;
};
constexpr Statistic kStatistics[] = {{"mean", TAVIX_STAT_OP_MEAN},
                                     {"deviation", TAVIX_STAT_OP_STDDEV}};

struct FreeArray {
  void operator()(TavixArray *array) const { TavixArrayFree(array); }
};

}  // namespace

ChannelStatistics::ChannelStatistics(const std::vector<std::string> &pictures) {
  csv_ << "seconds";
  for (const std::string &picture : pictures)
    for (const Statistic &statistic : kStatistics)
      for (const char *channel : {"blue", "green", "red"})
        csv_ << ',' << picture << ' ' << statistic.name << ' ' << channel;
  csv_ << '\n';
}

void ChannelStatistics::add(double seconds, std::initializer_list<const TavixFrameV2 *> pictures) {
  csv_ << fmt::format("{:.4f}", seconds);
  for (const TavixFrameV2 *picture : pictures)
    for (const Statistic &statistic : kStatistics) {
      TavixArray *values = nullptr;
      const int32_t status = TavixFrameStatisticalFunctionByCPU(picture, statistic.op, &values);
      const std::unique_ptr<TavixArray, FreeArray> owner(values);
      require_ok(status, "take statistics");
      for (int32_t c = 0; c < values->count; ++c)
        csv_ << fmt::format(",{:.4f}", values->elements[c].value);
    }
  csv_ << '\n';
}

void ChannelStatistics::write(const OutputFile &file) const {
  const std::string text = csv_.str();
  file.write({reinterpret_cast<const uint8_t *>(text.data()), text.size()});
}

}  // namespace tavix::examples
