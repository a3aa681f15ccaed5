// The program's data as CSV.

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

class CsvOfProgram : public ProgramTest {};

TEST_F(CsvOfProgram, HasNoFormulaWhereAsked) {
  const std::string shell =
      "cd '" + directory_.string() + "' && '" OZNA_PROGRAM "' detect --format csv --safe-cells -- ";
  makePicture("=1+2.png");
  makePicture("-b.png");
  makePicture("c.png");
  const std::string names = "'=1+2.png' -b.png c.png";
  const std::string out = outputOf(shell + names);
  const std::vector<std::string> lines = linesOf(out);
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[1].rfind("./=1+2.png,", 0), 0U) << lines[1];
  EXPECT_EQ(lines[2].rfind("./-b.png,", 0), 0U) << lines[2];
  EXPECT_EQ(lines[3].rfind("c.png,", 0), 0U) << lines[3];
  // Such a record counts as that of the photograph.
  writeFile(at("former.csv"), out);
  EXPECT_EQ(
      linesOf(outputOf("cd '" + directory_.string() +
                       "' && '" OZNA_PROGRAM "' detect --json --resume former.csv -- " + names))
          .size(),
      0U);
  expectFailure(runOzna({"detect", "--json", "--safe-cells", at("c.png")}), 2, "--safe-cells");
}

TEST_F(CsvOfProgram, HasARowAFaceAndOneForEachOther) {
  const std::string none = makePicture("no,face.png");
  const Outcome run = runOzna(
      {"detect", "--format", "csv", OZNA_SOURCE_DIR "/samples/group.jpg", none, at("missing.png")});
  EXPECT_EQ(run.exit_code, 1);
  const std::vector<std::string> lines = linesOf(run.out);
  ASSERT_EQ(lines.size(), 1U + 9U + 2U);
  EXPECT_EQ(
      lines[0],
      "path,width,height,orientation,faces,face,left,top,right,bottom,score,chip,error,message,"
      "bytes,modified");
  EXPECT_EQ(lines[1].rfind(OZNA_SOURCE_DIR "/samples/group.jpg,1280,700,1,9,1,", 0), 0U)
      << lines[1];
  const std::string size = std::to_string(std::filesystem::file_size(none));
  EXPECT_EQ(lines[10].rfind("\"" + none + "\",40,30,1,0,,,,,,,,,," + size + ",20", 0), 0U)
      << lines[10];
  EXPECT_EQ(lines[11], at("missing.png") + ",,,,,,,,,,,,read,No such file or directory,,");
}

TEST_F(CsvOfProgram, HasTwoColumnsALandmark) {
  const Outcome run =
      runOzna({"align", "--points", "5", "--format", "csv", "--models", makeLandmarkModels(),
               "--box", "2,2,18,18", makePicture("a.png"), at("missing.png")});
  const std::vector<std::string> lines = linesOf(run.out);
  ASSERT_EQ(lines.size(), 3U);
  for (const std::string& line : lines) {
    EXPECT_EQ(std::count(line.begin(), line.end(), ','), 15 + 10) << line;
  }
  EXPECT_NE(lines[0].find(",x0,y0,x1,y1,x2,y2,x3,y3,x4,y4"), std::string::npos);
}

}  // namespace
}  // namespace ozna_test
