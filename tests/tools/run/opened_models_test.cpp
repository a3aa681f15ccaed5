// Models that are missing or damaged: the program says which file and never dies of it.

#include <cstddef>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

namespace fs = std::filesystem;

class ModelFiles : public ProgramTest {
 protected:
  ModelFiles() : models_(copyModels()), photograph_(makePicture("a.png")) {}

  std::string model(const std::string& name) const { return models_ + "/" + name; }
  Outcome detect() const { return runOzna({"detect", "--json", "--models", models_, photograph_}); }

  // The program ends with the model status, names this file and prints nothing.
  void expectNamed(const std::string& path) const {
    SCOPED_TRACE(path);
    const Outcome run = detect();
    expectFailure(run, 3, "ozna: " + path + ": ");
    EXPECT_EQ(linesOf(run.err).size(), 1U) << run.err;
    EXPECT_EQ(run.out, "");
  }

  std::string models_;
  std::string photograph_;
};

// Every file of the default cascade.
const std::vector<std::string> kFiles = {
    "stages.txt",
    "cascades/x16Net-demo/prototxt-full",
    "cascades/x16Net-demo/proto-full",
    "cascades/x32Net/prototxt-deploy",
    "cascades/x32Net/proto",
    "cascades/x32Net/mean",
    "cascades/x64Net/prototxt-deploy",
    "cascades/x64Net/proto",
    "cascades/x64Net/mean",
    "cascades/x32Net-x32-3Scales-200/prototxt-deploy",
    "cascades/x32Net-x32-3Scales-200/proto",
    "cascades/x32Net-x32-3Scales-200/mean",
    "cascades/x32Net-x32-3Scales-200/offsets-scales",
};

TEST_F(ModelFiles, CopiedWholeAreAccepted) {
  const Outcome run = detect();
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.err, "");
}

TEST_F(ModelFiles, DirectoryMayEndInSeparator) {
  EXPECT_EQ(runOzna({"detect", "--models", models_ + "/", photograph_}).exit_code, 0);
}

TEST_F(ModelFiles, MissingDirectoryIsNamed) {
  const Outcome run = runOzna({"detect", "--models", at("nowhere"), photograph_});
  expectFailure(run, 3, at("nowhere"));
}

TEST_F(ModelFiles, EachMissingFileIsNamed) {
  for (const std::string& name : kFiles) {
    fs::rename(model(name), at("aside"));
    expectNamed(model(name));
    fs::rename(at("aside"), model(name));
  }
}

TEST_F(ModelFiles, EachEmptyFileIsNamed) {
  for (const std::string& name : kFiles) {
    fs::rename(model(name), at("aside"));
    writeFile(model(name), "");
    expectNamed(model(name));
    fs::rename(at("aside"), model(name));
  }
}

TEST_F(ModelFiles, EachDirectoryInPlaceOfAFileIsNamed) {
  for (const std::string& name : kFiles) {
    fs::rename(model(name), at("aside"));
    fs::create_directory(model(name));
    expectNamed(model(name));
    fs::remove(model(name));
    fs::rename(at("aside"), model(name));
  }
}

TEST_F(ModelFiles, EachFileCutInTheMiddleIsNamed) {
  for (const std::string& name : kFiles) {
    if (name == "stages.txt") continue;  // Cut between lines, it is a shorter cascade.
    const std::string whole = readFile(model(name));
    // An odd part, so that text files do not end between two groups of lines.
    writeFile(model(name), whole.substr(0, whole.size() / 2 + whole.size() / 17));
    expectNamed(model(name));
    writeFile(model(name), whole);
  }
}

TEST_F(ModelFiles, EachFileFullOfGarbageIsNamed) {
  std::string garbage;
  for (int i = 0; i < 5000; ++i) garbage += static_cast<char>(i * 7919 >> 3);
  for (const std::string& name : kFiles) {
    const std::string whole = readFile(model(name));
    writeFile(model(name), garbage);
    expectNamed(model(name));
    writeFile(model(name), whole);
  }
}

TEST_F(ModelFiles, DefinitionThatIsNoDefinitionIsNamed) {
  const std::string path = model("cascades/x64Net/prototxt-deploy");
  const std::string whole = readFile(path);
  writeFile(path, whole + "\nlayers { no_such_field: 1 }\n");
  expectNamed(path);
  writeFile(path, whole + "\nlayers {\n");
  expectNamed(path);
}

TEST_F(ModelFiles, WeightsOfAnotherNetworkAreNamed) {
  const std::string path = model("cascades/x32Net/proto");
  fs::copy_file(model("cascades/x64Net/proto"), path, fs::copy_options::overwrite_existing);
  expectNamed(path);
}

TEST_F(ModelFiles, NetworkWithoutProbabilitiesIsFoundOut) {
  for (const std::string name :
       {"cascades/x16Net-demo/prototxt-full", "cascades/x32Net/prototxt-deploy",
        "cascades/x64Net/prototxt-deploy", "cascades/x32Net-x32-3Scales-200/prototxt-deploy"}) {
    SCOPED_TRACE(name);
    const std::string whole = readFile(model(name));
    std::string renamed = whole;
    const std::string output = "top: \"probs\"";
    const std::size_t at_output = renamed.find(output);
    ASSERT_NE(at_output, std::string::npos);
    writeFile(model(name), renamed.replace(at_output, output.size(), "top: \"other\""));
    expectNamed(model(name));
    writeFile(model(name), whole);
  }
}

TEST_F(ModelFiles, MeanOfAnotherSizeIsNamed) {
  const std::string path = model("cascades/x64Net/mean");
  writeFile(path, readFile(model("cascades/x32Net/mean")));
  expectNamed(path);
  // 3 times 48 by 48, and 3 times 24 by 24.
  EXPECT_NE(detect().err.find("expected 6912 numbers"), std::string::npos);
  EXPECT_NE(detect().err.find("found 1728"), std::string::npos);
}

TEST_F(ModelFiles, StageListLinesMustNameDirectoryAndThreshold) {
  const std::string path = model("stages.txt");
  for (const char* text :
       {"# only a comment\n", "cascades/x16Net-demo\n", "cascades/x16Net-demo high\n",
        "cascades/x16Net-demo 0.4\n\ncascades/x32Net 0.8\n"}) {
    writeFile(path, text);
    expectNamed(path);
  }
  writeFile(path, "cascades/x16Net-demo 0.4\ncascades/nowhere 0.8\n");
  expectNamed(model("cascades/nowhere/prototxt-deploy"));
}

TEST_F(ModelFiles, LandmarkModelIsNamedWhenMissingOrDamaged) {
  const std::string path = model("models/face68.sdm");
  const std::string whole = landmarkFile(spreadShape());
  const auto expectLandmarksNamed = [&](const std::string& reason) {
    SCOPED_TRACE(reason);
    const Outcome run = runOzna({"align", "--models", models_, "--box", "2,2,20,20", photograph_});
    expectFailure(run, 3, "ozna: " + path + ": ");
    EXPECT_NE(run.err.find(reason), std::string::npos) << run.err;
    EXPECT_EQ(run.out, "");
  };
  const auto withNumber = [&](std::size_t offset, std::int32_t number) {
    std::string changed = whole;
    std::memcpy(&changed[offset], &number, sizeof(number));
    return changed;
  };

  expectLandmarksNamed("No such file or directory");
  writeFile(path, "");
  expectLandmarksNamed("expected 4 more bytes at byte 0, found the end");
  writeFile(path, whole.substr(0, whole.size() - 1));
  expectLandmarksNamed("found the end after 3");
  writeFile(path, whole.substr(0, 100));
  expectLandmarksNamed("more bytes at byte 100, found the end");
  writeFile(path, whole + "x");
  expectLandmarksNamed("expected the end at byte " + std::to_string(whole.size()) +
                       ", found 1 more bytes");
  writeFile(path, std::string(5000, '\xFF'));
  expectLandmarksNamed("expected a number of matrices of 0 to 1000000 at byte 0, found -1");
  writeFile(path, withNumber(8, 10));
  expectLandmarksNamed("expected a number of mean coordinates of 136 at byte 8, found 10");
  writeFile(path, withNumber(12, 0x7FC00000));
  expectLandmarksNamed("expected a mean coordinate of -1.000000 to 2.000000 at byte 12, found nan");
  // Behind the counts and the mean shape: unused numbers, maps, levels, the level, two words, blur
  // levels, face width.
  const std::size_t tail = 12 + 136 * 4;
  writeFile(path, withNumber(tail + 4, 1));
  expectLandmarksNamed("expected the mean of a stage of 1 by 8704");
  writeFile(path, withNumber(tail + 12, 6));
  expectLandmarksNamed("expected at least 4 blur levels in an octave");
  writeFile(path, withNumber(tail + 24, 0));
  expectLandmarksNamed("expected blur levels in an octave of 1 to 16");
  writeFile(path, withNumber(tail + 28, 0));
  expectLandmarksNamed("expected a face width of 8 to 512");
}

TEST_F(ModelFiles, AlignNeedsBothModels) {
  writeFile(model("models/face68.sdm"), landmarkFile(spreadShape()));
  fs::remove(model("cascades/x32Net/proto"));
  const Outcome run = runOzna({"align", "--models", models_, photograph_});
  expectFailure(run, 3, model("cascades/x32Net/proto"));
}

}  // namespace
}  // namespace ozna_test
