// What a run says it did, and what it says it left out.

#include "tools/run/run_summary.h"

#include <opencv2/imgcodecs.hpp>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

namespace fs = std::filesystem;

using oznatool::kindOfFile;
using oznatool::RunSummary;
using oznatool::summaryLine;

TEST(SummaryLine, NamesTheKindsWithMostFilesFirst) {
  RunSummary summary;
  EXPECT_EQ(summaryLine(summary), "0 photographs, 0 faces");
  summary = {12, 31, 1, 0, 0, {{"mov", 1}, {"dng", 3}}};
  EXPECT_EQ(summaryLine(summary), "12 photographs, 31 faces; 1 failed; passed over: 3 dng, 1 mov");
  summary = {1, 1, 0, 4, 2, {}};
  EXPECT_EQ(summaryLine(summary), "1 photograph, 1 face; 4 done before; 2 named twice");
  summary = {};
  for (const char* kind : {"a", "b", "c", "d", "e", "f", "g", "h"}) summary.passed_over[kind] = 2;
  summary.passed_over["i"] = summary.passed_over["j"] = 1;
  EXPECT_EQ(summaryLine(summary),
            "0 photographs, 0 faces; passed over: 2 a, 2 b, 2 c, 2 d, 2 e, 2 f, 2 g, 2 h, "
            "2 of other kinds");
}

TEST(KindOfFile, IsTheEndingWhereItIsAWord) {
  EXPECT_EQ(kindOfFile("a/b.MOV"), "mov");
  EXPECT_EQ(kindOfFile("a.b/c"), "without ending");
  EXPECT_EQ(kindOfFile("c."), "without ending");
  EXPECT_EQ(kindOfFile("c.\x1b[2J"), "others");
  EXPECT_EQ(kindOfFile("c.averylongword"), "others");
}

class Summary : public ProgramTest {};

TEST_F(Summary, TellsWhatOfAFolderWasPassedOver) {
  makePicture("in/a.png");
  writeFile(at("in/b.jpg"), "none");
  for (const char* name : {"c.mov", "d.MOV", "e.txt", "sub/f.mov", "g", ".h.png"}) {
    writeFile(at("in/" + std::string(name)), "x");
  }
  fs::create_directory_symlink(at("in"), at("in/circle"));
  const Outcome run = runOzna({"detect", "--json", "--progress", "never", "-r", at("in")});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(linesOf(run.err).back(),
            "ozna: 2 photographs, 0 faces; 1 failed; passed over: 3 mov, 1 hidden, "
            "1 linked folder, 1 txt, 1 without ending");
  EXPECT_EQ(runOzna({"detect", "-q", "-r", at("in/sub")}).err,
            "ozna: " + at("in/sub") + ": no photograph in this folder\n");
}

TEST_F(Summary, CountsFacesAndStaysAwayFromASinglePhotograph) {
  const std::string face = OZNA_SOURCE_DIR "/samples/astronaut.png";
  EXPECT_EQ(runOzna({"detect", face}).err, "");
  EXPECT_EQ(runOzna({"detect", face, makePicture("a.png")}).err, "ozna: 2 photographs, 1 face\n");
  EXPECT_EQ(runOzna({"detect", "-q", face, makePicture("a.png")}).err, "");
}

TEST_F(Summary, PathThatIsNamedTwiceIsWorkedOnOnce) {
  const std::string a = makePicture("in/a.png");
  const std::string b = makePicture("in/b.png");
  const Outcome run =
      runOznaOn(a + "\n", {"detect", "--json", "-r", at("in/./b.png"), at("in"), "-", a});
  EXPECT_EQ(linesOf(run.out).size(), 2U) << run.out;
  EXPECT_EQ(run.err, "ozna: 2 photographs, 0 faces; 3 named twice\n");
}

TEST_F(Summary, FoldersOfResultsAreNotSearched) {
  makePicture("in/a.png");
  fs::copy_file(OZNA_SOURCE_DIR "/samples/astronaut.png", at("in/b.png"));
  for (int i = 0; i < 2; ++i) {
    const Outcome run = runOzna({"crop", "--json", "-o", at("in/chips"), "-r", at("in")});
    EXPECT_EQ(linesOf(run.out).size(), 2U) << run.out;
    EXPECT_NE(run.err.find("passed over: 1 folder of results"), std::string::npos) << run.err;
  }
  EXPECT_TRUE(fs::exists(at("in/chips/b-1-2.png")));
  // Where results go among the photographs, those are still worked on, and so are the two chips.
  EXPECT_EQ(linesOf(runOzna({"annotate", "-o", at("in"), "--json", "-r", at("in")}).out).size(),
            4U);
}

TEST_F(Summary, TellsOfFurtherPagesOfATiff) {
  const std::vector<cv::Mat> pages = {gradientPicture(40, 30), gradientPicture(30, 20),
                                      gradientPicture(20, 10)};
  ASSERT_TRUE(cv::imwritemulti(at("pages.tiff"), pages));
  const Outcome run = runOzna({"detect", "--json", at("pages.tiff")});
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_EQ(run.err, "ozna: " + at("pages.tiff") + ": has 3 pages, of which the first was taken\n");
  EXPECT_EQ(parsed(run.out)["width"], 40);
  EXPECT_EQ(parsed(run.out)["warnings"][0], "has 3 pages, of which the first was taken");
  const Outcome one = runOzna({"detect", "--json", makePicture("one.tiff")});
  EXPECT_EQ(one.err, "");
  EXPECT_FALSE(parsed(one.out).contains("warnings"));
}

}  // namespace
}  // namespace ozna_test
