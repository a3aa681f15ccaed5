// The help of the program and of its commands.

#include "tools/arguments/help.h"

#include "tests/tools/program.h"
#include "tools/arguments/options.h"

namespace ozna_test {
namespace {

class Help : public ProgramTest {};

TEST_F(Help, FitsTheScreen) {
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"--help"}, {"detect", "--help"}, {"align", "--help"}}) {
    const Outcome run = runOzna(arguments);
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_NE(run.out.find("ozna"), std::string::npos);
    const std::vector<std::string> lines = linesOf(run.out);
    EXPECT_LE(lines.size(), arguments.size() == 1 ? 24U : 48U);
    for (const std::string& line : lines) EXPECT_LE(line.size(), 80U) << line;
  }
}

TEST_F(Help, TellsEveryOptionInTwoScreens) {
  for (const std::string& command : oznatool::commandNames()) {
    SCOPED_TRACE(command);
    const Outcome run = runOzna({command, "--help"});
    EXPECT_EQ(run.exit_code, 0);
    const std::vector<std::string> lines = linesOf(run.out);
    EXPECT_LE(lines.size(), 48U);
    for (const std::string& line : lines) EXPECT_LE(line.size(), 80U) << line;
    for (const std::string& option : oznatool::optionNames(command)) {
      if (option == "--help" || option == "-h") continue;
      EXPECT_NE(run.out.find(option), std::string::npos) << option;
    }
  }
}

}  // namespace
}  // namespace ozna_test
