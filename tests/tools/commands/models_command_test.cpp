// The command that lists the models.

#include <stdlib.h>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

class ModelsCommand : public ProgramTest {};

TEST_F(ModelsCommand, NamesEveryFileWithSizeChecksumAndLicence) {
  const std::string models = copyModels();
  writeFile(models + "/models/face68.sdm", landmarkFile(spreadShape()));
  writeFile(models + "/models/MODEL.md", "# A model\n\n**Use.** For tests\nalone.\n\nMore.\n");
  const Outcome run = runOzna({"models", "--json", "--models", models});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const nlohmann::ordered_json reported = parsed(run.out);
  EXPECT_EQ(reported["directory"], models + "/");
  ASSERT_EQ(reported["models"].size(), 2U);
  EXPECT_EQ(reported["models"][0]["name"], "cascade");
  EXPECT_EQ(reported["models"][0]["files"].size(), 13U);
  EXPECT_EQ(reported["models"][1]["name"], "landmarks");
  EXPECT_EQ(reported["models"][1]["licence"], "For tests alone.");
  for (const auto& model : reported["models"]) {
    EXPECT_FALSE(model["licence"].get<std::string>().empty());
    for (const auto& file : model["files"]) {
      const std::string path = file["path"].get<std::string>();
      EXPECT_EQ(file["bytes"], std::filesystem::file_size(path));
      const std::string sum = outputOf("sha256sum '" + path + "'");
      EXPECT_EQ(file["sha256"], sum.substr(0, 64)) << path;
    }
  }
  const Outcome text = runOzna({"models", "--models", models});
  EXPECT_NE(text.out.find("licence: For tests alone."), std::string::npos);
  EXPECT_NE(text.out.find(reported["models"][1]["files"][0]["sha256"].get<std::string>()),
            std::string::npos);
}

TEST_F(ModelsCommand, SaysWhereThereAreNone) {
  expectFailure(runOzna({"models", "--models", directory_.string()}), 3, "holds neither");
  const std::string models = copyModels();
  writeFile(models + "/cascades/x32Net/proto", "");
  expectFailure(runOzna({"models", "--models", models}), 3, "x32Net/proto");
}

TEST_F(ModelsCommand, OfTheEnvironmentCountWhereNoOptionNamesOthers) {
  const std::string models = copyModels();
  setenv("OZNA_MODELS", models.c_str(), 1);
  const Outcome of_variable = runOzna({"info"});
  setenv("OZNA_MODELS", at("nowhere").c_str(), 1);
  const Outcome of_nothing = runOzna({"detect", makePicture("a.png")});
  const Outcome of_option = runOzna({"info", "--models", models});
  setenv("OZNA_MODELS", "", 1);
  const Outcome of_empty = runOzna({"info"});
  unsetenv("OZNA_MODELS");
  EXPECT_NE(of_variable.out.find("given by OZNA_MODELS"), std::string::npos) << of_variable.out;
  EXPECT_NE(of_variable.out.find(models), std::string::npos) << of_variable.out;
  expectFailure(of_nothing, 3,
                at("nowhere") + ": no such directory of models, given by OZNA_MODELS");
  EXPECT_NE(of_option.out.find("given by --models"), std::string::npos) << of_option.out;
  EXPECT_EQ(of_empty.out, runOzna({"info"}).out);
}

}  // namespace
}  // namespace ozna_test
