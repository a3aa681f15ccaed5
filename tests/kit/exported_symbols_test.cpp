// What liboznakit.so offers to the dynamic linker: the functions of oznakit.h and nothing else.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

namespace {

std::set<std::string> exportedSymbols() {
  FILE* const pipe = popen("'" OZNA_NM "' -D --defined-only '" OZNAKIT_LIBRARY "'", "r");
  if (pipe == nullptr) return {};
  std::string output;
  char buffer[4096];
  while (std::fgets(buffer, sizeof(buffer), pipe) != nullptr) output += buffer;
  EXPECT_EQ(pclose(pipe), 0);
  std::istringstream lines(output);
  std::set<std::string> names;
  for (std::string address, kind, name; lines >> address >> kind >> name;) names.insert(name);
  return names;
}

TEST(KitSymbols, AreThoseOfTheAllowList) {
  std::ifstream file(OZNA_SOURCE_DIR "/tests/kit/exported_symbols.txt");
  std::set<std::string> allowed;
  for (std::string line; std::getline(file, line);) {
    if (!line.empty() && line[0] != '#') allowed.insert(line);
  }
  ASSERT_FALSE(allowed.empty());
  EXPECT_THAT(exportedSymbols(), testing::ContainerEq(allowed));
}

}  // namespace
