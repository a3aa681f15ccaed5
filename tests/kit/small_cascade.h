/// A cascade of a few hundred bytes that has every kind of file.

#ifndef OZNA_TESTS_KIT_SMALL_CASCADE_H_
#define OZNA_TESTS_KIT_SMALL_CASCADE_H_

#include <map>
#include <string>
#include <vector>

#include "fuzz/small_models.h"
#include "kit/oznakit.h"

namespace kit_test {

const char kList[] = "stages.txt";
const char kFirst[] = "first/prototxt-full";
const char kFirstWeights[] = "first/proto-full";
const char kLater[] = "later/prototxt-deploy";
const char kLaterWeights[] = "later/proto";
const char kLaterMean[] = "later/mean";
const char kTable[] = "cascades/x32Net-x32-3Scales-200/offsets-scales";

/// Contents by name: two stages and a calibration of three patterns.
inline std::map<std::string, std::string> smallCascade() {
  std::map<std::string, std::string> files;
  const ozna_fuzz::Directory directory = ozna_fuzz::SmallDirectory();
  for (int i = 0; i < ozna_fuzz::kDirectoryFiles; ++i) {
    files[ozna_fuzz::kDirectoryNames[i]] = directory[i];
  }
  files[kTable] = "0 0 1\n1 0 0.9\n0 -1 1.1\n";
  return files;
}

/// The same files as an option. Borrows them.
inline std::vector<oznakit_file> asOption(const std::map<std::string, std::string>& files) {
  std::vector<oznakit_file> option;
  for (const auto& [name, bytes] : files) {
    option.push_back({name.c_str(), bytes.data(), bytes.size()});
  }
  return option;
}

}  // namespace kit_test

#endif  // OZNA_TESTS_KIT_SMALL_CASCADE_H_
