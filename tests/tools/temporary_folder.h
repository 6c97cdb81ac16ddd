#ifndef TESSARY_TESTS_TOOLS_TEMPORARY_FOLDER_H
#define TESSARY_TESTS_TOOLS_TEMPORARY_FOLDER_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "tessary_testXXXXXX").string();
    path_ = ::mkdtemp(name.data());
  }
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  std::string file(const std::string& name) const { return path_ + "/" + name; }

  std::string read(const std::string& name) const {
    std::ifstream stream{file(name), std::ios::binary};
    return {std::istreambuf_iterator<char>{stream}, {}};
  }

  void append(const std::string& name, const std::string& text) const {
    std::ofstream{file(name), std::ios::app | std::ios::binary} << text;
  }

 private:
  std::string path_;
};

#endif
