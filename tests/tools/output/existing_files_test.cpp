// What becomes of the files of former runs.

#include "tools/output/existing_files.h"

#include <opencv2/imgcodecs.hpp>

#include "tests/tools/output/copies_of_photographs.h"
#include "tests/tools/program.h"

namespace ozna_test {
namespace {

namespace fs = std::filesystem;

class ExistingFiles : public CopiesOfPhotographs {};

TEST_F(ExistingFiles, OfFormerRunsAreOverwrittenOrSkippedOnDemand) {
  const std::string a = makePicture("in/a.png", 40, 30);
  writeFile(at("out/a.png"), "old");
  const Outcome skipped = runOzna(
      {"annotate", "--json", "--skip-existing", "-o", at("out"), a, makePicture("in/b.png")});
  EXPECT_EQ(linesOf(skipped.out).size(), 1U);
  EXPECT_NE(skipped.err.find("1 photograph, 0 faces; 1 done before"), std::string::npos);
  EXPECT_EQ(readFile(at("out/a.png")), "old");
  ASSERT_EQ(runOzna({"annotate", "--overwrite", "-o", at("out"), a}).exit_code, 0);
  EXPECT_EQ(cv::imread(at("out/a.png")).cols, 40);
  EXPECT_FALSE(fs::exists(at("out/a-2.png")));
  expectFailure(runOzna({"annotate", "--overwrite", "--skip-existing", "-o", at("out"), a}), 2,
                "excludes");
  expectFailure(runOzna({"detect", "--overwrite", a}), 2, "about files that are written");
}

TEST_F(ExistingFiles, OverwritingHarmsNoPhotographNorAResultOfTheSameRun) {
  const std::string a = makePicture("in/a.png", 40, 30);
  const std::string other = makePicture("in/deep/a.png", 50, 30);
  const std::string bytes = readFile(a);
  for (const std::string& name : {a, at("in"), other}) {
    expectFailure(runOzna({"annotate", "--overwrite", "-o", at("in"), "-r", name}), 2,
                  "could replace photographs");
  }
  expectFailure(runOznaOn(a + "\n", {"annotate", "--overwrite", "-o", at("in"), "-"}), 2,
                "could replace photographs");
  EXPECT_EQ(readFile(a), bytes);
  // A photograph far down a list is protected before the first one is worked on, whoever's share it
  // is.
  const std::string far = makePicture("far/a.png", 20, 20);
  std::string list = a + "\n";
  for (int i = 0; i < 200; ++i) list += at("none" + std::to_string(i) + ".png") + "\n";
  for (const char* command : {"annotate", "crop"}) {
    for (const char* share : {"1/2", "2/2"}) {
      writeFile(at("far/a-1.png"), "of the user");
      expectFailure(runOznaOn(list + far + "\n",
                              {command, "--overwrite", "--shard", share, "-o", at("far"), "-"}),
                    2, "could replace photographs");
      EXPECT_EQ(cv::imread(far).cols, 20);
      EXPECT_EQ(readFile(at("far/a-1.png")), "of the user");
    }
  }
  ASSERT_EQ(runOzna({"annotate", "--overwrite", "-o", at("out"), a, other}).exit_code, 0);
  EXPECT_EQ(cv::imread(at("out/a.png")).cols, 40);
  EXPECT_EQ(cv::imread(at("out/a-2.png")).cols, 50);
}

}  // namespace
}  // namespace ozna_test
