// Files, folders and lists: which photographs are worked on, and in which order.

#include <algorithm>
#include <cstddef>

#include "tests/tools/pictures.h"
#include "tests/tools/program.h"
#include "tests/tools/under_sanitizer.h"

namespace ozna_test {
namespace {

namespace fs = std::filesystem;

class InputsOfProgram : public ProgramTest {
 protected:
  // The paths of the records.
  static std::vector<std::string> pathsOf(const Outcome& run) {
    std::vector<std::string> paths;
    for (const std::string& line : linesOf(run.out)) {
      paths.push_back(parsed(line)["path"].get<std::string>());
    }
    return paths;
  }
};

using Paths = std::vector<std::string>;

TEST_F(InputsOfProgram, FoldersStandForThePhotographsInAndBelowThem) {
  const std::string folder = at("in");
  for (const char* name : {"b.png", "a.JPG", "sub/c.png", "sub/deep/d.tiff", "z.webp",
                           ".hidden.png", ".thumbnails/e.png"}) {
    writeFile(
        at("in/" + std::string(name)),
        encoded(fs::path(name).extension() == ".JPG" ? ".jpg" : fs::path(name).extension().string(),
                gradientPicture(40, 30)));
  }
  writeFile(at("in/notes.txt"), "no photograph");
  fs::create_directory(at("in/folder.png"));
  fs::create_directory_symlink(folder, at("in/circle"));
  const std::string first = makePicture("first.png");
  const Outcome run = runOzna({"detect", "--json", "-r", first, folder});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(pathsOf(run), (Paths{first, folder + "/a.JPG", folder + "/b.png", folder + "/z.webp",
                                 folder + "/sub/c.png", folder + "/sub/deep/d.tiff"}));
}

TEST_F(InputsOfProgram, FolderWithoutRecursiveIsAnInputThatFails) {
  fs::create_directory(at("in"));
  const Outcome run = runOzna({"detect", "--json", at("in")});
  expectFailure(run, 1, "is a directory");
  EXPECT_EQ(parsed(run.out)["error"]["kind"], "read");
}

TEST_F(InputsOfProgram, FolderWithoutPhotographsIsReported) {
  fs::create_directory(at("in"));
  const Outcome run = runOzna({"detect", "--json", "-r", at("in")});
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err,
            "ozna: " + at("in") + ": no photograph in this folder\nozna: 0 photographs, 0 faces\n");
}

TEST_F(InputsOfProgram, ListOnStandardInputStandsAtItsPlace) {
  const std::string a = makePicture("a.png");
  const std::string b = makePicture("b c.png");
  const std::string c = makePicture("c.png");
  const std::string d = makePicture("d.png");
  // An empty line is no name, and the last line may lack its end.
  const Outcome run = runOznaOn(b + "\n\n" + c, {"detect", "--json", a, "-", d});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(pathsOf(run), (Paths{a, b, c, d}));
}

TEST_F(InputsOfProgram, ListMayEndNamesInNul) {
  const std::string a = makePicture("a\nb.png");
  const std::string c = makePicture("c.png");
  const std::string list = a + std::string(1, '\0') + c + std::string(1, '\0');
  EXPECT_EQ(pathsOf(runOznaOn(list, {"detect", "--json", "-0"})), (Paths{a, c}));
  EXPECT_EQ(pathsOf(runOznaOn(list, {"detect", "--json", "--null", "-"})), (Paths{a, c}));
  expectFailure(runOznaOn(list, {"detect", "-0", c}), 2, "--null");
}

TEST_F(InputsOfProgram, ListMayNameFolders) {
  makePicture("in/a.png");
  const Outcome run = runOznaOn(at("in") + "\n", {"detect", "--json", "-r", "-"});
  EXPECT_EQ(pathsOf(run), Paths{at("in") + "/a.png"});
}

TEST_F(InputsOfProgram, ListWithoutEndsOfNamesIsGivenUp) {
  const std::string a = makePicture("a.png");
  // Names that end in NUL, read as one name that ends nowhere.
  std::string list = a + "\n";
  for (int i = 0; i < 4000; ++i) list += "photograph-" + std::to_string(i) + ".jpg" + '\0';
  const Outcome run = runOznaOn(list, {"detect", "--json", "-"});
  expectFailure(run, 2, "list on standard input: a name of more than 64 KiB; --null is for");
  EXPECT_EQ(pathsOf(run), Paths{a});
  // One without any end takes neither memory nor time.
  const std::string limit = kUnderSanitizer ? "" : "ulimit -v 4000000; ";
  const Outcome endless =
      runOznaUnder({"timeout", "20", "sh", "-c", limit + "exec \"$@\" </dev/zero", "sh"},
                   {"detect", "--json", "-"});
  expectFailure(endless, 2, "a name of more than 64 KiB");
  // A shorter one names a file that cannot be, and not the one before the NUL.
  const Outcome cut = runOznaOn(a + '\0' + a + '\n', {"detect", "--json", "-"});
  expectFailure(cut, 1, "holds a NUL byte; --null is for lists");
  EXPECT_EQ(linesOf(cut.out).size(), 1U);
}

TEST_F(InputsOfProgram, ListThatCannotBeReadIsReportedInTheStatus) {
  const Outcome run = runOznaUnder({"sh", "-c", "exec \"$@\" </", "sh"}, {"detect", "--json", "-"});
  expectFailure(run, 1, "list on standard input: Is a directory");
}

TEST_F(InputsOfProgram, EmptyListHasNoRecord) {
  const Outcome run = runOznaOn("", {"detect", "--json", "-"});
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_EQ(run.out, "");
}

TEST_F(InputsOfProgram, NamesOfAListThatFailHaveRecords) {
  const Outcome run = runOznaOn("nowhere.png\n", {"detect", "--json", "-"});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(pathsOf(run), Paths{"nowhere.png"});
}

TEST_F(InputsOfProgram, NoneIsRefused) {
  expectFailure(runOzna({"detect", "--json"}), 2, "no PHOTO given");
}

TEST_F(InputsOfProgram, SharesOfARunAreItsPhotographsEachInOneShare) {
  std::vector<std::string> arguments = {"detect", "--json"};
  Paths all;
  for (int i = 0; i < 24; ++i) all.push_back(makePicture("p" + std::to_string(i) + ".ppm", 8, 8));
  arguments.insert(arguments.end(), all.begin(), all.end());
  for (const int count : {1, 2, 3}) {
    Paths together;
    for (int number = 1; number <= count; ++number) {
      std::vector<std::string> share = arguments;
      share.insert(share.end(), {"--shard", std::to_string(number) + "/" + std::to_string(count)});
      const Paths paths = pathsOf(runOzna(share));
      // In the order of the inputs, and a fair part: 24 by 3 is 8.
      EXPECT_TRUE(std::is_sorted(paths.begin(), paths.end(), [&](const auto& a, const auto& b) {
        return std::find(all.begin(), all.end(), a) < std::find(all.begin(), all.end(), b);
      }));
      EXPECT_GE(paths.size(), 2U);
      together.insert(together.end(), paths.begin(), paths.end());
    }
    std::sort(together.begin(), together.end());
    Paths expected = all;
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(together, expected) << count;
  }
  for (const char* wrong : {"0/2", "3/2", "1", "1/", "/2", "a/b", "1/2/3", "-1/2", "1/1000001"}) {
    expectFailure(runOzna({"detect", "--shard", wrong, all[0]}), 2,
                  "--shard takes I/N, share I of N with I from 1 to N, not ");
  }
}

TEST_F(InputsOfProgram, HeicPhotographsAreRead) {
  cv::Mat picture(64, 96, CV_8UC3, cv::Scalar(20, 40, 220));
  writeFile(at("a.heic"), encodedHeic(picture));
  const Outcome run =
      runOzna({"annotate", "--points", "0", "--json", "-o", at("a.png"), at("a.heic")});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(parsed(run.out)["width"], 96);
  EXPECT_EQ(parsed(run.out)["height"], 64);
  EXPECT_EQ(parsed(run.out)["orientation"], 1);
  const Outcome cut = [this] {
    const std::string whole = readFile(at("a.heic"));
    writeFile(at("cut.heic"), whole.substr(0, whole.size() / 2));
    return runOzna({"detect", "--json", at("cut.heic")});
  }();
  expectFailure(cut, 1, "cut.heic: is damaged");
}

TEST_F(InputsOfProgram, MetadataThatIsDamagedDoesNotHideTheRecord) {
  std::string jpeg = encodedWithOrientation(".jpg", gradientPicture(96, 64), 6);
  const std::size_t exif = jpeg.find("Exif");
  ASSERT_NE(exif, std::string::npos);
  for (std::size_t i = exif + 8; i < exif + 24; ++i) jpeg[i] = '\xFF';
  writeFile(at("a.jpg"), jpeg);
  const Outcome run = runOzna({"detect", "--json", at("a.jpg")});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(parsed(run.out)["width"], 96);
  EXPECT_EQ(parsed(run.out)["orientation"], 1);
}

}  // namespace
}  // namespace ozna_test
