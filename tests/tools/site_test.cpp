#include "tools/serve/web/site.h"

#include <gtest/gtest.h>

#include "tests/tools/machine.h"
#include "tools/figures/time_units.h"
#include "tools/serve/web/metrics.h"
#include "tools/serve/web/negotiation.h"
#include "tools/serve/web/streams.h"
#include "tools/views/html.h"
#include "tools/views/json.h"

namespace tool {
namespace {

constexpr std::size_t kMuch = std::size_t{1} << 30U;

std::string trimmed(std::string line) {
  line.pop_back();
  return line;
}

TEST(Negotiation, GivesTheFormatOfTheGreatestWeight) {
  constexpr char kOpen[] = "application/openmetrics-text; version=1.0.0; charset=utf-8";
  constexpr char kPlain[] = "text/plain; version=0.0.4; charset=utf-8";
  const struct {
    const char* accept;
    const char* type;
  } rows[] = {
      {"", kPlain},
      {"*/*", kPlain},
      {"application/json", kPlain},
      {"text/plain;version=0.0.4", kPlain},
      {"application/openmetrics-text", kOpen},
      {"Application/OpenMetrics-Text ; Version=\"1.0.0\"", kOpen},
      // Prometheus 2.42
      {"application/openmetrics-text;version=1.0.0,application/openmetrics-text;version=0.0.1;q=0.75,"
       "text/plain;version=0.0.4;q=0.5,*/*;q=0.1",
       kOpen},
      {"application/openmetrics-text;version=0.0.1,text/plain;q=0.5",
       "application/openmetrics-text; version=0.0.1; charset=utf-8"},
      {"text/plain;q=0.9,application/openmetrics-text;q=0.3", kPlain},
      {"text/plain;q=0.9,application/openmetrics-text;q=0.9", kOpen},
      {"application/openmetrics-text;q=0.5,text/plain;q=0,*/*;q=0.9", kOpen},
      {"application/openmetrics-text;q=0", kPlain},
      {"application/openmetrics-text;version=2.0.0", kPlain},
      {"application/openmetrics-text;q=nonsense,;;,=", kPlain},
  };
  for (const auto& row : rows) {
    const Negotiated got = negotiate(row.accept);
    EXPECT_EQ(got.contentType, row.type) << row.accept;
    EXPECT_EQ(got.format == MetricFormat::kOpenMetrics, got.contentType[0] == 'a') << row.accept;
  }
}

TEST(Address, IsAHostAPortOrBoth) {
  const struct {
    const char* text;
    const char* meant;
  } rows[] = {{"9000", "127.0.0.1:9000"},    {"bench7", "bench7:9464"}, {"Bench7:80", "bench7:80"},
              {":9000", "0.0.0.0:9000"},     {"[::1]", "[::1]:9464"},   {"[::]:1", "[::]:1"},
              {"127.0.0.1:0", "127.0.0.1:0"}};
  for (const auto& row : rows) {
    const std::optional<Address> address = parseAddress(row.text);
    EXPECT_EQ(address ? addressText(*address) : "none", row.meant);
  }
  for (const char* const text :
       {"", "bench7:", "bench7:http", "70000", "a:70000", "[::1", "::1", "a b", "http://a/"}) {
    EXPECT_FALSE(parseAddress(text)) << text;
  }
}

TEST(Hosts, AreThoseThatNobodyElseCanHave) {
  for (const char* const host :
       {"127.0.0.1:9464", "127.0.0.1", "localhost:1", "LocalHost", "[::1]:9464", "127.9.9.9"}) {
    EXPECT_TRUE(isAllowedHost(host, "127.0.0.1")) << host;
  }
  for (const char* const host :
       {"", "bench7", "bench7:9464", "10.0.0.1", "127.0.0.1.evil.example", "localhost.evil.example",
        "evil.example:127.0.0.1", "127.1", "127.0.0.1@evil", "[::1", "localhost:x", ":9464"}) {
    EXPECT_FALSE(isAllowedHost(host, "127.0.0.1")) << host;
  }
  EXPECT_TRUE(isAllowedHost("BENCH7:9464", "bench7"));
  EXPECT_FALSE(isAllowedHost("bench8:9464", "bench7"));
  // Every address: a name may be anybody's.
  EXPECT_TRUE(isAllowedHost("10.0.0.1:9464", "0.0.0.0"));
  EXPECT_TRUE(isAllowedHost("[fe80::1]:9464", "::"));
  EXPECT_FALSE(isAllowedHost("evil.example:9464", "0.0.0.0"));
}

// A board called front, of which the samples of some seconds have come.
class SiteTest : public testing::Test {
 protected:
  SiteTest() {
    fleet_.known = machine::kSchemas;
    addBoard("front");
  }

  void addBoard(const std::string& name, std::size_t bytes = kMuch) {
    fleet_.boards.push_back(
        std::make_unique<Board>(name, true, HistoryLimit{3600 * kNanosecondsInSecond, bytes},
                                [this](const std::string& text) { said_ += text + "\n"; }));
  }

  Board& board(std::size_t at = 0) { return *fleet_.boards[at]; }

  // As if they had come just now.
  void feed(std::int64_t from, std::int64_t to, std::size_t at = 0) {
    if (from == 1) board(at).line(trimmed(recordHeader(machine::origin())), fleet_.known, now_);
    for (std::int64_t second = from; second < to; ++second) {
      board(at).line(trimmed(recordLine(machine::report(second))), fleet_.known, now_);
    }
  }

  Answer get(const std::string& path, const std::string& host = "127.0.0.1",
             const std::string& method = "GET") {
    Request request;
    request.method = method;
    request.path = path.substr(0, path.find('?'));
    if (path.find("?board=") != std::string::npos) request.query["board"] = path.substr(path.find('=') + 1);
    request.host = host;
    return site_.answer(request);
  }

  std::string header(const Answer& answer, const std::string& name) {
    for (const auto& [key, value] : answer.headers) {
      if (key == name) return value;
    }
    return "none";
  }

  std::int64_t now_ = monotonicTime();
  std::string said_;
  Fleet fleet_;
  Site site_{fleet_, "127.0.0.1", 3600 * kNanosecondsInSecond};
};

TEST_F(SiteTest, RefusesOtherNamesAndMethods) {
  EXPECT_EQ(get("/metrics", "evil.example").status, 403U);
  EXPECT_EQ(get("/metrics", "").status, 403U);
  const Answer post = get("/metrics", "localhost", "POST");
  EXPECT_EQ(post.status, 405U);
  EXPECT_EQ(header(post, "Allow"), "GET, HEAD");
  EXPECT_EQ(get("/nothing").status, 404U);
  for (const char* const path : {"/", "/events", "/recording"}) {
    EXPECT_EQ(get(std::string{path} + "?board=rear").status, 404U) << path;
  }
}

TEST_F(SiteTest, EveryAnswerIsLockedDown) {
  for (const char* const path : {"/", "/metrics", "/events", "/recording", "/favicon.ico", "/nothing"}) {
    const Answer answer = get(path);
    EXPECT_EQ(header(answer, "X-Content-Type-Options"), "nosniff") << path;
    EXPECT_EQ(header(answer, "Cache-Control"), "no-store") << path;
    const std::string policy = header(answer, "Content-Security-Policy");
    EXPECT_EQ(policy.find("default-src 'none'"), 0U) << path;
    EXPECT_NE(policy.find("frame-ancestors 'none'"), std::string::npos) << path;
    EXPECT_EQ(policy.find("unsafe"), std::string::npos) << path;
  }
}

TEST_F(SiteTest, ThePageMayAskItsServerAndNobodyElse) {
  if (!hasPage()) GTEST_SKIP() << "this build has no page";
  const Answer page = get("/");
  EXPECT_NE(page.body.find("connect-src 'self'"), std::string::npos);
  EXPECT_NE(header(page, "Content-Security-Policy").find("; connect-src 'self'"), std::string::npos);
  EXPECT_NE(page.body.find("\"live\":{\"board\":\"front\",\"keep_ms\":3600000}"), std::string::npos);
}

// The lines of the text that are of a board, or of the boards.
std::string linesOf(const std::string& text, const std::string& what) {
  std::string lines;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = text.find('\n', at);
    const std::string line = text.substr(at, end + 1 - at);
    if (line[0] != '#' && line.find(what) != std::string::npos) lines += line;
    at = end + 1;
  }
  return lines;
}

TEST_F(SiteTest, ABoardIsUpForThreeIntervalsAndThenHasNothingElse) {
  const auto front = [&](std::int64_t ms) {
    return linesOf(metricsText(fleet_, MetricFormat::kPlainText, now_ + ms * kNanosecondsInSecond / 1000),
                   "board=\"front\"");
  };
  EXPECT_EQ(front(0), "tessary_up{board=\"front\"} 0\n") << "no sample has come";
  feed(1, 3);
  EXPECT_EQ(front(3000),
            "tessary_cpu_core_clock_hertz{board=\"front\",core=\"0\"} 1804800000\n"
            "tessary_cpu_core_clock_hertz{board=\"front\",core=\"1\"} 300000000\n"
            "tessary_cpu_core_load_ratio{board=\"front\",core=\"0\"} 0.75\n"
            "tessary_cpu_core_load_ratio{board=\"front\",core=\"1\"} 0\n"
            "tessary_cpu_load_ratio{board=\"front\"} 0.375\n"
            "tessary_up{board=\"front\"} 1\n");
  EXPECT_EQ(front(3001), "tessary_up{board=\"front\"} 0\n");
  board().end();
  EXPECT_EQ(front(0), "tessary_up{board=\"front\"} 0\n");
  EXPECT_EQ(board().state(now_), BoardState::kEnded);
  feed(3, 4);
  EXPECT_EQ(board().state(now_), BoardState::kUp) << "it has come back";
}

TEST_F(SiteTest, FamiliesAreWholeWithSeveralBoards) {
  addBoard("re\"ar");
  feed(1, 2);
  feed(1, 2, 1);
  const std::string open = metricsText(fleet_, MetricFormat::kOpenMetrics, now_);
  EXPECT_NE(open.find("# TYPE tessary_cpu_load_ratio gauge\n# UNIT tessary_cpu_load_ratio ratio\n"
                      "# HELP tessary_cpu_load_ratio of all cores\n"
                      "tessary_cpu_load_ratio{board=\"front\"} "
                      "0.375\ntessary_cpu_load_ratio{board=\"re\\\"ar\"} 0.375\n#"),
            std::string::npos)
      << open;
  EXPECT_NE(open.find("# TYPE tessary_serve_samples counter\n"), std::string::npos);
  EXPECT_NE(open.find("\ntessary_serve_samples_total 2\n"), std::string::npos);
  EXPECT_EQ(open.substr(open.size() - 6), "# EOF\n");
  const std::string plain = metricsText(fleet_, MetricFormat::kPlainText, now_);
  EXPECT_EQ(plain.find("# EOF"), std::string::npos);
  EXPECT_EQ(plain.find("# UNIT"), std::string::npos);
  EXPECT_NE(plain.find("# TYPE tessary_serve_samples_total counter\n"), std::string::npos);
}

TEST_F(SiteTest, ASeriesThatALineHasTwiceIsThereOnce) {
  Report report = machine::report(1);
  std::vector<Row>& cores = report.sections[0].tables[1].rows;
  cores.push_back(cores[0]);
  board().add(report, "", now_);
  EXPECT_EQ(
      linesOf(metricsText(fleet_, MetricFormat::kPlainText, now_), "load_ratio{board=\"front\",core=\"0\"}"),
      "tessary_cpu_core_load_ratio{board=\"front\",core=\"0\"} 0.75\n");
}

TEST_F(SiteTest, ABrokenLineIsCountedAndSaidOnce) {
  feed(1, 2);
  board().line("{\"cpu\":", fleet_.known, now_);
  board().line("rubbish", fleet_.known, now_);
  feed(2, 3);
  EXPECT_EQ(board().samples(), 2U);
  EXPECT_EQ(board().badLines(), 2U);
  EXPECT_EQ(said_, "front: skipped a line: no JSON from byte 8 on\n");
}

TEST_F(SiteTest, ARecordingOfALaterVersionIsReadWithAWarning) {
  board().line(R"({"schema":"tessary-record","version":9})", fleet_.known, now_);
  feed(2, 3);
  EXPECT_EQ(board().samples(), 1U);
  EXPECT_EQ(said_, "front: of version 9, which is newer than this tool's 2\n");
}

TEST_F(SiteTest, ATimeThatNoMachineHasIsABrokenLine) {
  feed(1, 2);
  for (const char* const line : {R"({"boot_time_ns":9223372036854775807})", R"({"boot_time_ns":-1})",
                                 R"({"boot_time_ns":5,"interval_ms":1e300})",
                                 R"({"schema":"tessary-record","boot_time_ns":-9223372036854775808})"}) {
    board().line(line, fleet_.known, now_);
  }
  // Leaps that are none each, but have no end together.
  for (int leap = 0; leap < 100; ++leap) {
    board().line(R"({"boot_time_ns":1000000000000000000})", fleet_.known, now_);
    board().line(R"({"boot_time_ns":0})", fleet_.known, now_);
  }
  EXPECT_EQ(board().badLines(), 4U);
  EXPECT_EQ(board().samples(), 201U);
}

TEST_F(SiteTest, ARecordingsFileHasANameThatIsNothingElse) {
  addBoard("../re\"ar");
  EXPECT_EQ(header(get("/recording?board=../re\"ar"), "Content-Disposition"),
            "attachment; filename=\"___re_ar.jsonl\"");
}

TEST_F(SiteTest, TheRecordingHasTheVeryLines) {
  feed(1, 4);
  const Answer answer = get("/recording?board=front");
  std::string text;
  while (answer.stream->next(text) == BodyStream::kText) {
  }
  std::string expected = recordHeader(machine::origin());
  for (int second = 1; second < 4; ++second) expected += recordLine(machine::report(second));
  EXPECT_EQ(text, expected);
}

// All that a viewer is sent, at once.
std::string sent(BodyStream& stream) {
  std::string all;
  std::string text;
  while (stream.next(text) == BodyStream::kText) {
    all += text;
    text.clear();
  }
  return all;
}

std::size_t count(const std::string& text, const std::string& what) {
  std::size_t found = 0;
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++found;
  return found;
}

TEST_F(SiteTest, AViewerGetsWhatIsKeptAndThenWhatComes) {
  feed(1, 4);
  Viewer viewer{fleet_, board(), ""};
  const std::string first = sent(viewer);
  EXPECT_EQ(first.find("retry: 1000\n\nevent: begin\n"), 0U) << first;
  EXPECT_NE(first.find("event: boards\ndata: [{\"name\":\"front\",\"shown\":true,\"state\":\"up\"}]\n\n"),
            std::string::npos);
  EXPECT_NE(first.find("\"times\":[1000,2000,3000]"), std::string::npos);
  feed(4, 5);
  const std::string second = sent(viewer);
  EXPECT_NE(second.find("\"times\":[4000]"), std::string::npos) << second;
  EXPECT_EQ(second.find("event: b"), std::string::npos) << "it knows the boards";

  // A page whose connection broke goes on where it was; an id of another run of the server says nothing.
  const std::size_t id = first.find("id: ") + 4;
  Viewer again{fleet_, board(), first.substr(id, first.find('\n', id) - id)};
  const std::string rest = sent(again);
  EXPECT_EQ(rest.find("event: begin"), std::string::npos);
  EXPECT_NE(rest.find("\"times\":[4000]"), std::string::npos) << rest;
  // What it cannot have seen yet it does not wait for.
  Viewer ahead{fleet_, board(), std::to_string(fleet_.startNs) + "-999"};
  feed(5, 6);
  EXPECT_NE(sent(ahead).find("\"times\":[5000]"), std::string::npos);
  for (const char* const place : {"1-2", "", "-", "0-99999999999999999999999"}) {
    Viewer other{fleet_, board(), place};
    EXPECT_EQ(sent(other).find("retry: 1000\n\nevent: begin\n"), 0U) << place;
  }
}

TEST_F(SiteTest, ASlowViewerLosesSamplesAndIsCounted) {
  addBoard("small", 4000);
  feed(1, 2, 1);
  Viewer viewer{fleet_, board(1), ""};
  sent(viewer);
  EXPECT_EQ(fleet_.viewers, 1U);
  feed(2, 500, 1);
  const std::uint64_t left = board(1).history().end() - board(1).history().first();
  ASSERT_GT(left, 0U);
  const std::string later = sent(viewer);
  EXPECT_EQ(fleet_.lostSamples, 498 - left);
  EXPECT_EQ(count(later, "event: samples"), 1U);
  EXPECT_NE(later.find("499000]"), std::string::npos) << later;
}

TEST_F(SiteTest, ThereIsAnEndOfViewersAndDownloads) {
  std::vector<Answer> answers;
  for (const char* const path : {"/events", "/recording"}) {
    unsigned status = 200;
    for (int tried = 0; tried < 200 && status == 200; ++tried) {
      answers.push_back(get(path));
      status = answers.back().status;
    }
    EXPECT_EQ(status, 503U) << path;
  }
  answers.clear();
  for (const char* const path : {"/events", "/recording"}) EXPECT_EQ(get(path).status, 200U) << path;
  EXPECT_EQ(fleet_.viewers, 0U);
  EXPECT_EQ(fleet_.downloads, 0U);
}

}  // namespace
}  // namespace tool
