// SPDX-License-Identifier: Apache-2.0
#include "pictures/channel_statistics.h"

#include <fmt/format.h>

#include "pictures/gnuplot.h"
#include "tavix/frame.hpp"

namespace tavix::tool {

namespace {

struct Statistic {
  const char *name;
  TavixStatisticalFunctionOp op;
};
constexpr Statistic kStatistics[] = {{"mean", TAVIX_STAT_OP_MEAN},
                                     {"deviation", TAVIX_STAT_OP_STDDEV}};
constexpr const char *kChannels[] = {"blue", "green", "red"};

}  // namespace

ChannelStatistics::ChannelStatistics(const std::vector<std::string> &pictures)
    : pictures_(pictures) {
  require_gnuplot();
  csv_ << "seconds";
  for (const std::string &picture : pictures)
    for (const Statistic &statistic : kStatistics)
      for (const char *channel : kChannels)
        csv_ << ',' << picture << ' ' << statistic.name << ' ' << channel;
  csv_ << '\n';
}

void ChannelStatistics::add(double seconds, std::initializer_list<const TavixFrameV2 *> pictures) {
  csv_ << fmt::format("{:.4f}", seconds);
  for (const TavixFrameV2 *picture : pictures)
    for (const Statistic &statistic : kStatistics) {
      Array values;
      call<TavixFrameStatisticalFunctionByCPU>(picture, int32_t(statistic.op), out(values));
      for (size_t c = 0; c < values.size(); ++c) csv_ << fmt::format(",{:.4f}", values[c]);
    }
  csv_ << '\n';
}

void ChannelStatistics::write(const OutputFile &csv) const {
  const std::string text = csv_.str();
  csv.write({reinterpret_cast<const uint8_t *>(text.data()), text.size()});
}

// Columns are those of the CSV: seconds, then means and deviations of each picture.
void ChannelStatistics::plot(const std::string &title, const OutputFile &png) const {
  constexpr int kPanel = 300, kHeading = 60;  // heights, pixels
  const int panels = int(pictures_.size());
  std::string script = fmt::format(
      "set datafile separator ','\n"
      "set terminal pngcairo size 1100,{} font 'sans,10'\n"
      "set output {}\n"
      "set key outside right center\n"
      "set grid\n"
      "set style fill transparent solid 0.12 noborder\n"
      "set xlabel 'seconds'\n"
      "set multiplot layout {},1 title {} noenhanced\n",
      kHeading + panels * kPanel, quoted(png.partial().string()), panels, quoted(title));
  for (int p = 0; p < panels; ++p) {
    script +=
        fmt::format("set title {}\nset ylabel 'sample value, 0 to 255'\nset yrange [0:*]\nplot ",
                    quoted(pictures_[size_t(p)]));
    for (int c = 0; c < 3; ++c) {
      const int mean = 2 + 6 * p + c, deviation = mean + 3;
      script += fmt::format(
          "{0}$data using 1:(${1}>${2}?${1}-${2}:0):(${1}+${2}) skip 1 with filledcurves lc rgb "
          "'{3}' title '{3} ± deviation', $data using 1:{1} skip 1 with lines lw 1.5 lc rgb '{3}' "
          "title '{3}, mean'",
          c == 0 ? "" : ", ", mean, deviation, kChannels[c]);
    }
    script += '\n';
  }
  run_gnuplot("$data << END\n" + csv_.str() + "END\n" + script, png);
}

}  // namespace tavix::tool
