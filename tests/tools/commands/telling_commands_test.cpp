// The commands that report: models, info, bench.

#include <stdlib.h>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

class Telling : public ProgramTest {};

TEST_F(Telling, ModelsNamesEveryFileWithSizeChecksumAndLicence) {
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

TEST_F(Telling, ModelsSaysWhereThereAreNone) {
  expectFailure(runOzna({"models", "--models", directory_.string()}), 3, "holds neither");
  const std::string models = copyModels();
  writeFile(models + "/cascades/x32Net/proto", "");
  expectFailure(runOzna({"models", "--models", models}), 3, "x32Net/proto");
}

TEST_F(Telling, InfoListsEveryDefaultWithItsSource) {
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

TEST_F(Telling, ModelsOfTheEnvironmentCountWhereNoOptionNamesOthers) {
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

TEST_F(Telling, BenchMeasuresTheShareOfEachStage) {
  const Outcome run = runOzna({"bench", "--json", "--rounds", "1", "--points", "5",
                               OZNA_SOURCE_DIR "/samples/astronaut.png", makePicture("a.png")});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const nlohmann::ordered_json reported = parsed(run.out);
  EXPECT_EQ(reported["photographs"], 2);
  EXPECT_EQ(reported["faces"], 1);
  std::vector<std::string> names;
  double share = 0;
  double milliseconds = 0;
  for (const auto& stage : reported["stages"]) {
    names.push_back(stage["stage"].get<std::string>());
    share += stage["share"].get<double>();
    milliseconds += stage["milliseconds"].get<double>();
  }
  EXPECT_EQ(names, (std::vector<std::string>{"read", "decode", "scan", "network 2",
                                             "network 3 and calibration",
                                             "network 4 and calibration", "landmarks"}));
  EXPECT_NEAR(share, 1, 1e-6);
  EXPECT_NEAR(milliseconds, reported["milliseconds"].get<double>(), 1e-6 * milliseconds);
}

TEST_F(Telling, BenchGoesOnBehindPhotographsThatFail) {
  const Outcome run = runOzna({"bench", "--rounds", "1", at("missing.png"), makePicture("a.png")});
  expectFailure(run, 1, "missing.png: No such file or directory");
  EXPECT_EQ(run.out.rfind("1 photograph of ", 0), 0U) << run.out;
  expectFailure(runOzna({"bench", at("missing.png")}), 1, "no photograph could be timed");
  expectFailure(runOzna({"bench", "--rounds", "0", at("a.png")}), 2,
                "--rounds takes a whole number from 1 to 1000");
}

}  // namespace
}  // namespace ozna_test
