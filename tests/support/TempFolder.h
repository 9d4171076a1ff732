#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace vigilo::test {

// A folder of the test's own, gone at the end of its life.
class TempFolder {
 public:
  TempFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vigilo-test.XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
    path_ = pattern;
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::string& path() const { return path_; }
  std::string path(const std::string& below) const { return path_ + "/" + below; }

  // Writes a file below the folder, with the folders above it.
  void write(const std::string& below, const std::string& content) const {
    std::filesystem::create_directories(std::filesystem::path(path(below)).parent_path());
    std::ofstream(path(below), std::ios::binary) << content;
  }
  std::string read(const std::string& below) const {
    std::ifstream file(path(below), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::string path_;
};

}  // namespace vigilo::test
