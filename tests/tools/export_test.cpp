#include "tools/views/export.h"

#include <gtest/gtest.h>

#include "tests/tools/sample_tables.h"
#include "tools/figures/time_units.h"
#include "tools/output.h"
#include "tools/views/absences.h"
#include "tools/views/dataset.h"
#include "tools/views/spool.h"
#include "tools/views/summary.h"

namespace tool {
namespace {

// `offsetSeconds`: of the wall clock, none: it has none.
Report sampleAt(std::int64_t second, Value load, std::optional<std::int64_t> offsetSeconds = 1000) {
  Report report;
  report.bootTimeNs = second * kNanosecondsInSecond;
  if (offsetSeconds) report.unixTimeNs = (second + *offsetSeconds) * kNanosecondsInSecond;
  report.intervalMs = 1000;
  report.sections = {
      cooling({std::move(load), std::int64_t{64}},
              {{"a,\"b\"\n", std::int64_t{5}, Absent{"x"}}, {"idle", Absent{"off"}, Absent{"x"}}})};
  return report;
}

std::string exported(const char* format, const std::vector<Report>& reports, ExportOptions options = {}) {
  std::string text;
  const auto view = findFormat(format)->open([&text](std::string_view part) { text += part; }, options);
  Origin origin;
  origin.model = "VX";
  origin.sections = {&fanSchema()};
  view->begin(origin);
  for (const Report& report : reports) view->add(report);
  view->end();
  return text;
}

TEST(Csv, HasALineForEachFigureThatIsThere) {
  EXPECT_EQ(exported("csv", {sampleAt(1, 12.5)}),
            "time,section,item,figure,value,unit\r\n"
            "1970-01-01T00:16:41.000Z,cooling,,cooling.load_percent,12.5,percent\r\n"
            "1970-01-01T00:16:41.000Z,cooling,,cooling.limit_kib,64,KiB\r\n"
            "1970-01-01T00:16:41.000Z,cooling,\"a,\"\"b\"\"\\x0a\",cooling.fans.clock_khz,5,kHz\r\n");
}

TEST(Csv, WideLinesAreAllAsLongAsTheHeading) {
  ExportOptions options;
  options.wide = true;
  Report later = sampleAt(2, Absent{"y"});
  later.sections[0].tables[1].rows[1] = kFans.row({"idle", std::int64_t{7}, Absent{"x"}});
  EXPECT_EQ(exported("csv", {sampleAt(1, 12.5), later}, options),
            "time,cooling.load_percent,cooling.limit_kib,\"cooling.fans[fan=a,\"\"b\"\"\\x0a].clock_khz\","
            "cooling.fans[fan=idle].clock_khz\r\n"
            "1970-01-01T00:16:41.000Z,12.5,64,5,\r\n"
            "1970-01-01T00:16:42.000Z,,64,5,7\r\n");
}

TEST(OpenMetrics, KeepsSamplesInOrderWhenTheClockIsSetBack) {
  const std::string text = exported("openmetrics", {sampleAt(1, 10.0, 5000), sampleAt(2, 20.0, 1000)});
  EXPECT_NE(text.find("tessary_cooling_load_ratio{board=\"VX\"} 0.1 1001.000\n"
                      "tessary_cooling_load_ratio{board=\"VX\"} 0.2 1002.000\n"),
            std::string::npos)
      << text;
  EXPECT_NE(
      text.find("tessary_cooling_fan_clock_hertz{board=\"VX\",fan=\"a,\\\"b\\\"\\\\x0a\"} 5000 1001.000\n"),
      std::string::npos)
      << text;
}

TEST(OpenMetrics, NeedsToKnowWhenARecordingWithoutAWallClockBegan) {
  const std::vector<Report> old = {sampleAt(1, 10.0, std::nullopt)};
  EXPECT_THROW(exported("openmetrics", old), Failure);
  ExportOptions options;
  options.startUnixNs = 50 * kNanosecondsInSecond;
  EXPECT_NE(exported("openmetrics", old, options).find("} 0.1 51.000\n"), std::string::npos);
}

TEST(Formats, TakeTheStartThatTheyAreToldForARecordingsOwn) {
  ExportOptions options;
  options.startUnixNs = 50 * kNanosecondsInSecond;
  const std::vector<Report> wrong = {sampleAt(1, 10.0)};
  EXPECT_NE(exported("openmetrics", wrong, options).find("} 0.1 51.000\n"), std::string::npos);
  EXPECT_NE(exported("csv", wrong, options).find("\n1970-01-01T00:00:51.000Z,"), std::string::npos);
}

TEST(Page, AName_ThatEndsTheScript_IsText) {
  Report report = sampleAt(1, 10.0);
  report.sections[0].tables[1].rows = {kFans.row({"</script><b>", std::int64_t{5}, Absent{"<i>"}})};
  const std::string page = exported("html", {report});
  EXPECT_EQ(page.find("</script><b>"), std::string::npos);
  EXPECT_NE(page.find("\\u003c/script>\\u003cb>"), std::string::npos);
}

TEST(Page, HasTheRecordingsFactsItsGapsAndItsTimesByBothClocks) {
  Dataset page{"drive"};
  Origin origin;
  origin.model = "VX";
  origin.platform = "brindle";
  origin.host = "bench7";
  origin.kernel = "5.15.0";
  origin.tool = "2.0";
  origin.library = "1.0";
  origin.intervalMs = 1000;
  page.begin(origin);
  for (const auto& [second, laterMs] : {std::pair{1, 0}, {2, 1}, {3, 400}, {4, 400}}) {
    Report report = sampleAt(second, 10.0);
    *report.unixTimeNs += laterMs * kNanosecondsInMillisecond;
    if (second >= 3) report.sections[0].tables[1].rows[1] = kFans.row({"idle", std::int64_t{7}, Absent{"x"}});
    page.add(report);
  }
  page.end();
  const std::string json = page.json();
  EXPECT_EQ(
      json.substr(0, json.find(",\"charts\"")),
      R"json({"name":"drive","interval_ms":1000.0,"wall":[[0,1000000],[2,1000400]],)json"
      R"json("facts":[["recording","drive"],["board","VX (brindle)"],["host","bench7"],["kernel","5.15.0"],)json"
      R"json(["samples","4"],["interval","1000 ms"],["tool","2.0"],["library","1.0"]],)json"
      R"json("gaps":[{"section":"cooling","from":0,"to":1,"what":"clock (fan idle)","reason":"off"},)json"
      R"json({"section":"cooling","from":0,"to":3,"what":"driver","reason":"x"}],"times":[1000,2000,3000,4000])json");
  EXPECT_NE(json.find(R"("name":"load","whole":false,"first":0,"values":[10,10,10,10])"), std::string::npos);
  EXPECT_NE(json.find(R"("name":"idle","whole":false,"first":2,"values":[7,7])"), std::string::npos) << json;
}

TEST(Formats, FollowFromNames) {
  EXPECT_STREQ(formatOfFile("a.b/drive.csv")->name, "csv");
  EXPECT_STREQ(formatOfFile("drive.board.json")->name, "board");
  EXPECT_EQ(formatOfFile(".csv"), nullptr);
  EXPECT_EQ(formatOfFile("drive"), nullptr);
}

TEST(Spool, GivesBackWhatIsLongerThanAPiece) {
  Spool spool;
  const Spool::Id first = spool.add();
  const Spool::Id second = spool.add();
  std::string expected[2];
  for (int line = 0; line < 3000; ++line) {
    const std::string text = std::to_string(line) + "\n";
    expected[line % 2] += text;
    spool.append(line % 2 == 0 ? first : second, text);
  }
  for (const Spool::Id id : {first, second}) {
    std::string found;
    spool.read(id, [&found](std::string_view piece) { found += piece; });
    EXPECT_EQ(found, expected[id]);
  }
}

TEST(Absences, BeginAndEndWithTheIntervalsThatTheySpoil) {
  Absences absences;
  EXPECT_EQ(absences.add(sampleAt(1, 1.0)).begun.size(), 2U);  // the driver of each fan, the clock of one
  const auto begun = absences.add(sampleAt(2, Absent{"lost"})).begun;
  ASSERT_EQ(begun.size(), 1U);
  EXPECT_EQ(begun[0].what + ": " + begun[0].reason, "load: lost");
  EXPECT_EQ(begun[0].fromNs, 1 * kNanosecondsInSecond);
  EXPECT_EQ(begun[0].first, 1U);
  EXPECT_TRUE(absences.add(sampleAt(3, Absent{"lost"})).ended.empty());
  const auto ended = absences.add(sampleAt(4, 1.0)).ended;
  ASSERT_EQ(ended.size(), 1U);
  EXPECT_EQ(ended[0].fromNs, 1 * kNanosecondsInSecond);
}

TEST(Summary, CountsGapsAndAddsTheirTimesUp) {
  Summary summary;
  Origin origin;
  origin.sections = {&fanSchema()};
  summary.begin(origin);
  const Value values[] = {10.0, Absent{"lost"}, 20.0, Absent{"lost"}, 60.0};
  for (std::int64_t second = 0; second < 5; ++second) summary.add(sampleAt(second + 1, values[second]));
  summary.end();
  const std::string json = summary.json();
  EXPECT_NE(json.find("\"mean\": 30.0,\n      \"p50\": 20.0,\n      \"p95\": 56.0,\n      \"max\": 60.0,\n"
                      "      \"min\": 10.0,\n      \"samples\": 3,\n      \"gaps\": 2"),
            std::string::npos)
      << json;
  EXPECT_NE(summary.text(true).find("  cooling: load: lost (2 s, 2 times)\n"), std::string::npos)
      << summary.text(true);
}

TEST(Summary, TellsWhenTheWallClockWasSetAndTheBoardSlept) {
  Summary summary;
  summary.begin({});
  for (const auto& [second, offset] : {std::pair{1, 5000}, {2, 5000}, {3, 1400}, {4, 1400}, {5, 1500}}) {
    Report report = sampleAt(second, 10.0, offset);
    report.suspendedMs = second == 3 ? 600 : second == 5 ? 900 : 0;
    report.missed = second == 5 ? 2 : 0;
    summary.add(report);
  }
  summary.end();
  const std::string text = summary.text(false);
  EXPECT_NE(text.find("the wall clock was set back by 3600 s within the sample that ends after 3 s\n"
                      "the wall clock was set forward by 100 s within the sample that ends after 5 s\n"
                      "suspended for 1.5 s in all\n"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("5 s, 5 samples of 0 ms, 2 missed, tool "), std::string::npos) << text;
  const std::string json = summary.json();
  EXPECT_NE(
      json.find(
          "  \"missed\": 2,\n  \"seconds\": 5.0,\n  \"suspended_seconds\": 1.5,\n  \"wall_clock_steps\": [\n"
          "    {\n      \"after_seconds\": 3.0,\n      \"by_seconds\": -3600.0\n    },"),
      std::string::npos)
      << json;
}

}  // namespace
}  // namespace tool
