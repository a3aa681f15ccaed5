/// A folder for the files of one test.

#ifndef OZNA_TESTS_TEMPORARY_FOLDER_H_
#define OZNA_TESTS_TEMPORARY_FOLDER_H_

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

namespace ozna_test {

/// A fresh folder that is gone again at the end of the scope. That of a death test's child, which
/// gets no further than its death, lies inside the folder of its parent and goes with it.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    const char* parent = getenv(kParent);
    if (parent != nullptr) outer_ = parent;
    std::string pattern =
        (outer_.empty() ? testing::TempDir() + "/" : outer_ + "/") + "ozna_XXXXXX";
    EXPECT_NE(nullptr, mkdtemp(pattern.data()));
    path_ = pattern;
    setenv(kParent, path_.c_str(), /*overwrite=*/1);
  }
  ~TemporaryFolder() {
    if (outer_.empty()) {
      unsetenv(kParent);
    } else {
      setenv(kParent, outer_.c_str(), /*overwrite=*/1);
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
  static constexpr const char* kParent = "OZNA_TEST_FOLDER";
  std::string outer_;  // Empty for the folder of the process.
  std::string path_;
};

}  // namespace ozna_test

#endif  // OZNA_TESTS_TEMPORARY_FOLDER_H_
