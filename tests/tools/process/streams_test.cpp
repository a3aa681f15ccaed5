// Standard streams that are closed, or whose reader goes away.

#include "tools/process/streams.h"

#include <sys/wait.h>

#include <csignal>
#include <cstdlib>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

class Streams : public ProgramTest {};

TEST_F(Streams, ClosedPipeEndsQuietly) {
  const std::string photograph = makePicture("a.png");
  // The reader is gone before the program starts to write.
  const std::string command = "{ sleep 0.2; '" OZNA_PROGRAM "' detect '" + photograph + "' 2> '" +
                              at("err") + "'; echo $? > '" + at("status") + "'; } | true";
  ASSERT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(readFile(at("err")), "");
  EXPECT_EQ(readFile(at("status")), std::to_string(128 + SIGPIPE) + "\n");
}

TEST_F(Streams, ReaderThatLeavesEndsARunOfManyWithWholeLines) {
  makePicture("in/0.png", 8, 8);
  // Their lines are twice what a pipe holds: with fewer, a run may end before its reader has begun.
  for (int i = 1; i < 1000; ++i) {
    std::filesystem::copy_file(at("in/0.png"), at("in/" + std::to_string(i) + ".png"));
  }
  const std::string command = "{ '" OZNA_PROGRAM "' detect --json -j 2 -r '" + at("in") + "' 2> '" +
                              at("err") + "'; echo $? > '" + at("status") + "'; } | head -n 2 > '" +
                              at("out") + "'";
  ASSERT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(readFile(at("err")), "");
  EXPECT_EQ(readFile(at("status")), std::to_string(128 + SIGPIPE) + "\n");
  const std::vector<std::string> lines = linesOf(readFile(at("out")));
  ASSERT_EQ(lines.size(), 2U);
  for (const std::string& line : lines) EXPECT_TRUE(parsed(line).is_object());
}

TEST_F(Streams, ClosedStandardStreamsHarmNoFile) {
  const std::string photograph = makePicture("a.png");
  const std::string before = readFile(photograph);
  const std::string command = "'" OZNA_PROGRAM "' detect '" + photograph + "' <&- >&- 2>&-";
  const int status = std::system(command.c_str());
  EXPECT_EQ(WEXITSTATUS(status), 4);
  EXPECT_EQ(readFile(photograph), before);
}

}  // namespace
}  // namespace ozna_test
