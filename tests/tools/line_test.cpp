#include "tools/recording/line.h"

#include <gtest/gtest.h>

#include "tests/tools/machine.h"
#include "tools/views/json.h"

namespace {

using tool::Absent;
using tool::BadLine;
using tool::Origin;
using tool::Report;
using tool::Value;

Report parsed(const std::string& line) {
  auto result = tool::parseLine(line, machine::kSchemas);
  const auto* const bad = std::get_if<BadLine>(&result);
  EXPECT_EQ(bad, nullptr) << (bad != nullptr ? bad->reason : "");
  return bad == nullptr ? std::get<Report>(result) : Report{};
}

std::string whyBad(const std::string& line) {
  const auto result = tool::parseLine(line, machine::kSchemas);
  const auto* const bad = std::get_if<BadLine>(&result);
  return bad != nullptr ? bad->reason : "read";
}

std::string reasonOf(const Value& value) { return std::get<Absent>(value).reason; }

// What is read back is written as it was read.
void expectSame(const Report& report) {
  const std::string line = tool::recordLine(report);
  EXPECT_EQ(tool::recordLine(parsed(line)), line);
}

TEST(RecordedLine, GivesTheReportThatWasWritten) {
  const Report report = parsed(tool::recordLine(machine::report(1)));
  EXPECT_EQ(report.bootTimeNs, 3601'000'000'000);
  EXPECT_EQ(report.unixTimeNs, 1704067201'000'000'000);
  EXPECT_EQ(report.intervalMs, 1000);
  ASSERT_EQ(report.sections.size(), 2u);
  EXPECT_EQ(report.sections[0].schema, &machine::kCpu);
  EXPECT_EQ(report.sections[0].tables[0].rows[0], (tool::Row{37.5, std::string{"X1"}}));
  EXPECT_EQ(report.sections[0].tables[1].rows[1], (tool::Row{std::int64_t{1}, 0.0, std::int64_t{300000}}));
}

TEST(RecordedLine, KeepsWhyFiguresAreAbsent) {
  Report report = machine::report(1);
  tool::SectionSample& cpu = report.sections[0];
  cpu.tables[0].rows[0][0] = Absent{"no earlier reading"};
  cpu.tables[1].rows[1][1] = Absent{"the core is offline"};
  for (tool::Row& row : cpu.tables[1].rows) row[2] = Absent{"no \"driver\"\n\xff"};
  report.sections[1].tables[0] = {{}, "/proc: Permission denied"};
  expectSame(report);

  const Report back = parsed(tool::recordLine(report));
  EXPECT_EQ(reasonOf(back.sections[0].tables[0].rows[0][0]), "no earlier reading");
  EXPECT_EQ(reasonOf(back.sections[0].tables[1].rows[1][1]), "the core is offline");
  EXPECT_EQ(reasonOf(back.sections[0].tables[1].rows[0][2]), "no \"driver\"\n\xff");
  EXPECT_EQ(back.sections[1].tables[0].absent, "/proc: Permission denied");
}

TEST(RecordedLine, TellsATableWithoutRowsFromOneThatWasNotRead) {
  Report report = machine::report(1);
  report.sections[1].tables[0] = {};
  EXPECT_NE(tool::recordLine(report).find("\"top\":[]"), std::string::npos);
  report.sections[1].tables[0].absent = "no /proc";
  EXPECT_EQ(tool::recordLine(report).find("\"top\":["), std::string::npos);
}

TEST(RecordedLine, TellsAllFieldsFromPartsOfThem) {
  Report report = machine::report(1);
  report.sections[0] = tool::allAbsent(machine::kCpu, "no /proc");
  expectSame(report);
  EXPECT_EQ(reasonOf(parsed(tool::recordLine(report)).sections[0].tables[0].rows[0][1]), "no /proc");

  report = machine::report(1);
  report.sections[0].tables[0].absent = "1 of 2 cores";
  report.sections[0].tables[1].absent = "1 of 2 cores";
  expectSame(report);
  EXPECT_EQ(parsed(tool::recordLine(report)).sections[0].tables[0].absent, "1 of 2 cores");
}

TEST(RecordedLine, KeepsNamesAsTheSystemHasThem) {
  for (const char* const name : {"", "\\x41", "\033[31m\xff\"\n", "</script>", "\xc3\xbc"}) {
    Report report = machine::report(1);
    report.sections[1].tables[0].rows[0][1] = std::string{name};
    EXPECT_EQ(parsed(tool::recordLine(report)).sections[1].tables[0].rows[0][1], Value{std::string{name}});
  }
}

TEST(RecordedLine, KeepsNumbersOfAnySize) {
  Report report = machine::report(1);
  for (const double load : {1.0 / 3, 99.9995, 1e15, 9.4e21, -0.0005, 4503599627370496.5}) {
    report.sections[0].tables[0].rows[0][0] = load;
    expectSame(report);
  }
  report.sections[0].tables[1].rows[0][2] = std::int64_t{INT64_MIN};
  report.missed = 3599;
  report.marks = {"load \xff: 97", "b"};
  report.suspendedMs = 3599000.25;
  expectSame(report);
  EXPECT_EQ(parsed(tool::recordLine(report)).missed, 3599);
  EXPECT_EQ(parsed(tool::recordLine(report)).marks, report.marks);
}

TEST(RecordedLine, PassesOverWhatItDoesNotKnow) {
  const Report report = parsed(
      R"({"new":{"schema":1,"boot_time_ns":[1]},"boot_time_ns":5,"npu":{"cores":[{"errors":[{"items":["*"]}]}]},)"
      R"("cpu":{"errors":[{"items":["cores[1].clock_khz","cores[x].clock_khz","cores[0].hue","cores[","gone",4,["*"]],)"
      R"("error":"?"},[{"items":["*"]}],7],"load_percent":1.5,"hue":{"load_percent":9},"cores":[{"clock_khz":[9],)"
      R"("core":3,"hue":[{}]},[1]],"cores_too":[{"core":1}]},"x":null,"interval_ms":20})");
  EXPECT_EQ(report.bootTimeNs, 5);
  EXPECT_EQ(report.intervalMs, 20);
  EXPECT_FALSE(report.unixTimeNs);
  ASSERT_EQ(report.sections.size(), 1u);
  const tool::SectionSample& cpu = report.sections[0];
  EXPECT_EQ(cpu.tables[0].rows[0][0], Value{1.5});
  EXPECT_EQ(reasonOf(cpu.tables[0].rows[0][1]), "not recorded");
  ASSERT_EQ(cpu.tables[1].rows.size(), 1u);
  EXPECT_EQ(cpu.tables[1].rows[0][0], Value{std::int64_t{3}});
  EXPECT_EQ(reasonOf(cpu.tables[1].rows[0][2]), "not recorded");
}

TEST(RecordedLine, IsRefusedWhenItIsNone) {
  const std::string whole = tool::recordLine(machine::report(1));
  EXPECT_EQ(whyBad(""), "no JSON from byte 1 on");
  EXPECT_EQ(whyBad("42"), "no JSON from byte 1 on");
  EXPECT_EQ(whyBad("{\"interval_ms\":1}"), "without a boot_time_ns");
  EXPECT_EQ(whyBad("[" + whole + "]"), "no JSON from byte 1 on");
  EXPECT_EQ(whyBad("{\"boot_time_ns\":1}}"), "no JSON from byte 19 on");
  EXPECT_EQ(whyBad(R"({"schema":"tessary-doctor","version":2})"), "no header of a recording");
  EXPECT_EQ(whyBad(R"({"schema":"tessary-record","version":2,"host":"x)"), "a header that is cut");
  for (std::size_t length = 0; length < whole.size() - 2; ++length) {
    EXPECT_NE(whyBad(whole.substr(0, length)), "read") << length;
  }
}

TEST(RecordedHeader, GivesTheOriginThatWasWritten) {
  const std::string line = tool::recordHeader(machine::origin());
  const auto result = tool::parseLine(line, machine::kSchemas);
  const auto& origin = std::get<Origin>(result);
  EXPECT_EQ(origin.version, 2);
  EXPECT_EQ(origin.host, "bench7");
  EXPECT_EQ(origin.soc, "");
  EXPECT_EQ(origin.sections, machine::kSchemas);
  EXPECT_EQ(tool::recordHeader(origin), line);
}

TEST(RecordedHeader, SaysWhatEachFigureIs) {
  const std::string line = tool::recordHeader(machine::origin());
  EXPECT_NE(line.find(R"({"section":"cpu","key":"soc","description":"the board's","role":"fixed"})"),
            std::string::npos)
      << line;
  EXPECT_NE(line.find(R"({"section":"cpu","table":"cores","key":"load_percent","unit":"percent",)"
                      R"("description":"busy time","more_is":"worse"})"),
            std::string::npos)
      << line;
}

TEST(RecordedHeader, OfVersion1OrBrokenIsRead) {
  const auto old =
      tool::parseLine(R"({"schema":"tessary-record","version":1,"library":"2.3.2","interval_ms":500,)"
                      R"("monitors":["cpu","gone"]})",
                      machine::kSchemas);
  EXPECT_EQ(std::get<Origin>(old).version, 1);
  EXPECT_EQ(std::get<Origin>(old).intervalMs, 500);
  EXPECT_EQ(std::get<Origin>(old).sections, (tool::Schemas{&machine::kCpu}));
  const auto broken =
      tool::parseLine(R"({"schema":"tessary-record","version":"2","board":7,"monitors":{"a":[]},)"
                      R"("boot_time_ns":1e300,"interval_ms":"1","host":null})",
                      machine::kSchemas);
  EXPECT_EQ(std::get<Origin>(broken).bootTimeNs, 0);
}

}  // namespace
