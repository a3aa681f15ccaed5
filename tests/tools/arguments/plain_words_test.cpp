// What people type who have not read the manual, and the short forms of the output.

#include <cstddef>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

const std::string kFace = OZNA_SOURCE_DIR "/samples/astronaut.png";

class PlainWords : public ProgramTest {};

TEST_F(PlainWords, HelpIsACommandToo) {
  EXPECT_EQ(runOzna({"help"}).out, runOzna({"--help"}).out);
  EXPECT_EQ(runOzna({"help", "crop"}).out, runOzna({"crop", "--help"}).out);
  expectFailure(runOzna({"help", "crob"}), 2, "unknown command crob; did you mean crop?");
  EXPECT_EQ(runOzna({"-V"}).out, "ozna " OZNA_VERSION "\n");
}

TEST_F(PlainWords, PhotographAloneIsSearchedForFaces) {
  const Outcome run = runOzna({kFace});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.out, runOzna({"detect", kFace}).out);
  EXPECT_EQ(linesOf(runOzna({kFace, "--json"}).out).size(), 1U);
  expectFailure(runOzna({"missing.jpg"}), 1, "missing.jpg: No such file or directory");
}

TEST_F(PlainWords, FolderIsAnsweredWithTheOptionThatIsMissing) {
  makePicture("in/a.png");
  expectFailure(runOzna({"detect", at("in")}), 1, at("in") + ": is a directory; -r looks into it");
  expectFailure(runOzna({at("in")}), 1, "-r looks into it");
}

TEST_F(PlainWords, OptionBeforeTheCommandNamesItsPlace) {
  expectFailure(runOzna({"--json", kFace}), 2,
                "--json stands behind a command, as in ozna detect --json");
}

TEST_F(PlainWords, FarFetchedGuessesAreKept) {
  for (const char* word : {"foo", "list", "find", "scan", "x"}) {
    const Outcome run = runOzna({word});
    expectFailure(run, 2, "unknown command " + std::string(word) + " (see ozna --help)");
  }
}

TEST_F(PlainWords, ResumeNamesTheFormatsThatItNeeds) {
  writeFile(at("former"), "");
  expectFailure(runOzna({"detect", "--resume", at("former"), kFace}), 2,
                "--resume needs --format json or csv");
}

TEST_F(PlainWords, TextIsALineAFaceUnlessPointsAreAskedFor) {
  // Photograph, heading, face.
  EXPECT_EQ(linesOf(runOzna({"align", kFace}).out).size(), 3U);
  EXPECT_EQ(linesOf(runOzna({"align", "--points", "68", kFace}).out).size(), 3U + 68U);
  EXPECT_EQ(linesOf(runOzna({"align", "--points", "5", kFace}).out).size(), 3U + 5U);
  EXPECT_EQ(parsed(runOzna({"align", "--json", kFace}).out)["faces"][0]["points"].size(), 68U);
}

TEST_F(PlainWords, ListsThePhotographsWithFacesOrThoseWithout) {
  const std::string none = makePicture("none.png");
  const std::string missing = at("missing.png");
  const Outcome with = runOzna({"detect", "-l", kFace, none, missing});
  EXPECT_EQ(with.exit_code, 1);
  EXPECT_EQ(with.out, kFace + "\n");
  EXPECT_EQ(runOzna({"detect", "-L", kFace, none, missing}).out, none + "\n");
  EXPECT_EQ(runOzna({"detect", "--without-faces", "--with-faces", none}).exit_code, 2);
  EXPECT_EQ(runOzna({"detect", "-l", "--json", none}).exit_code, 2);
}

TEST_F(PlainWords, FacesOfALowerScoreAreLeftOut) {
  const nlohmann::ordered_json all =
      parsed(runOzna({"detect", "--json", OZNA_SOURCE_DIR "/samples/group.jpg"}).out)["faces"];
  ASSERT_GT(all.size(), 2U);
  // Best first: this many have at least the score of the middle one.
  const float middle = all[all.size() / 2]["score"].get<float>();
  std::size_t expected = 0;
  for (const auto& face : all) expected += face["score"].get<float>() >= middle ? 1 : 0;
  ASSERT_LT(expected, all.size());
  const std::string least = all[all.size() / 2]["score"].dump();
  const Outcome run =
      runOzna({"detect", "--json", "--min-score", least, OZNA_SOURCE_DIR "/samples/group.jpg"});
  EXPECT_EQ(parsed(run.out)["faces"].size(), expected) << least;
  for (const char* wrong : {"-0.1", "1.1", "nan", "high"}) {
    expectFailure(runOzna({"detect", "--min-score", wrong, kFace}), 2, "--min-score takes 0 to 1");
  }
}

TEST_F(PlainWords, SidecarsAreNamedAsThePhotoManagerWants) {
  const std::string photograph = makePicture("a.png");
  ASSERT_EQ(runOzna({"detect", "--xmp", at("xmp"), photograph}).exit_code, 0);
  EXPECT_TRUE(std::filesystem::exists(at("xmp/a.png.xmp")));
  ASSERT_EQ(runOzna({"detect", "--xmp", at("xmp"), "--xmp-name", "stem", photograph}).exit_code, 0);
  EXPECT_TRUE(std::filesystem::exists(at("xmp/a.xmp")));
  expectFailure(runOzna({"detect", "--xmp-name", "stem", photograph}), 2, "--xmp");
}

}  // namespace
}  // namespace ozna_test
