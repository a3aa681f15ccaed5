// Where annotated photographs are written to.

#include "tools/output/annotation_output.h"

#include <opencv2/imgcodecs.hpp>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

namespace fs = std::filesystem;

class AnnotationOutput : public ProgramTest {
 protected:
  // Aligns a box from 20,30 to 60,80 in each photograph.
  Outcome annotate(const std::string& target, const std::vector<std::string>& photographs) const {
    std::vector<std::string> arguments = {
        "align", "--models", makeLandmarkModels(), "--box", "20,30,60,80", "--annotate", target};
    arguments.insert(arguments.end(), photographs.begin(), photographs.end());
    return runOzna(arguments);
  }
};

TEST_F(AnnotationOutput, ReplacesNamedFile) {
  writeFile(at("out.png"), "something old");
  const Outcome run = annotate(at("out.png"), {makePicture("a.png", 100, 100)});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(cv::imread(at("out.png")).size(), cv::Size(100, 100));
}

TEST_F(AnnotationOutput, RefusesToReplaceThePhotograph) {
  const std::string photograph = makePicture("a.png");
  const std::string bytes = readFile(photograph);
  fs::create_symlink(photograph, at("link.png"));
  for (const std::string& target : {photograph, at("./a.png"), at("link.png")}) {
    expectFailure(annotate(target, {photograph}), 2, "would overwrite the photograph");
  }
  EXPECT_EQ(readFile(photograph), bytes);
}

TEST_F(AnnotationOutput, SeveralPhotographsGoIntoADirectoryThatIsMade) {
  const Outcome run =
      annotate(at("new/deep"), {makePicture("a.png", 100, 90), makePicture("b.jpg", 100, 80)});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(cv::imread(at("new/deep/a.png")).rows, 90);
  EXPECT_EQ(cv::imread(at("new/deep/b.jpg")).rows, 80);
}

TEST_F(AnnotationOutput, EqualNamesDoNotCollide) {
  const Outcome run =
      annotate(at("out"), {makePicture("x/a.png", 100, 90), makePicture("y/a.png", 100, 80),
                           makePicture("z/a.png", 100, 70)});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(cv::imread(at("out/a.png")).rows, 90);
  EXPECT_EQ(cv::imread(at("out/a-2.png")).rows, 80);
  EXPECT_EQ(cv::imread(at("out/a-3.png")).rows, 70);
}

TEST_F(AnnotationOutput, DirectoryOfThePhotographsThemselvesIsSafe) {
  const std::string first = makePicture("a.png", 100, 90);
  const std::string second = makePicture("b.png", 100, 80);
  const std::string bytes = readFile(first);
  EXPECT_EQ(annotate(directory_.string(), {first, second}).exit_code, 0);
  EXPECT_EQ(readFile(first), bytes);
  EXPECT_EQ(cv::imread(at("a-2.png")).rows, 90);
  EXPECT_EQ(cv::imread(at("b-2.png")).rows, 80);
}

TEST_F(AnnotationOutput, OnePhotographMayGoIntoADirectoryToo) {
  fs::create_directory(at("there"));
  const std::string photograph = makePicture("a.png", 100, 90);
  EXPECT_EQ(annotate(at("there"), {photograph}).exit_code, 0);
  EXPECT_EQ(annotate(at("made/"), {photograph}).exit_code, 0);
  EXPECT_TRUE(fs::is_regular_file(at("there/a.png")));
  EXPECT_TRUE(fs::is_regular_file(at("made/a.png")));
}

TEST_F(AnnotationOutput, NameWithoutWritableFormatGetsOne) {
  const std::string photograph = at("photograph");
  fs::copy_file(makePicture("a.png", 100, 90), photograph);
  EXPECT_EQ(annotate(at("out/"), {photograph}).exit_code, 0);
  EXPECT_EQ(cv::imread(at("out/photograph.png")).rows, 90);
}

TEST_F(AnnotationOutput, TargetThatCannotBeWrittenIsReportedWithItsOwnStatus) {
  const std::string photograph = makePicture("a.png", 100, 90);
  writeFile(at("file"), "no directory");
  const std::vector<std::pair<std::string, std::vector<std::string>>> wrong = {
      {at("nowhere/out.png"), {photograph}},
      {at("out.unknown"), {photograph}},
      {at("out"), {photograph}},
      {at("file/out.png"), {photograph}},
      {at("file"), {photograph, photograph}},
      {"/proc/out/", {photograph}},
  };
  for (const auto& [target, photographs] : wrong) {
    SCOPED_TRACE(target);
    expectFailure(annotate(target, photographs), 4, target);
  }
  EXPECT_EQ(readFile(at("file")), "no directory");
}

TEST_F(AnnotationOutput, DeviceIsReportedAndTheDataStillPrinted) {
  fs::create_symlink("/dev/full", at("full.png"));
  const Outcome run = annotate(at("full.png"), {makePicture("a.png", 100, 90)});
  expectFailure(run, 4, "full.png: is not a regular file");
  EXPECT_NE(run.out, "");
}

TEST_F(AnnotationOutput, ImageTooLargeForItsFormatIsReported) {
  // A JPEG file has at most 65535 columns.
  const Outcome run = annotate(at("out.jpg"), {makePicture("wide.png", 66000, 90)});
  expectFailure(run, 4, "cannot be written as .jpg");
  EXPECT_FALSE(fs::exists(at("out.jpg")));
}

}  // namespace
}  // namespace ozna_test
