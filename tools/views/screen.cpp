#include "tools/views/screen.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <optional>
#include <string_view>

#include "tools/figures/time_units.h"
#include "tools/views/escaping.h"
#include "tools/views/text.h"
#include "tools/views/width.h"
#include "tools/views/words.h"

namespace tool {

namespace {

enum Style { kNormal, kBold, kDim, kWarm, kHot };
constexpr const char* kStyles[] = {"", "\033[1m", "\033[2m", "\033[33m", "\033[31m"};
constexpr char kNormalAgain[] = "\033[0m";

constexpr std::size_t kBarCells = 10;
constexpr std::size_t kCurve = 16;       // samples of a small curve
constexpr std::size_t kTitle = 10;       // columns
constexpr std::size_t kHighScreen = 30;  // rows: from there on more than one line of what was not read
constexpr std::size_t kMostAbsences = 3;
constexpr double kHundredPercent = 100;

// From these on a figure of which more is worse is coloured.
struct Heat {
  const char* unit;
  double warm;
  double hot;
};
constexpr Heat kHeats[] = {{kPercentUnit.name, 70, 90}, {kCelsiusUnit.name, 80, 95}};

constexpr const char* kUnicodeLevels[] = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr const char* kAsciiLevels[] = {"_", ".", ":", "-", "=", "+", "*", "#"};
constexpr std::size_t kLevels = std::size(kUnicodeLevels);

constexpr const char* kHelp[] = {
    "q       end",
    "space   pause; in a finished recording: play",
    "arrows  a sample back or on; up and down a minute; home and end",
    "+ -     a longer or shorter interval (this machine)",
    "s       sort by another figure",
    "1       single cores, or a bar each",
    "tab     more room for another section",
    "h       this",
};

// A line that is never wider than the screen.
class ScreenLine {
 public:
  explicit ScreenLine(const ScreenLook& look) : look_{look} {}

  ScreenLine& add(std::string_view text, Style style = kNormal) {
    const std::string part = cutTo(text, room());
    width_ += displayWidth(part);
    if (look_.colour && style != kNormal && !part.empty()) {
      text_ += kStyles[style] + part + kNormalAgain;
    } else {
      text_ += part;
    }
    return *this;
  }

  // Nothing when it does not fit as a whole.
  bool addWhole(std::string_view text, Style style = kNormal) {
    if (displayWidth(text) > room()) return false;
    add(text, style);
    return true;
  }

  ScreenLine& padTo(std::size_t column) {
    if (column > width_) add(std::string(column - width_, ' '));
    return *this;
  }

  std::size_t room() const { return look_.columns - width_; }
  const std::string& text() const { return text_; }

 private:
  const ScreenLook& look_;
  std::string text_;
  std::size_t width_ = 0;
};

std::string name(std::string_view text, const ScreenLook& look) {
  return look.unicode ? clean(text) : printable(text);
}

const char* level(double share, const ScreenLook& look) {
  const double step = std::clamp(share, 0.0, 1.0) * static_cast<double>(kLevels - 1);
  const auto at = static_cast<std::size_t>(std::lround(step));
  return look.unicode ? kUnicodeLevels[at] : kAsciiLevels[at];
}

std::string bar(double share, const ScreenLook& look) {
  const auto full =
      static_cast<std::size_t>(std::lround(std::clamp(share, 0.0, 1.0) * static_cast<double>(kBarCells)));
  std::string text;
  for (std::size_t cell = 0; cell < kBarCells; ++cell) {
    text += cell < full ? (look.unicode ? "█" : "#") : (look.unicode ? "░" : ".");
  }
  return text;
}

bool isPercent(const ColumnInfo& column) {
  return std::string_view{column.format.unit.name} == kPercentUnit.name;
}

Style styleOf(const ColumnInfo& column, const Value& value) {
  if (column.tendency != kMoreIsWorse || !isNumber(value)) return kNormal;
  for (const Heat& heat : kHeats) {
    if (std::string_view{column.format.unit.name} != heat.unit) continue;
    if (numberOf(value) >= heat.hot) return kHot;
    if (numberOf(value) >= heat.warm) return kWarm;
  }
  return kNormal;
}

// The columns that are measured, the most important first.
std::vector<std::size_t> figureColumns(const TableInfo& table) {
  std::vector<std::size_t> columns;
  for (std::size_t at = 0; at < table.columns.size(); ++at) {
    if (table.columns[at].role == kFigure) columns.push_back(at);
  }
  std::stable_sort(columns.begin(), columns.end(), [&](std::size_t a, std::size_t b) {
    return table.columns[a].rank < table.columns[b].rank;
  });
  return columns;
}

// Items that are told apart by a number alone: cores.
bool isNumbered(const TableInfo& table, const std::vector<Row>& rows) {
  const auto labels = std::count_if(table.columns.begin(), table.columns.end(),
                                    [](const ColumnInfo& column) { return column.role == kLabel; });
  return labels == 1 && !rows.empty() && std::holds_alternative<std::int64_t>(rows[0][0]);
}

// The largest first; what was not read last.
std::vector<const Row*> sorted(const std::vector<Row>& rows, std::size_t column, bool keep) {
  std::vector<const Row*> all(rows.size());
  std::transform(rows.begin(), rows.end(), all.begin(), [](const Row& row) { return &row; });
  if (keep) return all;
  std::stable_sort(all.begin(), all.end(), [&](const Row* a, const Row* b) {
    const bool aRead = isNumber((*a)[column]);
    const bool bRead = isNumber((*b)[column]);
    if (aRead != bRead) return aRead;
    return aRead && numberOf((*a)[column]) > numberOf((*b)[column]);
  });
  return all;
}

// The figure that stands for a section: the first of its own, or the largest of its items' first.
std::optional<double> mainFigure(const SectionSample& section) {
  for (std::size_t at = 0; at < section.tables.size(); ++at) {
    const TableInfo& table = section.schema->tables[at];
    const std::vector<std::size_t> columns = figureColumns(table);
    if (columns.empty()) continue;
    std::optional<double> largest;
    for (const Row& row : section.tables[at].rows) {
      const Value& value = row[columns[0]];
      if (isNumber(value)) largest = std::max(largest.value_or(numberOf(value)), numberOf(value));
    }
    return largest;
  }
  return std::nullopt;
}

bool isMainPercent(const SectionSchema& schema) {
  for (const TableInfo& table : schema.tables) {
    const std::vector<std::size_t> columns = figureColumns(table);
    if (!columns.empty()) return isPercent(table.columns[columns[0]]);
  }
  return false;
}

std::string curve(const std::deque<double>& values, bool percent, const ScreenLook& look) {
  double most = percent ? kHundredPercent : 0;
  for (const double value : values) {
    if (std::isfinite(value)) most = std::max(most, value);
  }
  std::string text(kCurve - std::min(kCurve, values.size()), ' ');
  for (const double value : values) {
    text += std::isfinite(value) ? level(most > 0 ? value / most : 0, look) : " ";
  }
  return text;
}

// What one section has to say: its line, and those of its items.
class SectionView {
 public:
  SectionView(const SectionSample& section, const std::deque<double>* history, const ScreenLook& look,
              const ScreenChoice& choice)
      : section_{section}, history_{history}, look_{look}, choice_{choice} {}

  // So many lines of items are worth having.
  std::size_t wanted() const {
    std::size_t lines = 0;
    for (std::size_t at = 0; at < section_.tables.size(); ++at) {
      if (hasLines(at)) lines += 1 + section_.tables[at].rows.size();
    }
    return lines;
  }

  void write(std::size_t room, std::vector<std::string>& lines) const {
    lines.push_back(heading(room == 0));
    for (std::size_t at = 0; at < section_.tables.size(); ++at) {
      if (!hasLines(at) || room < 2) continue;
      const std::vector<std::string> table = tableLines(at, room);
      lines.insert(lines.end(), table.begin(), table.end());
      room -= table.size();
    }
  }

 private:
  const TableInfo& info(std::size_t at) const { return section_.schema->tables[at]; }
  const std::vector<Row>& rows(std::size_t at) const { return section_.tables[at].rows; }

  bool isBars(std::size_t at) const { return !choice_.everyCore && isNumbered(info(at), rows(at)); }
  bool hasLines(std::size_t at) const { return !info(at).isFields() && !rows(at).empty() && !isBars(at); }

  std::string heading(bool isAlone) const {
    ScreenLine line{look_};
    line.add(cutTo(section_.schema->name, kTitle - 1), kBold).padTo(kTitle);
    if (history_ != nullptr && look_.columns >= kTitle + kCurve + 40) {
      line.add(curve(*history_, isMainPercent(*section_.schema), look_), kDim).add(" ");
    }
    for (std::size_t at = 0; at < section_.tables.size(); ++at) {
      if (info(at).isFields()) {
        addFields(line, at);
      } else if (isBars(at)) {
        addBars(line, at);
      } else if (isAlone) {
        addItems(line, at);
      }
    }
    return line.text();
  }

  void addFields(ScreenLine& line, std::size_t at) const {
    if (rows(at).empty()) return;
    bool first = true;
    for (const std::size_t column : figureColumns(info(at))) {
      const ColumnInfo& one = info(at).columns[column];
      const Value& value = rows(at)[0][column];
      if (isAbsent(value)) continue;
      const std::string text = shown(value, one.format);
      const bool drawn = first && isPercent(one) && isNumber(value);
      const std::string picture = drawn ? bar(numberOf(value) / kHundredPercent, look_) + " " : "";
      const std::string label = std::string{one.heading} + " ";
      if (displayWidth(label) + displayWidth(picture) + displayWidth(text) > line.room()) return;
      line.add(label, kDim).add(picture, styleOf(one, value)).add(text, styleOf(one, value)).add("  ");
      first = false;
    }
  }

  // A bar an item, in the order of their numbers.
  void addBars(ScreenLine& line, std::size_t at) const {
    const std::vector<std::size_t> columns = figureColumns(info(at));
    if (columns.empty() || !isPercent(info(at).columns[columns[0]])) return;
    std::string bars;
    for (const Row& row : rows(at)) {
      const Value& value = row[columns[0]];
      bars += isNumber(value) ? level(numberOf(value) / kHundredPercent, look_) : "?";
    }
    line.addWhole(std::string{info(at).key} + " " + bars + "  ");
  }

  // As many as there is room for, by their first figure.
  void addItems(ScreenLine& line, std::size_t at) const {
    const std::vector<std::size_t> columns = figureColumns(info(at));
    if (columns.empty()) return;
    const ColumnInfo& column = info(at).columns[columns[0]];
    for (const Row* const row : sorted(rows(at), columns[0], false)) {
      const Value& value = (*row)[columns[0]];
      if (!isNumber(value)) continue;
      const std::string label = name(wordsOf((*row)[labelColumn(at)]), look_) + " ";
      const std::string text = shown(value, column.format);
      if (displayWidth(label + text) > line.room()) return;
      line.add(label, kDim).add(text, styleOf(column, value)).add("  ");
    }
  }

  // The last label is the one that people know: a process's name, a zone's type.
  std::size_t labelColumn(std::size_t at) const {
    std::size_t label = 0;
    for (std::size_t column = 0; column < info(at).columns.size(); ++column) {
      if (info(at).columns[column].role == kLabel) label = column;
    }
    return label;
  }

  struct Cells {
    const ColumnInfo* column;
    std::vector<std::string> texts;  // the heading, then the rows'
    std::size_t width = 0;
  };

  std::vector<std::string> tableLines(std::size_t at, std::size_t room) const {
    const std::vector<std::size_t> figures = figureColumns(info(at));
    const std::size_t sorting = figures.empty() ? 0 : figures[choice_.sorting % figures.size()];
    std::vector<const Row*> shownRows =
        sorted(rows(at), sorting, figures.empty() || isNumbered(info(at), rows(at)));
    shownRows.resize(std::min(shownRows.size(), room - 1));
    std::vector<std::string> lines;
    const std::vector<Cells> columns = fitting(at, shownRows);
    for (std::size_t number = 0; number <= shownRows.size(); ++number) {
      ScreenLine line{look_};
      line.add("  ");
      for (const Cells& cells : columns)
        addCell(line, cells, number, number == 0 ? nullptr : shownRows[number - 1], at);
      lines.push_back(line.text());
    }
    return lines;
  }

  void addCell(ScreenLine& line, const Cells& cells, std::size_t number, const Row* row,
               std::size_t at) const {
    const std::string& text = cells.texts[number];
    const std::string blanks(cells.width - displayWidth(text), ' ');
    const bool isLabel = cells.column->role == kLabel;
    Style style = kDim;
    if (row != nullptr) {
      const auto position = static_cast<std::size_t>(cells.column - info(at).columns.data());
      style = styleOf(*cells.column, (*row)[position]);
    }
    if (isLabel) {
      line.add(text, row == nullptr ? kDim : kNormal).add(blanks + "  ");
    } else {
      line.add(blanks).add(text, style).add("  ");
    }
  }

  // The labels and as many figures, the most important first, as fit.
  std::vector<Cells> fitting(std::size_t at, const std::vector<const Row*>& shownRows) const {
    std::vector<std::size_t> order;
    for (std::size_t column = 0; column < info(at).columns.size(); ++column) {
      if (info(at).columns[column].role == kLabel) order.push_back(column);
    }
    const std::vector<std::size_t> figures = figureColumns(info(at));
    order.insert(order.end(), figures.begin(), figures.end());
    std::vector<Cells> columns;
    std::size_t width = 2;
    for (const std::size_t column : order) {
      Cells cells = cellsOf(at, column, shownRows);
      width += cells.width + 2;
      if (width > look_.columns && !columns.empty()) break;
      columns.push_back(std::move(cells));
    }
    return columns;
  }

  Cells cellsOf(std::size_t at, std::size_t column, const std::vector<const Row*>& shownRows) const {
    constexpr std::size_t kWidestName = 24;
    const ColumnInfo& one = info(at).columns[column];
    Cells cells{&one, {one.heading}};
    for (const Row* const row : shownRows) {
      const Value& value = (*row)[column];
      const bool isText = std::holds_alternative<std::string>(value);
      cells.texts.push_back(isText ? cutTo(name(std::get<std::string>(value), look_), kWidestName)
                                   : shown(value, one.format));
    }
    for (const std::string& text : cells.texts) cells.width = std::max(cells.width, displayWidth(text));
    return cells;
  }

  const SectionSample& section_;
  const std::deque<double>* history_;
  const ScreenLook& look_;
  const ScreenChoice& choice_;
};

// Gives each its heading and a line, one after the other, until there is no more room or nobody wants more.
std::vector<std::size_t> share(std::size_t room, const std::vector<std::size_t>& wanted, std::size_t first) {
  std::vector<std::size_t> given(wanted.size());
  if (first > 0 && first <= wanted.size()) {
    given[first - 1] = std::min(room, wanted[first - 1]);
    room -= given[first - 1];
  }
  for (bool any = true; any;) {
    any = false;
    for (std::size_t at = 0; at < wanted.size(); ++at) {
      const std::size_t step = given[at] == 0 ? 2 : 1;
      if (given[at] + step > wanted[at] || step > room) continue;
      given[at] += step;
      room -= step;
      any = true;
    }
  }
  return given;
}

std::string lasting(std::int64_t ns) {
  const std::int64_t seconds = ns / kNanosecondsInSecond;
  char text[48];
  if (seconds < 60) {
    std::snprintf(text, sizeof text, "%d s", static_cast<int>(seconds));
  } else {
    std::snprintf(text, sizeof text, "%d:%02d min", static_cast<int>(seconds / 60),
                  static_cast<int>(seconds % 60));
  }
  return text;
}

std::string statusLine(const Origin& origin, const Report& report, const ScreenLook& look,
                       const ScreenChoice& choice) {
  ScreenLine line{look};
  line.add(name(boardOf(origin), look), kBold).add("  ");
  if (report.unixTimeNs) line.add(utcTime(*report.unixTimeNs)).add("  ");
  char interval[48];
  std::snprintf(interval, sizeof interval, "%.0f ms", report.intervalMs);
  line.add(interval);
  if (report.missed > 0) line.add("  " + std::to_string(report.missed) + " missed", kWarm);
  if (!choice.status.empty()) line.add("  " + choice.status, kBold);
  constexpr std::string_view kKeys = "q end  h help";
  if (line.room() > kKeys.size() + 1) line.padTo(look.columns - kKeys.size()).add(kKeys, kDim);
  return line.text();
}

// What was not read and how long ago it was; the last line says how many have none.
std::vector<std::string> absenceLines(const std::vector<Absence>& absences, std::int64_t nowNs,
                                      const ScreenLook& look) {
  const std::size_t count = std::min(absences.size(), look.rows < kHighScreen ? 1 : kMostAbsences);
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < count; ++at) {
    const Absence& absence = absences[at];
    const std::size_t others = at + 1 == count ? absences.size() - count : 0;
    ScreenLine line{look};
    line.add("NOT READ ", kWarm);
    if (others > 0) line.add("(and " + std::to_string(others) + " more) ");
    line.add(lasting(nowNs - absence.fromNs) + " " + absence.section->name + ": ");
    lines.push_back(line.add(absence.what + ": " + name(absence.reason, look)).text());
  }
  return lines;
}

}  // namespace

void Screen::add(const Report& report) {
  for (const SectionSample& section : report.sections) {
    std::deque<double>& values = history_[section.schema];
    values.push_back(mainFigure(section).value_or(NAN));
    if (values.size() > kCurve) values.pop_front();
  }
  absences_.add(report);
}

void Screen::forget() {
  history_.clear();
  absences_ = {};
}

std::vector<std::string> Screen::lines(const Origin& origin, const Report& report, const ScreenLook& look,
                                       const ScreenChoice& choice) const {
  std::vector<std::string> lines{statusLine(origin, report, look, choice)};
  if (choice.help) {
    for (const char* const text : kHelp) lines.push_back(ScreenLine{look}.add(text).text());
    lines.resize(std::min(lines.size(), look.rows));
    return lines;
  }

  const std::vector<std::string> notRead = absenceLines(absences_.present(), report.bootTimeNs, look);
  std::vector<SectionView> views;
  std::vector<std::size_t> wanted;
  for (const SectionSample& section : report.sections) {
    const auto history = history_.find(section.schema);
    views.emplace_back(section, history != history_.end() ? &history->second : nullptr, look, choice);
    wanted.push_back(views.back().wanted());
  }
  const std::size_t used = 1 + notRead.size() + views.size();
  const std::vector<std::size_t> room = share(look.rows - std::min(look.rows, used), wanted, choice.section);
  for (std::size_t at = 0; at < views.size(); ++at) views[at].write(room[at], lines);
  lines.resize(std::min(lines.size(), look.rows - std::min(look.rows, notRead.size())));
  lines.insert(lines.end(), notRead.begin(), notRead.end());
  lines.resize(std::min(lines.size(), look.rows));
  return lines;
}

}  // namespace tool
