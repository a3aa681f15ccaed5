// What libozna.so offers to the dynamic linker: the functions and classes of ozna.h, and nothing
// that could clash with a host's own copy of a library.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

namespace {

std::string outputOf(const std::string& command) {
  std::string output;
  FILE* const pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return output;
  char buffer[4096];
  while (std::fgets(buffer, sizeof(buffer), pipe) != nullptr) output += buffer;
  EXPECT_EQ(pclose(pipe), 0) << command;
  return output;
}

// Lines of nm are: address, kind, name; the name of a function has spaces.
std::set<std::string> exportedSymbols() {
  std::istringstream lines(outputOf("'" OZNA_NM "' -D -C --defined-only '" OZNA_LIBRARY "'"));
  std::set<std::string> names;
  for (std::string line; std::getline(lines, line);) {
    const std::size_t kind = line.find(' ');
    names.insert(line.substr(line.find(' ', kind + 1) + 1));
  }
  return names;
}

std::set<std::string> allowedSymbols() {
  std::ifstream file(OZNA_SOURCE_DIR "/tests/public/exported_symbols.txt");
  std::set<std::string> names;
  for (std::string line; std::getline(file, line);) {
    if (!line.empty() && line[0] != '#') names.insert(line);
  }
  return names;
}

TEST(ExportedSymbols, AreThoseOfTheAllowList) {
  const std::set<std::string> allowed = allowedSymbols();
  ASSERT_FALSE(allowed.empty());
  EXPECT_THAT(exportedSymbols(), testing::ContainerEq(allowed));
}

TEST(ExportedSymbols, BelongToTheNamespace) {
  const std::set<std::string> exported = exportedSymbols();
  ASSERT_FALSE(exported.empty());
  for (const std::string& name : exported) {
    EXPECT_EQ(name.rfind("oznalib::", 0), 0U) << name;
  }
}

TEST(ExportedSymbols, LieInALibraryOfTheStemOzna) {
  EXPECT_THAT(OZNA_LIBRARY, testing::HasSubstr("/libozna.so"));
}

}  // namespace
