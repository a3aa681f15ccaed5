// Going on behind a previous output.

#include <chrono>
#include <cstdlib>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

class Resume : public ProgramTest {
 protected:
  Resume() {
    for (const char* name : {"a.png", "b,\"c\".png", "d.png"}) paths_.push_back(makePicture(name));
    paths_.push_back(at("missing.png"));
  }

  Outcome detect(const std::vector<std::string>& options, std::size_t count) const {
    std::vector<std::string> arguments = {"detect"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    arguments.insert(arguments.end(), paths_.begin(),
                     paths_.begin() + static_cast<std::ptrdiff_t>(count));
    return runOzna(arguments);
  }

  // Appends what a run with --resume prints to its own previous output, as a shell does.
  int goOn(const std::string& format, const std::string& file) const {
    std::string command =
        "'" OZNA_PROGRAM "' detect --format " + format + " --resume '" + file + "'";
    for (const std::string& path : paths_) command += " '" + path + "'";
    const int status = std::system((command + " >> '" + file + "' 2> /dev/null").c_str());
    return WEXITSTATUS(status);
  }

  std::vector<std::string> paths_;
};

TEST_F(Resume, GoesOnBehindAPreviousOutputOfEitherForm) {
  for (const std::string format : {"json", "csv"}) {
    SCOPED_TRACE(format);
    const std::string whole = detect({"--format", format}, 4).out;
    const std::string begun = detect({"--format", format}, 2).out;
    ASSERT_LT(begun.size(), whole.size());
    ASSERT_EQ(whole.substr(0, begun.size()), begun);
    const std::string file = at("out." + format);
    writeFile(file, begun);
    EXPECT_EQ(goOn(format, file), 1);  // The missing one is among the rest.
    EXPECT_EQ(readFile(file), whole);
    // Failed ones count as done: nothing is left.
    EXPECT_EQ(goOn(format, file), 0);
    EXPECT_EQ(readFile(file), whole);
  }
}

TEST_F(Resume, CutsOffHalfALine) {
  for (const std::string format : {"json", "csv"}) {
    SCOPED_TRACE(format);
    const std::string whole = detect({"--format", format}, 4).out;
    for (const std::size_t size :
         {whole.size() - 1, whole.size() / 2, std::size_t{30}, std::size_t{3}}) {
      const std::string file = at("out." + format);
      // Half a heading of CSV is no CSV.
      if (format == "csv" && size < 5) continue;
      writeFile(file, whole.substr(0, size));
      goOn(format, file);
      EXPECT_EQ(readFile(file), whole) << size;
    }
  }
}

TEST_F(Resume, CutsOffAPhotographWithoutAllOfItsFaces) {
  // Nine rows, of which some are there.
  paths_.insert(paths_.begin() + 1, OZNA_SOURCE_DIR "/samples/group.jpg");
  const std::string whole = detect({"--format", "csv"}, 5).out;
  const std::vector<std::string> lines = linesOf(whole);
  ASSERT_EQ(lines.size(), 1U + 1U + 9U + 3U);
  for (const std::size_t left : {std::size_t{3}, std::size_t{10}, std::size_t{11}}) {
    std::string begun;
    for (std::size_t i = 0; i < left; ++i) begun += lines[i] + "\n";
    writeFile(at("out.csv"), begun);
    goOn("csv", at("out.csv"));
    EXPECT_EQ(readFile(at("out.csv")), whole) << left;
  }
}

TEST_F(Resume, LeavesAnotherFileAsItIsAndBeginsAnew) {
  const std::string former = detect({"--format", "csv"}, 2).out;
  writeFile(at("former.csv"), former + "half a li");
  const Outcome run = detect({"--format", "csv", "--resume", at("former.csv")}, 3);
  EXPECT_EQ(readFile(at("former.csv")), former + "half a li");
  const std::vector<std::string> lines = linesOf(run.out);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].rfind("path,", 0), 0U);
  EXPECT_EQ(lines[1].rfind(paths_[2] + ",", 0), 0U);
}

TEST_F(Resume, PhotographThatWasReplacedIsDoneAgain) {
  for (const std::string format : {"json", "csv"}) {
    SCOPED_TRACE(format);
    makePicture("a.png", 40, 30);
    const std::string begun = detect({"--format", format}, 3).out;
    writeFile(at("former"), begun);
    // Another size in bytes, then the same size and another time.
    makePicture("a.png", 60, 30);
    const Outcome larger = detect({"--format", format, "--resume", at("former")}, 3);
    EXPECT_NE(larger.err.find("a.png: is another file than in the previous output"),
              std::string::npos)
        << larger.err;
    EXPECT_NE(larger.err.find("1 photograph, 0 faces; 2 done before"), std::string::npos);
    EXPECT_NE(larger.out.find(format == "csv" ? ",60,30," : "\"width\":60"), std::string::npos);
    // The later record counts.
    writeFile(at("former"), begun + linesOf(larger.out).back() + "\n");
    EXPECT_NE(detect({"--format", format, "--resume", at("former")}, 3).err.find("3 done before"),
              std::string::npos);
    std::filesystem::last_write_time(
        paths_[0], std::filesystem::file_time_type::clock::now() + std::chrono::seconds(7));
    EXPECT_NE(detect({"--format", format, "--resume", at("former")}, 3).err.find("2 done before"),
              std::string::npos);
  }
  // Outputs of before know no sizes.
  writeFile(at("former"), "{\"schema\":1,\"path\":\"" + paths_[0] + "\",\"faces\":[]}\n");
  EXPECT_NE(detect({"--json", "--resume", at("former")}, 3).err.find("1 done before"),
            std::string::npos);
  writeFile(at("former"),
            "path,width,height,orientation,faces,face,left,top,right,bottom,score,chip,error,"
            "message\n" +
                paths_[0] + ",40,30,1,0,,,,,,,,,\n");
  EXPECT_NE(detect({"--format", "csv", "--resume", at("former")}, 3).err.find("1 done before"),
            std::string::npos);
}

TEST_F(Resume, EmptyFileIsABeginning) {
  writeFile(at("out.json"), "");
  goOn("json", at("out.json"));
  EXPECT_EQ(readFile(at("out.json")), detect({"--json"}, 4).out);
}

TEST_F(Resume, NamesThatAreNoTextStayDifferent) {
  // Latin-1 names, of which both look the same in UTF-8, and the name that they look like.
  paths_ = {makePicture("\xE4.png"), makePicture("\xF6.png"), makePicture("\xEF\xBF\xBD.png")};
  for (const std::string format : {"json", "csv"}) {
    SCOPED_TRACE(format);
    const std::string whole = detect({"--format", format}, 3).out;
    for (const std::size_t done : {0, 1, 2, 3}) {
      const std::string file = at("out." + format);
      writeFile(file, detect({"--format", format}, done + (done == 0 ? 1 : 0)).out);
      if (done == 0) writeFile(file, "");
      EXPECT_EQ(goOn(format, file), 0);
      EXPECT_EQ(readFile(file), whole) << done;
    }
  }
  const std::vector<std::string> lines = linesOf(detect({"--json"}, 3).out);
  // Two hexadecimal digits a byte: the directory of the test is ASCII.
  EXPECT_EQ(parsed(lines[0])["path"], at("\xEF\xBF\xBD.png"));
  const std::string hex = parsed(lines[0])["path_hex"].get<std::string>();
  EXPECT_EQ(hex.substr(hex.size() - 10), "e42e706e67");
  EXPECT_EQ(hex.size(), 2 * at("a.png").size());
  EXPECT_FALSE(parsed(lines[2]).contains("path_hex"));
}

TEST_F(Resume, DescriptorForReadingAndWritingGoesOnAtTheEnd) {
  const std::string whole = detect({"--json"}, 4).out;
  writeFile(at("out"), detect({"--json"}, 2).out);
  std::string command = "'" OZNA_PROGRAM "' detect --json --resume '" + at("out") + "'";
  for (const std::string& path : paths_) command += " '" + path + "'";
  EXPECT_EQ(WEXITSTATUS(std::system((command + " 1<> '" + at("out") + "' 2> /dev/null").c_str())),
            1);
  EXPECT_EQ(readFile(at("out")), whole);
}

TEST_F(Resume, PicturesOfAKilledRunAreNotWrittenTwice) {
  const std::string first = OZNA_SOURCE_DIR "/samples/astronaut.png";
  const std::string second = OZNA_SOURCE_DIR "/samples/group.jpg";
  for (const std::string command : {"annotate", "crop"}) {
    SCOPED_TRACE(command);
    const std::string out = at(command);
    const std::vector<std::string> arguments = {command, "--json", "-o", out, first, second};
    const std::string whole = runOzna(arguments).out;
    const auto count = [&] { return std::distance(std::filesystem::directory_iterator(out), {}); };
    const auto files = count();
    // Killed between the pictures of the second photograph and its record.
    writeFile(at("former"), linesOf(whole)[0] + "\n");
    std::vector<std::string> again = arguments;
    again.insert(again.end(), {"--resume", at("former")});
    const Outcome run = runOzna(again);
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_EQ(run.out, linesOf(whole)[1] + "\n");
    EXPECT_EQ(count(), files);
    // A file of somebody else is never taken for that.
    for (const auto& entry : std::filesystem::directory_iterator(out)) {
      writeFile(entry.path(), "of the user");
    }
    runOzna(again);
    EXPECT_GT(count(), files);
  }
}

TEST_F(Resume, RefusesWhatIsNoPreviousOutput) {
  writeFile(at("other.txt"), "some text\n");
  writeFile(at("other.json"), "{\"no\":\"path\"}\n");
  writeFile(at("odd.json"), "{\"path\":\"a\",\"path_hex\":\"6\"}\n");
  for (const std::string& file :
       {at("other.txt"), at("other.json"), at("odd.json"), at("nowhere")}) {
    const Outcome run = detect({"--json", "--resume", file}, 2);
    expectFailure(run, 2, "--resume " + file);
    EXPECT_EQ(run.out, "");
  }
  expectFailure(detect({"--resume", at("other.json")}, 2), 2,
                "--resume needs --format json or csv");
}

}  // namespace
}  // namespace ozna_test
