#include "tests/proof/documents.h"

#include <nlohmann/json.hpp>
#include <sstream>
#include <string_view>
#include <vector>

namespace proof {

namespace {

using Json = nlohmann::json;

constexpr const char* kLabels[] = {"core", "pid", "zone", "disk", "interface", "dsp"};

const Json* rowLike(const Json& row, const Json& rows) {
  for (const char* const label : kLabels) {
    if (!row.contains(label)) continue;
    for (const Json& other : rows) {
      if (other.contains(label) && other[label] == row[label]) return &other;
    }
  }
  return nullptr;
}

// The figure of the section that is another's; empty when there is none.
std::string foreignFigure(const Json& found, const Json& faultless) {
  for (const auto& [key, value] : found.items()) {
    if (key == "errors") continue;
    if (!faultless.contains(key)) return key;
    if (value.is_array()) {
      for (const Json& row : value) {
        const Json* const other = rowLike(row, faultless[key]);
        if (other == nullptr) return key + ": " + row.dump();
        const std::string figure = foreignFigure(row, *other);
        if (!figure.empty()) return key + "." + figure;
      }
    } else if (value != faultless[key]) {
      return key + " " + value.dump() + " instead of " + faultless[key].dump();
    }
  }
  return {};
}

// What the library cannot tell from a figure, and documents: a core weighs as much as another where a capacity cannot be
// opened, an identity is 0 where its command writes nothing, and a process whose line was empty has an empty name.
bool isDocumented(const std::string& figure) {
  return figure == "load_percent 37.5 instead of 31.25" || figure == "feature_id 0 instead of 1" ||
         figure.find("top.name \"\" instead of ") == 0;
}

// And not of a row of one of its tables.
bool isOfSection(const std::string& figure) { return figure.find('.') > figure.find(' '); }

bool saysOfLess(const Json& section) {
  return section.contains("errors") && section["errors"].dump().find("\"*\"") != std::string::npos;
}

bool isPartOf(const Json& found, const Json& faultless, std::string& mistake) {
  for (const auto& [key, section] : found.items()) {
    if (!section.is_object() || key == "board") continue;
    if (!faultless.contains(key)) {
      mistake = key + " is no section";
      return false;
    }
    const std::string figure = foreignFigure(section, faultless[key]);
    if (figure.empty() || isDocumented(figure)) continue;
    if (saysOfLess(section) && isOfSection(figure)) continue;
    mistake = key + "." + figure;
    return false;
  }
  return true;
}

std::vector<Json> samplesOf(const std::string& recording, std::string& mistake) {
  std::vector<Json> samples;
  std::istringstream lines{recording};
  for (std::string line; std::getline(lines, line);) {
    samples.push_back(Json::parse(line, nullptr, false));
    if (samples.back().is_discarded()) mistake = "a line that is none: " + line;
  }
  return samples;
}

}  // namespace

bool isPartOfReport(const std::string& found, const std::string& faultless, std::string& mistake) {
  const Json document = Json::parse(found, nullptr, false);
  if (document.is_discarded()) {
    mistake = "writes no document: " + found;
    return false;
  }
  return isPartOf(document, Json::parse(faultless), mistake);
}

bool isPartOfRecording(const std::string& found, const std::string& faultless, std::string& mistake) {
  const std::vector<Json> all = samplesOf(found, mistake);
  const std::vector<Json> expected = samplesOf(faultless, mistake);
  if (!mistake.empty()) return false;
  if (all.size() != expected.size()) {
    mistake = std::to_string(all.size()) + " lines instead of " + std::to_string(expected.size());
    return false;
  }
  for (std::size_t at = 1; at < all.size(); ++at) {
    if (!isPartOf(all[at], expected[at], mistake)) {
      mistake = "sample " + std::to_string(at) + ": " + mistake;
      return false;
    }
  }
  return true;
}

}  // namespace proof
