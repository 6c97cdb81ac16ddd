#include "tools/views/export.h"

namespace tool {

const std::vector<ExportFormat>& exportFormats() {
  static const std::vector<ExportFormat> formats{
      {"csv", ".csv", "a line a figure, for spreadsheets and data frames", openCsv},
      {"perfetto", ".pftrace", "a trace of counters, for ui.perfetto.dev", openPerfetto},
      {"openmetrics", ".om", "series for Prometheus: promtool tsdb create-blocks-from openmetrics",
       openOpenMetrics},
      {"html", ".html", "a page of charts in one file that needs no network", openHtml},
      {"board", ".board.json", "a board that plays the recording: tessary-board run FILE", openBoard},
  };
  return formats;
}

const ExportFormat* findFormat(std::string_view name) {
  for (const ExportFormat& format : exportFormats()) {
    if (name == format.name) return &format;
  }
  return nullptr;
}

std::string formatList() {
  std::string names;
  for (const ExportFormat& format : exportFormats())
    names += (names.empty() ? "" : ", ") + std::string{format.name};
  return names;
}

const ExportFormat* formatOfFile(std::string_view path) {
  for (const ExportFormat& format : exportFormats()) {
    const std::string_view suffix = format.suffix;
    if (path.size() > suffix.size() && path.substr(path.size() - suffix.size()) == suffix) return &format;
  }
  return nullptr;
}

}  // namespace tool
