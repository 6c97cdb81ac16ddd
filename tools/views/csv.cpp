// Comma-separated values by RFC 4180: lines end with CR LF, texts with a comma, a quote or a line end are
// quoted. A figure that is absent has no line; with a column a figure, its cell is empty.
#include <map>
#include <utility>

#include "tools/figures/time_units.h"
#include "tools/views/export.h"
#include "tools/views/spool.h"
#include "tools/views/words.h"

namespace tool {

namespace {

constexpr char kLineEnd[] = "\r\n";

std::string cell(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char c : text) quoted += c == '"' ? std::string{"\"\""} : std::string{c};
  return quoted + "\"";
}

std::string valueCell(const Value& value) {
  const bool* const answer = std::get_if<bool>(&value);
  if (answer != nullptr) return *answer ? "1" : "0";
  return cell(clean(wordsOf(value)));
}

// By the wall clock: from the start that is told, else the recording's own; without one the seconds since the machine's
// start.
class Times {
 public:
  void begin(const Origin& origin, const ExportOptions& options) {
    if (options.startUnixNs) offset_ = *options.startUnixNs - origin.bootTimeNs;
  }

  std::string of(const Report& report) const {
    if (offset_) return utcTime(report.bootTimeNs + *offset_);
    if (report.unixTimeNs) return utcTime(*report.unixTimeNs);
    return wordsOf(static_cast<double>(report.bootTimeNs) / kNanosecondsInSecond);
  }

 private:
  std::optional<std::int64_t> offset_;
};

class Tidy : public Export {
 public:
  Tidy(Write write, ExportOptions options) : write_{std::move(write)}, options_{std::move(options)} {}

  void begin(const Origin& origin) override {
    times_.begin(origin, options_);
    write_(std::string{"time,section,item,figure,value,unit"} + kLineEnd);
  }

  void add(const Report& report) override {
    const std::string time = times_.of(report) + ",";
    std::string lines;
    forEachFigure(report, [&](const Figure& figure) {
      if (isAbsent(figure.value)) return;
      lines += time + figure.section.name + "," + cell(labelsOf(figure.table, figure.row)) + "," +
               figureKey(figure.section, figure.table, figure.column) + "," + valueCell(figure.value) + "," +
               figure.column.format.unit.name + kLineEnd;
    });
    write_(lines);
  }

  void end() override {}

 private:
  Write write_;
  ExportOptions options_;
  Times times_;
};

// Which columns there are is known at the end: until then the lines lie in a file, each as long as the
// columns known when it was made.
class Wide : public Export {
 public:
  Wide(Write write, ExportOptions options)
      : write_{std::move(write)}, options_{std::move(options)}, lines_{spool_.add()} {}

  void begin(const Origin& origin) override { times_.begin(origin, options_); }

  void add(const Report& report) override {
    std::vector<std::string> cells(columns_.size());
    forEachFigure(report, [&](const Figure& figure) {
      if (isAbsent(figure.value)) return;
      const std::size_t column = columnOf(figure);
      if (column >= cells.size()) cells.resize(column + 1);
      cells[column] = valueCell(figure.value);
    });
    std::string line = times_.of(report);
    for (const std::string& text : cells) line += "," + text;
    widths_.push_back(static_cast<std::uint32_t>(cells.size()));
    spool_.append(lines_, line + "\n");
  }

  void end() override {
    std::string line = "time";
    for (const std::string& heading : headings_) line += "," + cell(heading);
    write_(line + kLineEnd);
    line.clear();
    std::size_t number = 0;
    spool_.read(lines_, [&](std::string_view piece) {
      for (const char c : piece) {
        if (c != '\n') {
          line += c;
          continue;
        }
        line.append(headings_.size() - widths_[number++], ',');
        write_(line + kLineEnd);
        line.clear();
      }
    });
  }

 private:
  std::size_t columnOf(const Figure& figure) {
    const auto [known, isNew] = columns_.emplace(pathOf(figure), headings_.size());
    if (isNew) headings_.push_back(known->first);
    return known->second;
  }

  Write write_;
  ExportOptions options_;
  Times times_;
  std::map<std::string, std::size_t> columns_;
  std::vector<std::string> headings_;
  Spool spool_;
  Spool::Id lines_;
  std::vector<std::uint32_t> widths_;  // cells of each line
};

}  // namespace

std::unique_ptr<Export> openCsv(Write write, const ExportOptions& options) {
  if (options.wide) return std::make_unique<Wide>(std::move(write), options);
  return std::make_unique<Tidy>(std::move(write), options);
}

}  // namespace tool
