#include "tools/verdict/comparison.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <thread>
#include <unordered_map>

#include "tools/statistics/bootstrap.h"
#include "tools/statistics/dependence.h"
#include "tools/statistics/difference.h"

namespace tool {

namespace {

using statistics::Difference;
using statistics::Estimate;
using statistics::Series;

constexpr double kUpper = 0.95;  // the quantile that is compared beside the mean
constexpr double kPower = 0.9;

// Cosines: slow enough to see what persists through a thirtieth of the recording, and together enough for a
// test with 16 degrees of freedom.
constexpr std::size_t kComponents = 8;
constexpr double kLeastEffective = 30;
constexpr int kResamples = 200;

// Of recordings as units: fewer than three say little about how recordings vary.
constexpr std::size_t kLeastUnits = 3;

// A figure in one recording.
struct Measured {
  Series values;
  double mean = 0;
  double p95 = 0;
  double longRunVariance = 0;
  double effective = 0;
};

// A figure in all recordings of a side; `missing` says why it cannot be compared.
struct SideValues {
  std::vector<Measured> recordings;
  std::string missing;
};

Measured measure(Series values) {
  Measured measured;
  measured.mean = statistics::mean(values);
  measured.longRunVariance = statistics::longRunVariance(values, kComponents);
  measured.effective = statistics::effectiveNumber(values, measured.longRunVariance);
  Series sorted = values;
  std::sort(sorted.begin(), sorted.end());
  measured.p95 = statistics::quantile(sorted, kUpper);
  measured.values = std::move(values);
  return measured;
}

SideSummary summarize(const std::vector<Measured>& recordings) {
  SideSummary summary;
  const auto count = static_cast<double>(recordings.size());
  for (const Measured& measured : recordings) {
    summary.mean += measured.mean / count;
    summary.p95 += measured.p95 / count;
    summary.samples += measured.values.size();
    summary.effective += measured.effective;
  }
  return summary;
}

double errorOf(double longRunVariance, const Series& values) {
  return std::sqrt(longRunVariance / static_cast<double>(values.size()));
}

Estimate meanOf(const Measured& measured) {
  return {measured.mean, errorOf(measured.longRunVariance, measured.values), kComponents};
}

Estimate p95Of(const Measured& measured) {
  const double block = statistics::blockLength(measured.values);
  return {measured.p95, statistics::quantileError(measured.values, kUpper, block, kResamples), kComponents};
}

// How much of the time the figure is above a level; on the level counts as half.
Estimate timeAbove(const Series& values, double level) {
  Series above;
  above.reserve(values.size());
  for (const double value : values) above.push_back(value > level ? 1 : value == level ? 0.5 : 0);
  return {statistics::mean(above), errorOf(statistics::longRunVariance(above, kComponents), above),
          kComponents};
}

// Whether the sides are above their common p95 for the same part of the time. Where a figure takes few
// values, all resamples may agree on a p95 that the next recording will not have; this still sees its chance.
double probabilityOfTimeAbove(const Series& base, const Series& other) {
  Series both = base;
  both.insert(both.end(), other.begin(), other.end());
  std::sort(both.begin(), both.end());
  const double level = statistics::quantile(both, kUpper);
  return statistics::difference(timeAbove(base, level), timeAbove(other, level)).probability();
}

struct Tested {
  Difference difference;
  double probability = 1;
};

// What is to be known of a figure before the probabilities of all are.
struct Judged {
  Tested mean;
  Tested p95;
  bool enough = false;
  std::string needs;
  bool constant = false;
};

std::string durationWords(double seconds) {
  char text[48];
  if (seconds < 120) {
    std::snprintf(text, sizeof text, "about %.0f s", seconds);
  } else if (seconds < 7200) {
    std::snprintf(text, sizeof text, "about %.0f min", std::ceil(seconds / 60));
  } else {
    std::snprintf(text, sizeof text, "about %.0f h", std::ceil(seconds / 3600));
  }
  return text;
}

// The time in which the figure would have said enough at the pace at which it did.
double secondsNeeded(const Measured& measured, double secondsOfRecording) {
  return secondsOfRecording * kLeastEffective / std::max(measured.effective, 1.0);
}

Judged judgeSamples(const Measured& base, double baseSeconds, const Measured& other, double otherSeconds) {
  Judged judged;
  judged.enough = base.effective >= kLeastEffective && other.effective >= kLeastEffective;
  if (!judged.enough) {
    const double seconds = std::max(secondsNeeded(base, baseSeconds), secondsNeeded(other, otherSeconds));
    judged.needs = durationWords(seconds) + " a recording";
    return judged;
  }
  judged.mean.difference = statistics::difference(meanOf(base), meanOf(other));
  judged.mean.probability = judged.mean.difference.probability();
  judged.p95.difference = statistics::difference(p95Of(base), p95Of(other));
  judged.p95.probability =
      std::max(judged.p95.difference.probability(), probabilityOfTimeAbove(base.values, other.values));
  return judged;
}

Tested testUnits(const Series& base, const Series& other) {
  const bool few = std::min(base.size(), other.size()) < kLeastUnits;
  const Difference difference =
      few ? statistics::pooledDifference(base, other)
          : statistics::difference(statistics::ofUnits(base), statistics::ofUnits(other));
  return {difference, difference.probability()};
}

Judged judgeRecordings(const std::vector<Measured>& base, const std::vector<Measured>& other) {
  const auto each = [](const std::vector<Measured>& recordings, double Measured::*value) {
    Series values;
    for (const Measured& recording : recordings) values.push_back(recording.*value);
    return values;
  };
  Judged judged;
  judged.enough = base.size() + other.size() >= 2 + kLeastUnits;
  if (!judged.enough) {
    judged.needs = std::to_string(kLeastUnits) + " recordings a side";
    return judged;
  }
  judged.mean = testUnits(each(base, &Measured::mean), each(other, &Measured::mean));
  judged.p95 = testUnits(each(base, &Measured::p95), each(other, &Measured::p95));
  return judged;
}

bool sameConstant(const SideValues& base, const SideValues& other) {
  const double value = base.recordings.front().values.front();
  const auto isIt = [value](const Measured& measured) {
    return measured.values.front() == value && statistics::isConstant(measured.values);
  };
  return std::all_of(base.recordings.begin(), base.recordings.end(), isIt) &&
         std::all_of(other.recordings.begin(), other.recordings.end(), isIt);
}

using Index = std::unordered_map<std::string, const RecordedFigure*>;

std::vector<Index> indexesOf(const Side& side) {
  std::vector<Index> indexes;
  for (const Recorded& recorded : side) {
    Index& index = indexes.emplace_back();
    for (const RecordedFigure& figure : recorded.figures()) index.emplace(figure.name, &figure);
  }
  return indexes;
}

SideValues valuesOf(const std::string& name, const Side& side, const std::vector<Index>& indexes,
                    double present) {
  SideValues values;
  for (std::size_t at = 0; at < side.size(); ++at) {
    const auto found = indexes[at].find(name);
    Series series = found != indexes[at].end() ? found->second->present() : Series{};
    const double share = static_cast<double>(series.size()) / static_cast<double>(side[at].samples());
    if (series.empty() || share < present) {
      char text[64];
      std::snprintf(text, sizeof text, "in %.0f percent of the samples", std::floor(share * 100));
      values.missing = series.empty() ? "in no sample" : text;
      return values;
    }
    values.recordings.push_back(measure(std::move(series)));
  }
  return values;
}

double secondsOf(const Recorded& recorded) {
  double sum = 0;
  for (const double seconds : recorded.seconds()) sum += seconds;
  return sum;
}

// One figure through all that needs no other: the costly part, done on all processors.
struct Candidate {
  const RecordedFigure* figure;
  std::string missing;
  SideSummary base;
  SideSummary other;
  Judged judged;
};

void judge(Candidate& candidate, const Side& base, const std::vector<Index>& baseIndexes, const Side& other,
           const std::vector<Index>& otherIndexes, double present) {
  const SideValues bases = valuesOf(candidate.figure->name, base, baseIndexes, present);
  const SideValues others = valuesOf(candidate.figure->name, other, otherIndexes, present);
  if (!bases.missing.empty()) candidate.missing = bases.missing + " of the base";
  if (!others.missing.empty()) {
    candidate.missing += (candidate.missing.empty() ? "" : ", ") + others.missing + " of the new side";
  }
  if (!candidate.missing.empty()) return;

  candidate.base = summarize(bases.recordings);
  candidate.other = summarize(others.recordings);
  candidate.judged =
      base.size() == 1 && other.size() == 1
          ? judgeSamples(bases.recordings[0], secondsOf(base[0]), others.recordings[0], secondsOf(other[0]))
          : judgeRecordings(bases.recordings, others.recordings);
  candidate.judged.constant = sameConstant(bases, others);
}

template <typename Work>
void onAllProcessors(std::size_t count, const Work& work) {
  std::atomic<std::size_t> next{0};
  const auto loop = [&] {
    for (std::size_t at = next++; at < count; at = next++) work(at);
  };
  std::vector<std::thread> threads(std::max(std::thread::hardware_concurrency(), 1U) - 1);
  for (std::thread& thread : threads) thread = std::thread{loop};
  loop();
  for (std::thread& thread : threads) thread.join();
}

// All figures of either side, in the order of the tables.
std::vector<Candidate> candidatesOf(const Side& base, const Side& other) {
  std::vector<Candidate> candidates;
  std::unordered_map<std::string, bool> known;
  for (const Side* const side : {&base, &other}) {
    for (const Recorded& recorded : *side) {
      for (const RecordedFigure& figure : recorded.figures()) {
        if (known.try_emplace(figure.name).second) candidates.push_back({&figure, {}, {}, {}, {}});
      }
    }
  }
  return candidates;
}

Change changeOf(const Tested& tested, double corrected, double base, double tests,
                const ComparisonPlan& plan) {
  Change change;
  change.value = tested.difference.value;
  change.margin = tested.difference.margin(plan.alpha / tests);
  change.smallest =
      std::max(tested.difference.smallest(plan.alpha / tests, kPower), plan.least * std::fabs(base));
  change.probability = corrected;
  change.matters = corrected < plan.alpha && std::fabs(change.value) >= plan.least * std::fabs(base);
  return change;
}

Verdict verdictOf(const ComparedFigure& compared) {
  const auto moved = [](const Change& change) { return !change.matters ? 0 : change.value > 0 ? 1 : -1; };
  const int mean = moved(compared.mean);
  const int p95 = moved(compared.p95);
  if (mean == 0 && p95 == 0) return kSame;
  const Tendency tendency = compared.column->tendency;
  if (tendency == kNeither) return kChanged;
  const int bad = tendency == kMoreIsWorse ? 1 : -1;
  return mean == bad || p95 == bad ? kWorse : kBetter;
}

}  // namespace

const char* verdictName(Verdict verdict) {
  switch (verdict) {
    case kWorse:
      return "worse";
    case kBetter:
      return "better";
    case kChanged:
      return "changed";
    case kSame:
      return "same";
    case kNotEnough:
      break;
  }
  return "not enough data";
}

Comparison compare(const Side& base, const Side& other, const ComparisonPlan& plan) {
  std::vector<Candidate> candidates = candidatesOf(base, other);
  const std::vector<Index> baseIndexes = indexesOf(base);
  const std::vector<Index> otherIndexes = indexesOf(other);
  onAllProcessors(candidates.size(), [&](std::size_t at) {
    judge(candidates[at], base, baseIndexes, other, otherIndexes, plan.present);
  });

  Comparison comparison;
  Series probabilities;
  for (const Candidate& candidate : candidates) {
    const Judged& judged = candidate.judged;
    if (!judged.enough || judged.constant) continue;
    probabilities.insert(probabilities.end(), {judged.mean.probability, judged.p95.probability});
  }
  comparison.tests = probabilities.size();
  const auto tests = static_cast<double>(std::max<std::size_t>(comparison.tests, 1));
  const Series corrected = statistics::holm(probabilities);
  std::size_t next = 0;
  for (Candidate& candidate : candidates) {
    if (!candidate.missing.empty()) {
      comparison.left.push_back({candidate.figure->name, candidate.missing});
      continue;
    }
    ComparedFigure& compared = comparison.figures.emplace_back();
    compared.name = candidate.figure->name;
    compared.column = candidate.figure->column;
    compared.base = candidate.base;
    compared.other = candidate.other;
    compared.constant = candidate.judged.constant;
    compared.needs = candidate.judged.needs;
    if (!candidate.judged.enough) {
      compared.verdict = kNotEnough;
    } else if (!compared.constant) {
      compared.mean = changeOf(candidate.judged.mean, corrected[next], compared.base.mean, tests, plan);
      compared.p95 = changeOf(candidate.judged.p95, corrected[next + 1], compared.base.p95, tests, plan);
      compared.verdict = verdictOf(compared);
      next += 2;
    }
  }
  return comparison;
}

}  // namespace tool
