/// A current directory from which the built-in cascade finds its weights.

#ifndef OZNA_TESTS_DETECTOR_HOST_DIRECTORY_H_
#define OZNA_TESTS_DETECTOR_HOST_DIRECTORY_H_

#include <filesystem>
#include <string>

#include "tests/temporary_folder.h"

namespace detector_test {

/// Makes "a/b/c", with the source tree as "Ozna" three levels up, the current directory for the
/// length of a scope.
class HostDirectory {
 public:
  explicit HostDirectory(const std::string& source_tree)
      : before_(std::filesystem::current_path()) {
    std::filesystem::create_directory_symlink(source_tree, directory_.root() + "Ozna");
    std::filesystem::create_directories(directory_.root() + "a/b/c");
    std::filesystem::current_path(directory_.root() + "a/b/c");
  }
  ~HostDirectory() { std::filesystem::current_path(before_); }
  HostDirectory(const HostDirectory&) = delete;
  HostDirectory& operator=(const HostDirectory&) = delete;

 private:
  ozna_test::TemporaryFolder directory_;
  std::filesystem::path before_;
};

}  // namespace detector_test

#endif  // OZNA_TESTS_DETECTOR_HOST_DIRECTORY_H_
