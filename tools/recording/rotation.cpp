#include "tools/recording/rotation.h"

#include <charconv>
#include <cstdio>

#include "tools/figures/time_units.h"
#include "tools/recording/gzip.h"

namespace tool {

namespace {

struct SizeUnit {
  std::string_view name;
  std::uint64_t bytes;
};

struct TimeUnit {
  std::string_view name;
  std::int64_t seconds;
};

constexpr SizeUnit kSizes[] = {{"K", 1ULL << 10}, {"M", 1ULL << 20}, {"G", 1ULL << 30}};
constexpr TimeUnit kTimes[] = {{"s", 1}, {"min", 60}, {"h", 3600}, {"d", 86400}};

constexpr std::uint64_t kMost = 100000;  // of any unit: as many days still fit into nanoseconds

// Where the number of a part goes: before the extension, and before that of the compression.
std::size_t stemOf(std::string_view name) {
  const std::size_t slash = name.rfind('/');
  const std::size_t first = slash == std::string_view::npos ? 0 : slash + 1;
  std::string_view stem = name;
  if (stem.size() > first + kGzipSuffix.size() &&
      stem.substr(stem.size() - kGzipSuffix.size()) == kGzipSuffix) {
    stem.remove_suffix(kGzipSuffix.size());
  }
  const std::size_t dot = stem.rfind('.');
  return dot != std::string_view::npos && dot > first ? dot : stem.size();
}

}  // namespace

std::optional<Rotation> parseRotation(std::string_view text) {
  std::uint64_t count = 0;
  const auto [unit, error] = std::from_chars(text.data(), text.data() + text.size(), count);
  if (error != std::errc{} || count == 0 || count > kMost) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(unit - text.data()));
  for (const SizeUnit& size : kSizes) {
    if (text == size.name) return Rotation{count * size.bytes, 0};
  }
  for (const TimeUnit& time : kTimes) {
    if (text == time.name)
      return Rotation{0, static_cast<std::int64_t>(count) * time.seconds * kNanosecondsInSecond};
  }
  return std::nullopt;
}

std::string partName(std::string_view name, int number) {
  char digits[16];
  std::snprintf(digits, sizeof digits, "-%04d", number);
  std::string part{name};
  part.insert(stemOf(name), digits);
  return part;
}

int nextPart(std::string_view name, const std::vector<std::string>& there) {
  const std::size_t stem = stemOf(name);
  int highest = 0;
  for (const std::string& candidate : there) {
    int number = 0;
    if (candidate.size() <= stem + 1) continue;
    std::from_chars(candidate.data() + stem + 1, candidate.data() + candidate.size(), number);
    if (number > highest && candidate == partName(name, number)) highest = number;
  }
  return highest + 1;
}

}  // namespace tool
