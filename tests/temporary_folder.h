/// A folder for the files of one test.

#ifndef OZNA_TESTS_TEMPORARY_FOLDER_H_
#define OZNA_TESTS_TEMPORARY_FOLDER_H_

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <string>

namespace ozna_test {

/// A fresh folder that is gone again at the end of the scope. That of a death test's child, which
/// gets no further than its death, lies inside the folder of its parent and goes with it.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    const char* before = getenv(kNewest);
    if (before != nullptr) before_ = before;
    std::string pattern = parentFolder() + "/ozna_XXXXXX";
    EXPECT_NE(nullptr, mkdtemp(pattern.data()));
    path_ = pattern;
    setenv(kNewest, (ownPrefix() + path_).c_str(), /*overwrite=*/1);
  }
  ~TemporaryFolder() {
    if (before_.empty()) {
      unsetenv(kNewest);
    } else {
      setenv(kNewest, before_.c_str(), /*overwrite=*/1);
    }
    std::filesystem::remove_all(path_);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return path_; }
  /// Ends in a separator, as the root of a cascade does.
  std::string root() const { return path_ + "/"; }
  std::string file(const std::string& name) const { return root() + name; }

 private:
  /// Holds the process that made the newest folder, a blank, and the folder.
  static constexpr const char* kNewest = "OZNA_TEST_FOLDER";

  static std::string ownPrefix() { return std::to_string(getpid()) + " "; }
  std::string parentFolder() const {
    if (before_.empty() || before_.rfind(ownPrefix(), 0) == 0) {
      return std::filesystem::temp_directory_path().string();
    }
    return before_.substr(before_.find(' ') + 1);
  }

  std::string before_;  // The variable as it was; empty where it was not set.
  std::string path_;
};

}  // namespace ozna_test

#endif  // OZNA_TESTS_TEMPORARY_FOLDER_H_
