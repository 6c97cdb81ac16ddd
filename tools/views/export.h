// A recording in other programs' formats. Each format is a file of its own beside this one and writes as the
// reports come: its memory does not grow with their number, but for that of a page.
#ifndef TESSARY_TOOLS_VIEWS_EXPORT_H
#define TESSARY_TOOLS_VIEWS_EXPORT_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/figures/report.h"

namespace tool {

using Write = std::function<void(std::string_view)>;

struct ExportOptions {
  bool wide = false;  // csv: a column a figure
  // The wall clock at a recording's start, for those that have none or a wrong one.
  std::optional<std::int64_t> startUnixNs;
  std::string name;  // of the recording
};

class Export {
 public:
  virtual ~Export() = default;

  // Once, before the reports, and once behind them.
  virtual void begin(const Origin& origin) = 0;
  virtual void add(const Report& report) = 0;
  virtual void end() = 0;
};

struct ExportFormat {
  const char* name;
  const char* suffix;  // of the files that hold it
  const char* description;
  std::unique_ptr<Export> (*open)(Write write, const ExportOptions& options);
};

// csv, perfetto ..: those that this build has.
const std::vector<ExportFormat>& exportFormats();

// Null when there is none of this name.
const ExportFormat* findFormat(std::string_view name);

// The names in words, for mistakes: csv, perfetto ..
std::string formatList();

// The format that a file's name asks for; null when it asks for none.
const ExportFormat* formatOfFile(std::string_view path);

std::unique_ptr<Export> openCsv(Write write, const ExportOptions& options);
std::unique_ptr<Export> openPerfetto(Write write, const ExportOptions& options);
std::unique_ptr<Export> openOpenMetrics(Write write, const ExportOptions& options);
std::unique_ptr<Export> openHtml(Write write, const ExportOptions& options);
std::unique_ptr<Export> openBoard(Write write, const ExportOptions& options);

}  // namespace tool

#endif
