#include "bench/subjects.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

namespace bench {

std::vector<Row>& rows() {
  static std::vector<Row> all;
  return all;
}

std::vector<Subject>& subjects() {
  static std::vector<Subject> all;
  return all;
}

bool add(Row row, std::vector<Subject> list) {
  for (Subject& subject : list) {
    subject.row = row.name;
    subjects().push_back(std::move(subject));
  }
  rows().push_back(std::move(row));
  return true;
}

bool addTo(const std::string& row, Who who, std::function<std::function<void()>()> prepare) {
  subjects().push_back({row, who, std::move(prepare)});
  return true;
}

Quiet::Quiet() : output_{::dup(STDOUT_FILENO)} {
  std::fflush(stdout);
  const int nowhere = ::open("/dev/null", O_WRONLY);
  ::dup2(nowhere, STDOUT_FILENO);
  ::close(nowhere);
}

Quiet::~Quiet() {
  std::fflush(stdout);
  ::dup2(output_, STDOUT_FILENO);
  ::close(output_);
}

}  // namespace bench
