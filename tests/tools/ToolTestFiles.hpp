#pragma once

// Paths and scratch directories for the tests of the graph file and vrx-transform.

#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <string>

#include "tools/graphfile/GraphFile.hpp"

namespace vrx::tools::test {

// The repository root, found from this file's own path.
inline std::filesystem::path sourceRoot() {
  return std::filesystem::path(__FILE__).parent_path().parent_path().parent_path();
}

// A fresh directory under the system's temporary directory, removed with the object.
class ScratchDir {
 public:
  ScratchDir() {
    static std::atomic<int> counter{0};
    path_ = std::filesystem::temp_directory_path() /
            ("vrx-tools-test-" + std::to_string(::getpid()) + "-" + std::to_string(counter++));
    std::filesystem::remove_all(path_);
    std::filesystem::create_directories(path_);
  }
  ~ScratchDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

  // Writes a file into the directory and returns its path.
  std::filesystem::path write(const std::string& name, const std::string& text) const {
    writeFileBytes(path_ / name, text);
    return path_ / name;
  }

 private:
  std::filesystem::path path_;
};

}  // namespace vrx::tools::test
