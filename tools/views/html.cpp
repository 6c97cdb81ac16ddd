#include "tools/views/html.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "tools/output.h"
#include "tools/views/page/page.h"

namespace tool {

namespace {

using OrderedJson = nlohmann::ordered_json;

// Within a script, a browser looks for its end before it looks at the data: "<" stands for itself nowhere.
void writeData(const Write& write, std::string_view text) {
  while (true) {
    const std::size_t end = text.find('<');
    write(text.substr(0, end));
    if (end == std::string_view::npos) return;
    write("\\u003c");
    text.remove_prefix(end + 1);
  }
}

OrderedJson sectionsOf(const Dataset* recordings, std::size_t count) {
  std::vector<const SectionSchema*> all;
  for (std::size_t at = 0; at < count; ++at) {
    for (const SectionSchema* const section : recordings[at].sections()) {
      if (std::find(all.begin(), all.end(), section) == all.end()) all.push_back(section);
    }
  }
  OrderedJson sections = OrderedJson::array();
  for (const SectionSchema* const section : all) {
    sections.push_back({{"name", section->name}, {"title", section->title}});
  }
  return sections;
}

void begin(const Write& write, const std::string& policy) {
  write(pageBeforePolicy());
  write(policy);
  write(pageBeforeData());
}

class Html : public Export {
 public:
  Html(Write write, const ExportOptions& options) : write_{std::move(write)} {
    recordings_.emplace_back(options.name);
  }

  void begin(const Origin& origin) override { recordings_[0].begin(origin); }
  void add(const Report& report) override { recordings_[0].add(report); }
  void end() override {
    recordings_[0].end();
    writePage(write_, recordings_[0].title(), recordings_);
  }

 private:
  Write write_;
  std::vector<Dataset> recordings_;
};

}  // namespace

bool hasPage() { return !pageBehindData().empty(); }

std::string livePolicy() { return std::string{pagePolicy()} + "; connect-src 'self'"; }

void writePage(const Write& write, const std::string& title, const std::vector<Dataset>& recordings) {
  if (!hasPage()) {
    throw Failure{"this build has no page of charts: dygraphs was not found (Debian: libjs-dygraphs)"};
  }
  begin(write, std::string{pagePolicy()});
  writeData(write, "{\"title\":" + OrderedJson(title).dump() + ",\"sections\":" +
                       sectionsOf(recordings.data(), recordings.size()).dump() + ",\"recordings\":[");
  for (const Dataset& recording : recordings) {
    if (&recording != recordings.data()) write(",");
    writeData(write, recording.json());
  }
  write("]}");
  write(pageBehindData());
}

void writeLivePage(const Write& write, const std::string& title, const std::string& live) {
  begin(write, livePolicy());
  writeData(write, "{\"title\":" + OrderedJson(title).dump() + ",\"sections\":[],\"recordings\":[" +
                       Dataset{title}.json() + "],\"live\":" + live + "}");
  write(pageBehindData());
}

std::string datasetDocument(const Dataset& samples) {
  return "{\"title\":" + OrderedJson(samples.title()).dump() +
         ",\"sections\":" + sectionsOf(&samples, 1).dump() + ",\"recording\":" + samples.json() + "}";
}

std::unique_ptr<Export> openHtml(Write write, const ExportOptions& options) {
  return std::make_unique<Html>(std::move(write), options);
}

}  // namespace tool
