#include "tools/serve/web/site.h"

#include <nlohmann/json.hpp>

#include "tools/figures/time_units.h"
#include "tools/serve/web/metrics.h"
#include "tools/serve/web/negotiation.h"
#include "tools/serve/web/streams.h"
#include "tools/views/html.h"

namespace tool {

namespace {

constexpr unsigned kStatusOk = 200;
constexpr unsigned kNoContent = 204;
constexpr unsigned kForbidden = 403;
constexpr unsigned kNotFound = 404;
constexpr unsigned kNotAllowed = 405;
constexpr unsigned kNotImplemented = 501;
constexpr unsigned kUnavailable = 503;

constexpr std::size_t kMostViewers = 64;
constexpr std::size_t kMostDownloads = 8;
constexpr char kPlainText[] = "text/plain; charset=utf-8";
constexpr char kNothingAllowed[] = "default-src 'none'; frame-ancestors 'none'";

Answer words(unsigned status, const std::string& text) {
  return {status, {{"Content-Type", kPlainText}}, text + "\n", nullptr};
}

// A name that a file can have anywhere.
std::string fileName(const std::string& board) {
  std::string name;
  for (const char c : board) {
    const bool isPlain =
        (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-';
    name += isPlain ? c : '_';
  }
  return name + ".jsonl";
}

bool has(const Answer& answer, const char* name) {
  for (const auto& [key, value] : answer.headers) {
    if (key == name) return true;
  }
  return false;
}

// Nothing is stored, guessed, shown within another page or read by one.
void secure(Answer& answer) {
  answer.headers.insert(answer.headers.end(), {{"Cache-Control", "no-store"},
                                               {"X-Content-Type-Options", "nosniff"},
                                               {"X-Frame-Options", "DENY"},
                                               {"Referrer-Policy", "no-referrer"},
                                               {"Cross-Origin-Opener-Policy", "same-origin"},
                                               {"Cross-Origin-Resource-Policy", "same-origin"}});
  constexpr char kPolicy[] = "Content-Security-Policy";
  if (!has(answer, kPolicy)) answer.headers.emplace_back(kPolicy, kNothingAllowed);
}

}  // namespace

Answer Site::answer(const Request& request) {
  Answer answer = route(request);
  secure(answer);
  return answer;
}

Answer Site::route(const Request& request) {
  if (!isAllowedHost(request.host, listening_)) {
    return words(kForbidden, "not served under this name: use an address, or the name that --listen has");
  }
  if (request.method != "GET" && request.method != "HEAD") {
    Answer answer = words(kNotAllowed, "GET and HEAD only");
    answer.headers.emplace_back("Allow", "GET, HEAD");
    return answer;
  }
  if (request.path == "/") return page(request);
  if (request.path == "/events") return events(request);
  if (request.path == "/metrics") return metrics(request);
  if (request.path == "/recording") return recording(request);
  if (request.path == "/favicon.ico") return {kNoContent, {}, {}, nullptr};  // browsers ask, and complain
  return words(kNotFound, "there are /, /metrics, /events and /recording");
}

// Without a name, the first one.
const Board* Site::boardOf(const Request& request) const {
  const auto name = request.query.find("board");
  return name == request.query.end() ? fleet_.boards.front().get() : fleet_.find(name->second);
}

Answer Site::page(const Request& request) {
  const Board* const board = boardOf(request);
  if (board == nullptr) return words(kNotFound, "no board of this name");
  if (!hasPage()) return words(kNotImplemented, "this build has no page of charts: dygraphs was not found");
  const nlohmann::json live{{"board", board->name()}, {"keep_ms", keepNs_ / kNanosecondsInMillisecond}};
  Answer answer{kStatusOk, {{"Content-Type", "text/html; charset=utf-8"}}, {}, nullptr};
  writeLivePage([&](std::string_view text) { answer.body += text; }, board->name(), live.dump());
  answer.headers.emplace_back("Content-Security-Policy", livePolicy() + "; frame-ancestors 'none'");
  return answer;
}

Answer Site::events(const Request& request) {
  const Board* const board = boardOf(request);
  if (board == nullptr) return words(kNotFound, "no board of this name");
  if (fleet_.viewers >= kMostViewers) return words(kUnavailable, "too many viewers");
  return {kStatusOk,
          {{"Content-Type", "text/event-stream"}},
          {},
          std::make_unique<Viewer>(fleet_, *board, request.lastEventId)};
}

Answer Site::metrics(const Request& request) {
  const Negotiated negotiated = negotiate(request.accept);
  const std::int64_t start = monotonicTime();
  Answer answer{kStatusOk,
                {{"Content-Type", negotiated.contentType}, {"Vary", "Accept"}},
                metricsText(fleet_, negotiated.format, start),
                nullptr};
  fleet_.scrapeSeconds = static_cast<double>(monotonicTime() - start) / kNanosecondsInSecond;
  return answer;
}

Answer Site::recording(const Request& request) {
  const Board* const board = boardOf(request);
  if (board == nullptr) return words(kNotFound, "no board of this name");
  if (fleet_.downloads >= kMostDownloads) return words(kUnavailable, "too many downloads");
  return {kStatusOk,
          {{"Content-Type", "application/jsonl"},
           {"Content-Disposition", "attachment; filename=\"" + fileName(board->name()) + "\""}},
          {},
          std::make_unique<Download>(fleet_, *board)};
}

}  // namespace tool
