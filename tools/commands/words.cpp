#include "tools/commands/words.h"

#include <algorithm>
#include <numeric>

namespace tool {

namespace {

// How many letters have to be put in, taken out, changed, or swapped with the next one to make `b` of `a`.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> twoBefore(b.size() + 1);
  std::vector<std::size_t> before(b.size() + 1);
  std::iota(before.begin(), before.end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::vector<std::size_t> row(b.size() + 1, i);
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t change = before[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      row[j] = std::min({change, before[j] + 1, row[j - 1] + 1});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) row[j] = std::min(row[j], twoBefore[j - 2] + 1);
    }
    twoBefore = std::move(before);
    before = std::move(row);
  }
  return before[b.size()];
}

}  // namespace

std::string joined(const std::vector<std::string>& words, std::string_view between) {
  std::string text;
  for (const std::string& word : words) {
    if (&word != &words.front()) text += between;
    text += word;
  }
  return text;
}

std::vector<std::string> split(std::string_view text, char at) {
  std::vector<std::string> words;
  while (true) {
    const std::size_t end = std::min(text.find(at), text.size());
    words.emplace_back(text.substr(0, end));
    if (end == text.size()) return words;
    text.remove_prefix(end + 1);
  }
}

std::string suggestion(const std::string& word, const std::vector<std::string>& known) {
  constexpr std::size_t kFarthest = 2;
  const std::string* nearest = nullptr;
  std::size_t least = std::min(kFarthest + 1, word.size());
  for (const std::string& candidate : known) {
    const std::size_t away = distance(word, candidate);
    if (away >= least) continue;
    least = away;
    nearest = &candidate;
  }
  return nearest != nullptr ? ": did you mean " + *nearest + "?" : "";
}

}  // namespace tool
