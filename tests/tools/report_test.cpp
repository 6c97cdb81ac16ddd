#include "tools/figures/report.h"

#include <gtest/gtest.h>

#include "tests/tools/sample_tables.h"

namespace tool {
namespace {

const Value kSome = std::int64_t{1200};
const Absent kGone{"gone"};
const Absent kDenied{"denied"};

// "reason: table.column rows": * for a whole table.
std::string words(const std::vector<Gap>& all) {
  std::string text;
  for (const Gap& gap : all) {
    text += gap.reason + ":";
    for (const Gap::Item& item : gap.items) {
      text += " " + std::to_string(item.table) + "." + (item.column != nullptr ? item.column->key : "*");
      for (const std::size_t row : item.rows) text += "[" + std::to_string(row) + "]";
    }
    text += "; ";
  }
  return text;
}

TEST(Gaps, NamesTheRowsOfEachReason) {
  const SectionSample sample =
      cooling({1.0, kSome}, {{"a", kGone, kSome}, {"b", kDenied, kSome}, {"c", kGone, kSome}});
  EXPECT_EQ(words(gaps(sample)), "gone: 1.clock_khz[0][2]; denied: 1.clock_khz[1]; ");
}

TEST(Gaps, LeavesOutTheRowsOfAColumnThatIsAbsentAsAWhole) {
  const SectionSample sample = cooling({1.0, kSome}, {{"a", kGone, kGone}, {"b", kGone, kSome}});
  EXPECT_EQ(words(gaps(sample)), "gone: 1.clock_khz 1.driver[0]; ");
}

TEST(Gaps, OwnFieldsThatAreAllAbsentForOneReasonAreOneItem) {
  EXPECT_EQ(words(gaps(cooling({kGone, kGone}, {}))), "gone: 0.*; ");
  EXPECT_EQ(words(gaps(cooling({kGone, kDenied}, {}))), "gone: 0.load_percent; denied: 0.limit_kib; ");
}

TEST(Gaps, MissingRowsAndPartialSumsOfOneReasonAreOneGap) {
  SectionSample sample = cooling({1.0, kSome}, {{"a", kSome, kSome}});
  sample.tables[0].absent = "1 of 2";
  sample.tables[1].absent = "1 of 2";
  EXPECT_EQ(words(gaps(sample)), "1 of 2: 0.* 1.*; ");
}

TEST(Gaps, ASectionThatCouldNotBeOpenedIsAbsentAsAWhole) {
  EXPECT_EQ(words(gaps(allAbsent(fanSchema(), "no memory"))), "no memory: 0.* 1.*; ");
}

TEST(HasFigures, CountsNeitherLabelsNorWhatIsFixed) {
  EXPECT_FALSE(hasFigures(cooling({kGone, kSome}, {{"a", kGone, kSome}})));
  EXPECT_TRUE(hasFigures(cooling({kGone, kSome}, {{"a", kSome, kGone}})));
}

TEST(Table, AnAbsentRowKeepsItsLabels) {
  const Row row = kFans.absentRow({"a", kSome, kSome}, "gone");
  EXPECT_EQ(std::get<std::string>(row[0]), "a");
  EXPECT_EQ(std::get<Absent>(row[1]).reason, "gone");
  EXPECT_EQ(std::get<Absent>(row[2]).reason, "gone");
}

TEST(Keys, HaveTheTableAndTheItem) {
  const SectionSchema& schema = fanSchema();
  EXPECT_EQ(figureKey(schema, schema.tables[0], schema.tables[0].columns[0]), "cooling.load_percent");
  EXPECT_EQ(figureKey(schema, schema.tables[1], schema.tables[1].columns[1]), "cooling.fans.clock_khz");
  EXPECT_EQ(itemOf(schema.tables[1], kFans.row({"a", kSome, kSome})), "a");
  EXPECT_EQ(itemOf(schema.tables[0], kAirflow.row({kSome, kSome})), "");
}

TEST(Values, AreAbsentWhereTheyAreNoNumbers) {
  EXPECT_EQ(std::get<double>(finite(1.5, "no time")), 1.5);
  EXPECT_EQ(std::get<Absent>(finite(1.0 / 0.0, "no time")).reason, "no time");
  EXPECT_TRUE(wrapped(std::uint64_t{5} - 6));
  EXPECT_FALSE(wrapped(INT64_MAX));
}

}  // namespace
}  // namespace tool
