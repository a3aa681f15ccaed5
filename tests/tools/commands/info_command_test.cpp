// The command that describes the program, its defaults and the machine.

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

class InfoCommand : public ProgramTest {};

TEST_F(InfoCommand, ListsEveryDefaultWithItsSource) {
  const Outcome run = runOzna({"info", "--json"});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const nlohmann::ordered_json reported = parsed(run.out);
  EXPECT_EQ(reported["version"], OZNA_VERSION);
  EXPECT_GE(reported["instruction_set"].size(), 2U);
  EXPECT_GE(reported["libraries"].size(), 4U);
  std::vector<std::string> options;
  for (const auto& entry : reported["defaults"]) {
    options.push_back(entry["option"].get<std::string>());
    EXPECT_FALSE(entry["value"].get<std::string>().empty()) << options.back();
    EXPECT_FALSE(entry["source"].get<std::string>().empty()) << options.back();
  }
  for (const char* option :
       {"--models", "--jobs", "--memory", "--preset", "--min-face-fraction", "--max-image-side"}) {
    EXPECT_NE(std::find(options.begin(), options.end(), option), options.end()) << option;
  }
  const Outcome text = runOzna({"info", "--models", copyModels()});
  EXPECT_NE(text.out.find("given by --models"), std::string::npos);
  EXPECT_NE(text.out.find("ozna " OZNA_VERSION), std::string::npos);
}

}  // namespace
}  // namespace ozna_test
