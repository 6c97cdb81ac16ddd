// What figures exist. A table is declared once, typed by the item that one row stands for: each column says
// what it is called, what it means, and how it is read from the item, so that rows and headings cannot part.
//
//   struct Disk { std::string name; Value read; };
//   constexpr Column<Disk> kColumns[] = {
//       {"disk", "disk", kPlain, "The kernel's name.", get<&Disk::name>, kLabel},
//       {"read_bytes_per_second", "read", kBytesPerSecond, "..", get<&Disk::read>, kFigure, kMoreIsWorse}};
//   constexpr Table<Disk> kDisks{"disks", "disk", kColumns};
//
// Views know the type-erased TableInfo alone; the rows of a table are made by the table alone.
#ifndef TESSARY_TOOLS_FIGURES_TABLE_H
#define TESSARY_TOOLS_FIGURES_TABLE_H

#include <cstddef>
#include <vector>

#include "tools/figures/format.h"
#include "tools/figures/value.h"

namespace tool {

enum Role {
  kFigure,  // measured
  kLabel,   // names the row: the first label of a table tells its rows apart
  kFixed,   // describes the machine, and stays as it is for a whole recording
};

// Which way is good, for comparisons and budgets.
enum Tendency { kNeither, kMoreIsWorse, kMoreIsBetter };

struct ColumnInfo {
  const char* key;      // in JSON, with the unit
  const char* heading;  // in text
  Format format;
  const char* description;
  Role role = kFigure;
  Tendency tendency = kNeither;
  int rank = 0;                // the columns of the highest rank go first when a table is too wide
  const char* stem = nullptr;  // in the names of metrics; null: the key without its unit
};

template <typename Item>
struct Column {
  const char* key;
  const char* heading;
  Format format;
  const char* description;
  Value (*get)(const Item&);
  Role role = kFigure;
  Tendency tendency = kNeither;
  int rank = 0;
  const char* stem = nullptr;

  ColumnInfo info() const { return {key, heading, format, description, role, tendency, rank, stem}; }
};

// Reads a column from the member of its item that holds it: get<&Disk::read>.
template <typename Member>
struct ItemOf;
template <typename Item, typename Member>
struct ItemOf<Member Item::*> {
  using type = Item;
};
template <auto kMember>
Value get(const typename ItemOf<decltype(kMember)>::type& item) {
  return item.*kMember;
}

struct TableInfo {
  const char* key;  // in JSON; null: the section's own fields, one row whose keys stand in the section itself
  const char* item;  // what a row stands for: "core"
  std::vector<ColumnInfo> columns;

  bool isFields() const { return key == nullptr; }
};

template <typename Item>
class Table {
 public:
  template <std::size_t N>
  constexpr Table(const char* key, const char* item, const Column<Item> (&columns)[N])
      : key_{key}, item_{item}, columns_{columns}, count_{N} {}

  TableInfo info() const {
    TableInfo info{key_, item_, {}};
    for (std::size_t at = 0; at < count_; ++at) info.columns.push_back(columns_[at].info());
    return info;
  }

  Row row(const Item& item) const {
    Row row;
    row.reserve(count_);
    for (std::size_t at = 0; at < count_; ++at) row.push_back(columns_[at].get(item));
    return row;
  }

  // All figures of the row are absent for one reason; labels are taken from the item.
  Row absentRow(const Item& item, const std::string& reason) const {
    Row absent = row(item);
    for (std::size_t at = 0; at < count_; ++at) {
      if (columns_[at].role != kLabel) absent[at] = Absent{reason};
    }
    return absent;
  }

 private:
  const char* key_;
  const char* item_;
  const Column<Item>* columns_;
  std::size_t count_;
};

}  // namespace tool

#endif
