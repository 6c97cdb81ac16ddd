#include "tools/verdict/check.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/tools/drive.h"
#include "tools/output.h"
#include "tools/verdict/live_check.h"
#include "tools/views/check.h"

namespace tool {
namespace {

std::string mistakeOf(const std::string& text) {
  try {
    parseBudgets(text, "b.json");
  } catch (const Failure& failure) {
    return failure.what();
  }
  return "none";
}

TEST(Budgets, SayWhereTheMistakeIs) {
  const struct {
    const char* text;
    const char* mistake;
  } kMistakes[] = {
      {"[]", "b.json:1: the file: is no object"},
      {"{}", "b.json:1: the file: has no budget"},
      {"{\n \"cpu\": {}}", "b.json:2: cpu: is no name of a figure"},
      {"{\"a.b\":\n {}}", "b.json:1: a.b: has no limit"},
      {"{\"a.b\": {\n \"p59\": {\"max\": 1}}}",
       "b.json:2: a.b.p59: is not known here: mean, p50, p95, p99, min, max, over, present"},
      {"{\"a.b\": {\n \"p95\": {\n \"most\": 1}}}", "b.json:3: a.b.p95.most: is not known here: max, min"},
      {"{\"a.b\": {\n \"p95\": {\n \"max\":\n \"1\"}}}", "b.json:3: a.b.p95.max: is no number"},
      {"{\"a.b\": {\"p95\": 80\n}}", "b.json:1: a.b.p95: is no object"},
      {"{\"a.b\": {\"p95\": {}}}", "b.json:1: a.b.p95: has neither max nor min"},
      {"{\"a.b\": {\n\"over\": {\"limit\": 9}}}", "b.json:2: a.b.over: needs limit and seconds"},
      {"{\"a.b\": {\n\"present\": 0, \"p95\": {\"max\": 1}}}",
       "b.json:2: a.b.present: is no percentage above 0"},
      {"{\"a.b\": {\"p95\": {\"max\": 1}},\n \"a.b\": {\"p50\": {\"max\": 1}}}",
       "b.json:2: the file.a.b: is there twice"},
      {"{\"a.b\": {\"p95\": {\"max\": 1}},\n}", "b.json:2: the file: no JSON"},
  };
  for (const auto& [text, mistake] : kMistakes)
    EXPECT_EQ(mistakeOf(text).rfind(mistake, 0), 0U) << mistakeOf(text);
}

constexpr char kBudgets[] = R"({
  "$schema": "budgets.schema.json",
  "cpu.load_percent": {"mean": {"min": 10, "max": 60}, "p95": {"max": 80}, "p99": {"max": 90}, "over": {"limit": 90, "seconds": 2}},
  "cpu.free_kib": {"min": {"min": 500}},
  "thermal.zones[type=gpu].temperature_celsius": {"max": {"max": 95}},
  "thermal.zones.temperature_celsius": {"mean": {"min": 98}},
  "process.top[name=map].cpu_percent": {"p50": {"max": 40}, "present": 50},
  "cpu.laod_percent": {"p95": {"max": 80}}
})";

// 100 s, 4 of them above 90 in a row; the process is there half of the time.
Recorded drive100(const std::vector<Budget>& budgets) {
  Recorded recorded{wantedOf(budgets)};
  for (int second = 0; second < 100; ++second) {
    std::vector<drive::Process> processes;
    if (second % 2 == 0) processes.push_back({7, "map", 30.0 + second % 20});
    const double load = second >= 50 && second < 54 ? 95 : 50;
    recorded.add(drive::sample(
        {load, second == 7 ? 400.0 : 900.0, 1.0}, processes,
        {{"thermal_zone1", "gpu", 60}, {"thermal_zone2", "gpu", 97}, {"thermal_zone3", "skin", 99}}));
  }
  return recorded;
}

TEST(Check, EachLimitIsJudged) {
  const std::vector<Budget> budgets = parseBudgets(kBudgets, "b.json");
  const Recorded recorded = drive100(budgets);
  std::string all;
  for (const BudgetResult& result : check(recorded, budgets, drive::kSchemas)) {
    all += std::string{outcomeName(result.outcome)} + ": " + resultText(result) + "\n";
  }
  EXPECT_EQ(all,
            "kept: 51.8, allowed mean >= 10\n"
            "kept: 51.8, allowed mean <= 60\n"
            "kept: 50, allowed p95 <= 80\n"
            "exceeded: 95, allowed p99 <= 90\n"
            "exceeded: 4 s, allowed at most 2 s above 90\n"
            "exceeded: 400, allowed min >= 500\n"
            "exceeded: 97, allowed max <= 95\n"
            "exceeded: 60, allowed mean >= 98\n"
            "kept: 39, allowed p50 <= 40\n"
            "not measured: there is no figure cpu.laod_percent\n");
}

TEST(Check, IsSaidInWordsAndInJson) {
  const std::vector<Budget> budgets = parseBudgets(
      R"({"cpu.free_kib": {"min": {"min": 500}}, "cpu.load_percent": {"over": {"limit": 90, "seconds": 5}, "mean": {"max": 60}}})",
      "b.json");
  const Recorded recorded = drive100(budgets);
  const std::vector<CheckedRecording> checked{{"a.jsonl", 100, check(recorded, budgets, drive::kSchemas)}};
  EXPECT_EQ(checkText(checked, {}),
            "a.jsonl\n"
            "  budget    figure            allowed               measured\n"
            "  exceeded  cpu.free_kib      min >= 500            400.0 KiB\n"
            "  kept      cpu.load_percent  at most 5 s above 90  4.00 s\n"
            "  kept      cpu.load_percent  mean <= 60            51.8 %\n"
            "\n"
            "1 of 3 budgets not kept\n");
  EXPECT_EQ(nlohmann::json::parse(checkJson(checked)), nlohmann::json::parse(R"({
    "schema": "tessary-check", "version": 1, "recordings": [{"recording": "a.jsonl", "seconds": 100.0, "budgets": [
      {"figure": "cpu.free_kib", "statistic": "min", "min": 500.0, "outcome": "exceeded", "value": 400.0},
      {"figure": "cpu.load_percent", "statistic": "over", "limit": 90.0, "seconds": 5.0, "outcome": "kept", "value": 4.0},
      {"figure": "cpu.load_percent", "statistic": "mean", "max": 60.0, "outcome": "kept", "value": 51.8}]}]})"));
}

TEST(Check, WhatIsSeldomThereFails) {
  const std::vector<Budget> budgets =
      parseBudgets(R"({"process.top[name=map].cpu_percent": {"max": {"max": 100}},
      "process.top[name=gone].cpu_percent": {"max": {"max": 100}}})",
                   "b.json");
  const Recorded recorded = drive100(budgets);
  const std::vector<BudgetResult> results = check(recorded, budgets, drive::kSchemas);
  EXPECT_EQ(results[0].outcome, kNotMeasured);
  EXPECT_EQ(results[0].reason, "in 50 of 100 samples");
  EXPECT_EQ(results[1].outcome, kNotMeasured);
  EXPECT_EQ(results[1].reason, "in no sample");
  EXPECT_FALSE(allHeld(results));
}

TEST(Check, BuildServersGetACaseABudget) {
  const std::vector<Budget> budgets = parseBudgets(kBudgets, "b.json");
  const Recorded recorded = drive100(budgets);
  const std::string xml = checkJunit({{"a<b>&\"\n.jsonl", 100, check(recorded, budgets, drive::kSchemas)}});
  EXPECT_NE(
      xml.find(
          R"(<testsuite name="a&lt;b&gt;&amp;&quot;\x0a.jsonl" tests="10" failures="5" errors="1" time="100.000">)"),
      std::string::npos)
      << xml;
  EXPECT_NE(xml.find(R"(<testcase classname="cpu.load_percent" name="p95 &lt;= 80"/>)"), std::string::npos)
      << xml;
  EXPECT_NE(
      xml.find(
          R"(<failure message="thermal.zones[zone=thermal_zone2].temperature_celsius: 97, allowed max &lt;= 95"/>)"),
      std::string::npos)
      << xml;
  EXPECT_NE(xml.find(R"(<error message="cpu.laod_percent: there is no figure cpu.laod_percent"/>)"),
            std::string::npos)
      << xml;
}

TEST(LiveCheck, TellsOnceWhatCannotBeMadeGoodAgain) {
  LiveCheck live{
      parseBudgets(
          R"({"cpu.load_percent": {"max": {"max": 90}, "mean": {"max": 20}, "over": {"limit": 50, "seconds": 2}}})",
          "b.json"),
      drive::kSchemas};
  const auto at = [&live](Value load) { return live.add(drive::sample({std::move(load), 1.0, 1.0})); };
  EXPECT_TRUE(at(60.0).empty());
  EXPECT_TRUE(at(60.0).empty()) << "two seconds are allowed, and the mean may fall";
  Report unread = drive::sample({Absent{"EIO"}, 1.0, 1.0});
  unread.intervalMs = 5000;
  EXPECT_TRUE(live.add(unread).empty()) << "nobody knows whether it was above";
  EXPECT_TRUE(at(60.0).empty());
  EXPECT_EQ(at(91.0), std::vector<std::string>{"cpu.load_percent: 91, allowed max <= 90"});
  EXPECT_EQ(at(92.0), std::vector<std::string>{"cpu.load_percent: 3 s, allowed at most 2 s above 50"});
  EXPECT_TRUE(at(93.0).empty());
  const std::vector<BudgetResult> results = live.results();
  EXPECT_EQ(results[0].outcome, kNotMeasured) << "in 6 of 7 samples";
}

}  // namespace
}  // namespace tool
