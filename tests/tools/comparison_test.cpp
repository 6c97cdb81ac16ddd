#include "tools/verdict/comparison.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/tools/drive.h"
#include "tools/verdict/selector.h"
#include "tools/views/comparison.h"

namespace tool {
namespace {

using drive::recording;

const ComparedFigure& figureOf(const Comparison& comparison, const std::string& name) {
  for (const ComparedFigure& figure : comparison.figures) {
    if (figure.name == name) return figure;
  }
  ADD_FAILURE() << name << " was not compared";
  return comparison.figures.front();
}

Side side(Recorded recorded) {
  Side side;
  side.push_back(std::move(recorded));
  return side;
}

TEST(Recorded, ProcessesOfOneNameCountTogetherAndOutliveARestart) {
  Recorded recorded{drive::any};
  recorded.add(drive::sample({10.0, 1.0, 1.0}, {{7, "worker", 3}, {8, "worker", 4}, {9, "late", 1}}));
  recorded.add(drive::sample({Absent{"EIO"}, 1.0, 1.0}, {{8, "worker", 5}}));
  recorded.add(drive::sample({30.0, 1.0, 1.0}, {{9, "late", 2}, {70, "worker", 6}}));

  const std::deque<RecordedFigure>& figures = recorded.figures();
  ASSERT_EQ(figures.size(), 5U);
  EXPECT_EQ(figures[0].name, "cpu.load_percent");
  EXPECT_EQ(figures[0].present(), (statistics::Series{10, 30}));
  EXPECT_EQ(figures[0].reason, "EIO");
  EXPECT_EQ(figures[3].name, "process.top[name=worker].cpu_percent");
  EXPECT_EQ(figures[3].values, (statistics::Series{7, 5, 6}));
  EXPECT_EQ(figures[4].present(), (statistics::Series{1, 2}));
}

TEST(Selector, NamesRowsByAnyOfTheirLabels) {
  const Report report = drive::sample({1.0, 2.0, 3.0}, {{7, "a[b].c", 1}},
                                      {{"thermal_zone3", "gpu", 50}, {"thermal_zone4", "gpu-1", 60}});
  const auto matched = [&report](const char* text) {
    const std::optional<Selector> selector = parseSelector(text);
    int count = 0;
    forEachFigure(report, [&](const Figure& figure) { count += selector && selector->matches(figure); });
    return count;
  };
  EXPECT_EQ(matched("cpu.load_percent"), 1);
  EXPECT_EQ(matched("thermal.zones[type=gpu].temperature_celsius"), 1);
  EXPECT_EQ(matched("thermal.zones[zone=thermal_zone4].temperature_celsius"), 1);
  EXPECT_EQ(matched("thermal.zones.temperature_celsius"), 2);
  EXPECT_EQ(matched("thermal.zones[].temperature_celsius"), 2);
  EXPECT_EQ(matched("process.top[name=a[b].c].cpu_percent"), 1);
  EXPECT_EQ(matched("process.top[pid=7].cpu_percent"), 1);
  EXPECT_EQ(matched("process.top.name"), 0) << "a label is no figure";

  for (const char* const wrong :
       {"", "cpu", "cpu.", ".load", "cpu.cores[core].x", "cpu.cores[=3].x", "cpu.x[core=3]"}) {
    EXPECT_FALSE(parseSelector(wrong)) << wrong;
  }
}

TEST(Selector, SaysWhyNothingCanMatch) {
  EXPECT_EQ(unknownIn(*parseSelector("thermal.zones[type=gpu].temperature_celsius"), drive::kSchemas), "");
  EXPECT_EQ(unknownIn(*parseSelector("cpu.laod_percent"), drive::kSchemas),
            "there is no figure cpu.laod_percent");
  EXPECT_EQ(unknownIn(*parseSelector("thermal.zones[name=gpu].temperature_celsius"), drive::kSchemas),
            "name does not name a row of zones: zone, type");
  EXPECT_EQ(unknownIn(*parseSelector("cpu[core=3].load_percent"), drive::kSchemas),
            "cpu.load_percent is no table, and has no core");
}

TEST(Comparison, FiguresKnowWhichWayIsGood) {
  const Comparison more = compare(side(recording(1, 40)), side(recording(2, 46)), {});
  EXPECT_EQ(figureOf(more, "cpu.load_percent").verdict, kWorse);
  EXPECT_EQ(figureOf(more, "cpu.free_kib").verdict, kWorse);
  EXPECT_EQ(figureOf(more, "cpu.clock_khz").verdict, kChanged);
  EXPECT_EQ(more.tests, 6U);

  const Comparison less = compare(side(recording(1, 46)), side(recording(2, 40)), {});
  EXPECT_EQ(figureOf(less, "cpu.load_percent").verdict, kBetter);
  EXPECT_EQ(figureOf(less, "cpu.free_kib").verdict, kBetter);
}

TEST(Comparison, AChangeHasItsSizeAndItsInterval) {
  const Comparison comparison = compare(side(recording(1, 40)), side(recording(2, 46)), {});
  const ComparedFigure& load = figureOf(comparison, "cpu.load_percent");
  EXPECT_NEAR(load.base.mean, 40, 1.5);
  EXPECT_NEAR(load.mean.value, 6, load.mean.margin);
  EXPECT_GT(load.mean.value - load.mean.margin, 0);
  EXPECT_GT(load.mean.smallest, load.mean.margin);
  EXPECT_LT(load.base.effective, 400) << "600 samples that persist are no 600 independent ones";
}

TEST(Comparison, WhatIsSmallDoesNotMatterHoweverSureItIs) {
  const Comparison comparison = compare(side(recording(1, 400)), side(recording(2, 410)), {});
  const ComparedFigure& load = figureOf(comparison, "cpu.load_percent");
  EXPECT_LT(load.mean.probability, 0.01);
  EXPECT_EQ(load.verdict, kSame);
  EXPECT_EQ(load.mean.smallest, 0.05 * load.base.mean);
}

TEST(Comparison, ALoadThatHardlyMovesNeedsALongerRecording) {
  const Comparison comparison =
      compare(side(recording(1, 40, 600, 0.99)), side(recording(2, 60, 600, 0.99)), {});
  const ComparedFigure& load = figureOf(comparison, "cpu.load_percent");
  EXPECT_EQ(load.verdict, kNotEnough);
  EXPECT_EQ(load.needs, "about 23 min a recording");

  // The same at an interval of a minute, which makes hours of minutes.
  const auto slow = [](std::uint64_t seed) {
    Recorded recorded{drive::any};
    std::mt19937_64 engine{seed};
    double walk = 40;
    for (int minute = 0; minute < 60; ++minute) {
      walk += static_cast<double>(engine() >> 40) / 0x1p24 - 0.5;
      Report report = drive::sample({walk, 1.0, 1.0});
      report.intervalMs = 60000;
      recorded.add(report);
    }
    return side(std::move(recorded));
  };
  EXPECT_EQ(figureOf(compare(slow(1), slow(2), {}), "cpu.load_percent").needs, "about 3 h a recording");
}

TEST(Comparison, ConstantsAreTheSameOrChanged) {
  const auto constant = [](double load) {
    Recorded recorded{drive::any};
    for (int second = 0; second < 100; ++second)
      recorded.add(drive::sample({load, std::int64_t{7}, std::int64_t{9}}));
    return side(std::move(recorded));
  };
  const Comparison same = compare(constant(40), constant(40), {});
  EXPECT_EQ(figureOf(same, "cpu.load_percent").verdict, kSame);
  EXPECT_TRUE(figureOf(same, "cpu.load_percent").constant);
  EXPECT_EQ(same.tests, 0U);
  EXPECT_EQ(figureOf(compare(constant(40), constant(43), {}), "cpu.load_percent").verdict, kWorse);
  const Comparison more = compare(constant(0), constant(1), {});
  EXPECT_EQ(figureOf(more, "cpu.load_percent").verdict, kWorse) << "more than nothing";
  const std::string text = comparisonText(more, {}, {}, {});
  EXPECT_NE(text.find("0.0 %  1.0 %  +1.0 % +-0.0 %"), std::string::npos) << text;
}

// The new side peaks in 4 percent of its samples where the base did in 6, by chance: all resamples of either
// agree on their p95, and the two differ by a half.
TEST(Comparison, AP95BetweenTwoLevelsIsNoChange) {
  const auto peaks = [](int peaksIn100, std::uint64_t seed) {
    Recorded recorded{drive::any};
    std::mt19937_64 engine{seed};
    for (int second = 0; second < 400; ++second) {
      const bool peak = static_cast<int>(engine() % 100) < peaksIn100;
      recorded.add(drive::sample({peak ? 90.0 : 60.0, 1.0, 1.0}));
    }
    return side(std::move(recorded));
  };
  EXPECT_EQ(figureOf(compare(peaks(6, 1), peaks(4, 2), {}), "cpu.load_percent").verdict, kSame);
  EXPECT_EQ(figureOf(compare(peaks(30, 1), peaks(3, 2), {}), "cpu.load_percent").verdict, kBetter);
}

TEST(Comparison, SeveralRecordingsASideAreTheUnits) {
  const auto nights = [](std::uint64_t seed, std::initializer_list<double> loads) {
    Side side;
    for (const double load : loads) side.push_back(recording(seed++, load));
    return side;
  };
  // Each pair of single nights differs by more than chance; the nights among themselves do, too.
  const Side base = nights(1, {40, 48, 44, 38, 46});
  EXPECT_EQ(figureOf(compare(base, nights(20, {47, 41, 49, 39}), {}), "cpu.load_percent").verdict, kSame);
  EXPECT_EQ(figureOf(compare(base, nights(20, {80, 85, 82, 81, 87}), {}), "cpu.load_percent").verdict,
            kWorse);
  EXPECT_EQ(figureOf(compare(base, nights(20, {47}), {}), "cpu.load_percent").verdict, kSame);
  EXPECT_EQ(figureOf(compare(base, nights(20, {150}), {}), "cpu.load_percent").verdict, kWorse);

  const Comparison few = compare(nights(1, {40, 48}), nights(20, {47, 41}), {});
  EXPECT_EQ(figureOf(few, "cpu.load_percent").verdict, kNotEnough);
  EXPECT_EQ(figureOf(few, "cpu.load_percent").needs, "3 recordings a side");
}

TEST(Comparison, WhatIsSeldomThereIsNamedAndLeft) {
  const auto withProcess = [](int every) {
    Recorded recorded{drive::any};
    for (int second = 0; second < 100; ++second) {
      std::vector<drive::Process> processes;
      if (second % every == 0) processes.push_back({7, "map", 12});
      recorded.add(drive::sample({1.0, 1.0, 1.0}, processes));
    }
    return side(std::move(recorded));
  };
  const Comparison comparison = compare(withProcess(1), withProcess(3), {});
  ASSERT_EQ(comparison.left.size(), 1U);
  EXPECT_EQ(comparison.left[0].name, "process.top[name=map].cpu_percent");
  EXPECT_EQ(comparison.left[0].reason, "in 34 percent of the samples of the new side");
}

nlohmann::json jsonOf(const Change& change) {
  return {{"change", change.value},
          {"margin", change.margin},
          {"smallest", change.smallest},
          {"probability", change.probability},
          {"matters", change.matters}};
}

TEST(Comparison, InJsonEachNumberHasItsName) {
  ComparisonPlan plan;
  plan.least = 0.03;
  const Comparison comparison = compare(side(recording(1, 40)), side(recording(2, 46)), plan);
  const auto json =
      nlohmann::json::parse(comparisonJson(comparison, {{"a", "b"}, 600, 600}, {{"c"}, 600, 600}, plan));
  EXPECT_EQ(json["base"], (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(json["new"], std::vector<std::string>{"c"});
  EXPECT_EQ(json["alpha"], 0.01);
  EXPECT_EQ(json["least_percent"], 3);
  EXPECT_EQ(json["tests"], 6);
  const nlohmann::json& free = json["figures"][1];
  const ComparedFigure& figure = comparison.figures[1];
  EXPECT_EQ(free["figure"], "cpu.free_kib");
  EXPECT_EQ(free["unit"], "KiB");
  EXPECT_EQ(free["more_is"], "better");
  EXPECT_EQ(free["verdict"], "worse");
  EXPECT_EQ(free["base"]["mean"], figure.base.mean);
  EXPECT_EQ(free["base"]["p95"], figure.base.p95);
  EXPECT_EQ(free["new"]["mean"], figure.other.mean);
  EXPECT_EQ(free["new"]["samples"], 600);
  EXPECT_NEAR(free["new"]["effective_samples"].get<double>(), figure.other.effective, 0.5);
  EXPECT_EQ(free["mean"], jsonOf(figure.mean));
  EXPECT_EQ(free["p95"], jsonOf(figure.p95));
}

TEST(Comparison, WhatMattersStandsFirst) {
  Comparison comparison = compare(side(recording(1, 40)), side(recording(2, 46)), {});
  comparison.left.assign(23, {"a.b", "in no sample"});
  const std::string text =
      comparisonText(comparison, {{"base.jsonl"}, 600, 600}, {{"new\n.jsonl"}, 600, 600}, {});
  EXPECT_EQ(text.substr(0, text.find("not compared")),
            "base base.jsonl: 600 samples, 600 s\n"
            "new  new\\x0a.jsonl: 600 samples, 600 s\n"
            "\n"
            "Comparison\n"
            "  verdict  figure            mean     new      change         shown from  p95      new      "
            "change         shown from\n"
            "  worse    cpu.load_percent  40.2 %   46.0 %   +14.5 +-5.5 %  7.6 %       50.9 %   56.8 %   "
            "+11.6 +-5.3 %  7.3 %\n"
            "  worse    cpu.free_kib      2.9 GiB  2.6 GiB  -9.7 +-3.7 %   5.1 %       3.3 GiB  3.1 GiB  "
            "-8.6 +-6.1 %   8.2 %\n"
            "  changed  cpu.clock_khz     802 MHz  860 MHz  +7.3 +-2.8 %   5.0 %       909 MHz  968 MHz  "
            "+6.5 +-3.0 %   5.0 %\n"
            "\n"
            "2 worse, 0 better, 1 changed, 0 same, 0 not enough data; 0 did not move at all\n");
  EXPECT_EQ(text.substr(text.rfind("a.b")), "a.b: in no sample\nnot compared: 3 more\n");
}

}  // namespace
}  // namespace tool
