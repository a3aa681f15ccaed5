// What an installation of the program's component holds beside the program.

#include <cstdlib>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

class Installation : public ProgramTest {};

TEST_F(Installation, HoldsManualAndCompletionsWhereShellsLookForThem) {
  const std::string command = OZNA_CMAKE " --install '" OZNA_BINARY_DIR
                                         "' --component tools --prefix '" +
                              at("prefix") + "' > '" + at("log") + "' 2>&1";
  ASSERT_EQ(std::system(command.c_str()), 0) << readFile(at("log"));
  const std::vector<std::pair<std::string, std::string>> files = {
      {"man/man1/ozna.1", "docs/ozna.1"},
      {"bash-completion/completions/ozna", "tools/completions/ozna.bash"},
      {"zsh/site-functions/_ozna", "tools/completions/_ozna"}};
  for (const auto& [installed, source] : files) {
    EXPECT_EQ(readFile(at("prefix/share/" + installed)), readFile(OZNA_SOURCE_DIR "/" + source));
  }
  EXPECT_TRUE(std::filesystem::is_regular_file(at("prefix/bin/ozna")));
  // What bash does with the file of a command's name.
  const std::string loaded = "bash -c \". '" + at("prefix/share/bash-completion/completions/ozna") +
                             "' && complete -p ozna\" | grep -q -- '-F _ozna ozna'";
  EXPECT_EQ(std::system(loaded.c_str()), 0);
}

}  // namespace
}  // namespace ozna_test
