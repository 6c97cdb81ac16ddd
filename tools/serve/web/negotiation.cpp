#include "tools/serve/web/negotiation.h"

#include <algorithm>
#include <cstdlib>

namespace tool {

namespace {

constexpr char kOpenType[] = "application/openmetrics-text";
constexpr char kPlainType[] = "text/plain";

// One of the media types of the header: application/openmetrics-text;version=1.0.0;q=0.75
struct Range {
  std::string type;
  std::string version;
  double weight = 1;
};

// The text up to the separator, without blanks and in lower case; what is behind stays.
std::string taken(std::string_view& text, char separator) {
  const std::size_t end = std::min(text.find(separator), text.size());
  std::string word;
  for (const char c : text.substr(0, end)) {
    if (c == ' ' || c == '\t' || c == '"') continue;
    word += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  text.remove_prefix(std::min(end + 1, text.size()));
  return word;
}

Range parseRange(std::string_view text) {
  Range range;
  range.type = taken(text, ';');
  while (!text.empty()) {
    const std::string parameter = taken(text, ';');
    if (parameter.compare(0, 2, "q=") == 0) range.weight = std::strtod(parameter.c_str() + 2, nullptr);
    if (parameter.compare(0, 8, "version=") == 0) range.version = parameter.substr(8);
  }
  return range;
}

bool isOpen(const Range& range) {
  return range.type == kOpenType &&
         (range.version.empty() || range.version == "1.0.0" || range.version == "0.0.1");
}

// A range that names the older format takes it out of those that stand for any.
bool isPlain(const Range& range) {
  return range.type == kPlainType && (range.version.empty() || range.version == "0.0.4");
}
bool isAny(const Range& range) { return range.type == "*/*" || range.type == "text/*"; }

}  // namespace

Negotiated negotiate(std::string_view accept) {
  Range open{{}, {}, 0};
  double plain = -1;
  double any = 0;
  while (!accept.empty()) {
    std::size_t end = std::min(accept.find(','), accept.size());
    const Range range = parseRange(accept.substr(0, end));
    accept.remove_prefix(std::min(end + 1, accept.size()));
    if (isOpen(range) && range.weight > open.weight) open = range;
    if (isPlain(range)) plain = std::max(plain, range.weight);
    if (isAny(range)) any = std::max(any, range.weight);
  }
  if (plain < 0) plain = any;
  if (open.weight > 0 && open.weight >= plain) {
    const std::string version = open.version.empty() ? "1.0.0" : open.version;
    return {MetricFormat::kOpenMetrics, std::string{kOpenType} + "; version=" + version + "; charset=utf-8"};
  }
  return {MetricFormat::kPlainText, std::string{kPlainType} + "; version=0.0.4; charset=utf-8"};
}

}  // namespace tool
