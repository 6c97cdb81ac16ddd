// What a source gives and a view shows: the sections' figures over one interval.
#ifndef TESSARY_TOOLS_FIGURES_REPORT_H
#define TESSARY_TOOLS_FIGURES_REPORT_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/figures/table.h"

namespace tool {

// The figures that a section has, whoever reads them.
struct SectionSchema {
  // Of an aggregate, gcc 12 releases a member twice when memory is refused to a later one.
  SectionSchema(const char* itsName, const char* itsTitle, std::vector<TableInfo> itsTables)
      : name{itsName}, title{itsTitle}, tables{std::move(itsTables)} {}

  const char* name;   // in JSON: "cpu"
  const char* title;  // in text
  std::vector<TableInfo> tables;
};

struct TableSample {
  std::vector<Row> rows;

  // Why there are no rows, or why some are missing. Of a section's own fields: why its sums are partial.
  std::string absent;
};

struct SectionSample {
  const SectionSchema* schema;
  std::vector<TableSample> tables;  // one for each of the schema's
};

struct Report {
  std::int64_t bootTimeNs = 0;             // the end of the interval: CLOCK_BOOTTIME
  std::optional<std::int64_t> unixTimeNs;  // the same moment by the wall clock; old recordings have none
  double intervalMs = 0;                   // as it was
  std::int64_t missed = 0;                 // samples of the grid that were left out before this one
  std::vector<SectionSample> sections;     // those that were asked for
  double suspendedMs = 0;                  // what the machine slept of the interval
  std::vector<std::string> marks;          // what the recorder noted about this sample
};

// Where the reports of a source come from: a recording's header, or this machine.
struct Origin {
  int version = 0;  // of the recording's format
  std::string host;
  std::string kernel;
  std::string model;  // of the board; empty where it is not known, like the next two
  std::string platform;
  std::string soc;
  std::string tool;  // versions
  std::string library;
  std::int64_t bootTimeNs = 0;  // at the start
  std::optional<std::int64_t> unixTimeNs;
  double intervalMs = 0;  // as it was asked for
  std::vector<const SectionSchema*> sections;
};

// All that is absent for one reason.
struct Gap {
  struct Item {
    std::size_t table;
    const ColumnInfo* column;       // null: rows of the table, or all of the section's own fields
    std::vector<std::size_t> rows;  // empty: all of them
  };
  std::string reason;
  std::vector<Item> items;
};

std::vector<Gap> gaps(const SectionSample& sample);

bool hasFigures(const SectionSample& sample);
bool hasFigures(const Report& report);

// The rows of the section when nothing of it could be read.
SectionSample allAbsent(const SectionSchema& schema, const std::string& reason);

// One figure of a report: a value in a column that is no label.
struct Figure {
  const SectionSchema& section;
  const TableInfo& table;
  const ColumnInfo& column;
  const Row& row;  // with the labels of its item
  const Value& value;
};

// cpu.load_percent, cpu.cores.clock_khz
std::string figureKey(const SectionSchema& section, const TableInfo& table, const ColumnInfo& column);

// A label in words; empty when it is absent.
std::string wordsOf(const Value& value);

// What tells the rows of a table apart, in words: "3", "eth0", "931"; empty for a section's own fields.
std::string itemOf(const TableInfo& table, const Row& row);

// Visits the figures in the order of the tables; fixed ones are among them, labels are not.
template <typename Visit>
void forEachFigure(const Report& report, Visit visit) {
  for (const SectionSample& section : report.sections) {
    for (std::size_t table = 0; table < section.tables.size(); ++table) {
      const TableInfo& info = section.schema->tables[table];
      for (const Row& row : section.tables[table].rows) {
        for (std::size_t column = 0; column < row.size(); ++column) {
          if (info.columns[column].role == kLabel) continue;
          visit(Figure{*section.schema, info, info.columns[column], row, row[column]});
        }
      }
    }
  }
}

}  // namespace tool

#endif
