// The progress bar: its line, and what a terminal sees of it.

#include "tools/run/progress.h"

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

using oznatool::progressLine;
using oznatool::ProgressState;

TEST(ProgressLine, TellsRateAndRemainingTime) {
  // 50 of 200 in 25 seconds: 2 a second, 150 more take 75 seconds.
  const ProgressState state{50, 0, 200, 25};
  EXPECT_EQ(progressLine(state, 80),
            "[##########------------------------------]  50/200   25%  2.0/s  1:15 left");
}

TEST(ProgressLine, TellsFailures) {
  // The numbers have 31 characters, brackets and blanks 4: the bar fills the other 25 of 60.
  EXPECT_EQ(progressLine({200, 3, 200, 10}, 60),
            "[" + std::string(25, '#') + "]  200/200  100%  20.0/s  3 failed");
}

TEST(ProgressLine, HasNoBarWithoutATotal) {
  EXPECT_EQ(progressLine({7, 1, std::nullopt, 2}, 80), "7  3.5/s  1 failed");
}

TEST(ProgressLine, BeginsWithoutARate) {
  // The numbers have 9 characters, brackets and blanks 4: the bar fills the other 17 of 30.
  EXPECT_EQ(progressLine({0, 0, 4, 0}, 30), "[" + std::string(17, '-') + "]  0/4    0%");
}

TEST(ProgressLine, TellsHours) {
  // 1 of 10000 in 1 second: 9999 seconds are 2 hours, 46 minutes and 39 seconds.
  EXPECT_NE(progressLine({1, 0, 10000, 1}, 80).find("2:46:39 left"), std::string::npos);
}

TEST(ProgressLine, FitsEveryWidth) {
  for (std::size_t columns = 1; columns < 120; ++columns) {
    EXPECT_LE(progressLine({50, 2, 200, 25}, columns).size(), columns);
  }
}

class ProgressOfProgram : public ProgramTest {
 protected:
  // What a terminal of 80 columns receives on standard error; standard output goes to a file.
  std::string onTerminal(const std::vector<std::string>& arguments) const {
    winsize size = {24, 80, 0, 0};
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
    if (child == 0) {
      if (std::freopen(at("out").c_str(), "w", stdout) == nullptr) _exit(126);
      std::vector<std::string> words = arguments;
      words.insert(words.begin(), OZNA_PROGRAM);
      std::vector<char*> argv;
      for (std::string& word : words) argv.push_back(word.data());
      argv.push_back(nullptr);
      execv(argv[0], argv.data());
      _exit(127);
    }
    std::string seen;
    char buffer[4096];
    for (ssize_t count = 0; (count = read(terminal, buffer, sizeof(buffer))) > 0;) {
      seen.append(buffer, static_cast<std::size_t>(count));
    }
    int status = 0;
    waitpid(child, &status, 0);
    close(terminal);
    return seen;
  }
};

TEST_F(ProgressOfProgram, TerminalSeesABarAndTheLastNumbers) {
  const std::string seen = onTerminal(
      {"detect", "--json", makePicture("a.png"), at("missing.png"), makePicture("b.png")});
  EXPECT_NE(seen.find("\r\x1b[K["), std::string::npos) << seen;
  // The last state may come too soon after the one before: the closing line has it.
  EXPECT_NE(seen.find("/3  "), std::string::npos) << seen;
  EXPECT_NE(seen.find("ozna: 3 photographs, 0 faces; 1 failed (in 0:0"), std::string::npos) << seen;
  // Data stays free of it.
  const std::vector<std::string> lines = linesOf(readFile(at("out")));
  ASSERT_EQ(lines.size(), 3U);
  for (const std::string& line : lines) EXPECT_TRUE(parsed(line).is_object());
}

TEST_F(ProgressOfProgram, IsNotShownForOnePhotographNorWhereItIsUnwanted) {
  EXPECT_EQ(onTerminal({"detect", makePicture("a.png")}), "");
  EXPECT_EQ(
      onTerminal({"detect", "--progress", "never", makePicture("a.png"), makePicture("b.png")}),
      "ozna: 2 photographs, 0 faces\r\n");
  EXPECT_NE(onTerminal({"detect", "--progress", "always", makePicture("a.png")}), "");
}

TEST_F(ProgressOfProgram, ElsewhereItIsLinesAndOnlyOnDemand) {
  const std::vector<std::string> paths = {makePicture("a.png"), makePicture("b.png")};
  EXPECT_EQ(runOzna({"detect", paths[0], paths[1]}).err, "ozna: 2 photographs, 0 faces\n");
  const Outcome run = runOzna({"detect", "--progress", "always", paths[0], paths[1]});
  EXPECT_EQ(run.err.find('\r'), std::string::npos);
  EXPECT_EQ(run.err.rfind("ozna: 2 photographs, 0 faces (in 0:0", 0), 0U) << run.err;
  expectFailure(runOzna({"detect", "--progress", "alway", paths[0]}), 2,
                "--progress takes auto, always or never, not alway; did you mean always?");
}

}  // namespace
}  // namespace ozna_test
