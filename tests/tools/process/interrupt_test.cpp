// The interrupt key.

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstddef>
#include <opencv2/core.hpp>
#include <thread>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

class Interrupt : public ProgramTest {
 protected:
  // Starts the program with a pipe as its standard input.
  void start(const std::vector<std::string>& arguments) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    child_ = fork();
    if (child_ == 0) {
      dup2(ends[0], STDIN_FILENO);
      close(ends[0]);
      close(ends[1]);
      dup2(open(at("out").c_str(), O_WRONLY | O_CREAT, 0600), STDOUT_FILENO);
      dup2(open(at("err").c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
      std::vector<std::string> words = arguments;
      words.insert(words.begin(), OZNA_PROGRAM);
      std::vector<char*> argv;
      for (std::string& word : words) argv.push_back(word.data());
      argv.push_back(nullptr);
      execv(argv[0], argv.data());
      _exit(127);
    }
    close(ends[0]);
    input_ = ends[1];
  }

  // Waits until the output has as many lines.
  void awaitLines(std::size_t count) const {
    for (int i = 0; i < 600; ++i) {
      if (std::filesystem::exists(at("out")) && linesOf(readFile(at("out"))).size() >= count) {
        return;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    FAIL() << "no " << count << " lines within half a minute";
  }

  int interruptAndWait(int signal = SIGINT) {
    kill(child_, signal);
    int status = 0;
    waitpid(child_, &status, 0);
    close(input_);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  pid_t child_ = -1;
  int input_ = -1;
};

TEST_F(Interrupt, EndsARunThatWaitsForItsList) {
  const std::string names = makePicture("a.png") + "\n" + makePicture("b.png") + "\n";
  start({"detect", "--json", "-"});
  ASSERT_EQ(write(input_, names.data(), names.size()), static_cast<ssize_t>(names.size()));
  // Records come while the list goes on.
  awaitLines(2);
  EXPECT_EQ(interruptAndWait(), 130);
  EXPECT_EQ(linesOf(readFile(at("out"))).size(), 2U);
  EXPECT_EQ(readFile(at("err")),
            "ozna: 2 photographs, 0 faces\nozna: interrupted after 2; continue with --resume " +
                at("out") + "\n");
}

TEST_F(Interrupt, RequestToEndIsOneToo) {
  std::vector<std::string> arguments = {"detect", "--json", "-j", "1", "--min-face", "20"};
  for (int i = 0; i < 40; ++i) {
    arguments.push_back(at(std::to_string(i) + ".jpg"));
    std::filesystem::create_symlink(OZNA_SOURCE_DIR "/samples/group.jpg", arguments.back());
  }
  start(arguments);
  awaitLines(1);
  EXPECT_EQ(interruptAndWait(SIGTERM), 143);
  const std::size_t done = linesOf(readFile(at("out"))).size();
  EXPECT_LT(done, 40U);
  EXPECT_EQ(linesOf(readFile(at("err"))).back(), "ozna: interrupted after " + std::to_string(done) +
                                                     " of 40; continue with --resume " + at("out"));
}

TEST_F(Interrupt, SecondOneEndsTheProgramAtOnce) {
  // A photograph that takes many seconds, so that both interrupts come while it is worked on.
  writeFile(at("large.jpg"), encoded(".jpg", cv::Mat(6000, 6000, CV_8UC1, cv::Scalar(90))));
  const std::string names = makePicture("a.png") + "\n" + at("large.jpg") + "\n";
  start({"detect", "--json", "-j", "1", "--min-face", "8", "-"});
  ASSERT_EQ(write(input_, names.data(), names.size()), static_cast<ssize_t>(names.size()));
  awaitLines(1);
  // The large one is decoded by now, or about to be.
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  kill(child_, SIGINT);
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  kill(child_, SIGINT);
  int status = 0;
  waitpid(child_, &status, 0);
  close(input_);
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGINT);
  EXPECT_EQ(linesOf(readFile(at("out"))).size(), 1U);
}

TEST_F(Interrupt, LeavesWholeRecordsOfTheFirstInputs) {
  constexpr std::size_t kCount = 400;
  std::vector<std::string> arguments = {"detect", "--json", "-j", "2"};
  const std::string photograph = OZNA_SOURCE_DIR "/samples/group.jpg";
  for (std::size_t i = 0; i < kCount; ++i) {
    arguments.push_back(at(std::to_string(i) + ".jpg"));
    std::filesystem::create_symlink(photograph, arguments.back());
  }
  start(arguments);
  awaitLines(3);
  EXPECT_EQ(interruptAndWait(), 130);
  const std::string out = readFile(at("out"));
  const std::vector<std::string> lines = linesOf(out);
  ASSERT_GE(lines.size(), 3U);
  EXPECT_LT(lines.size(), kCount);
  EXPECT_EQ(out.back(), '\n');
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const nlohmann::ordered_json line = parsed(lines[i]);
    EXPECT_EQ(line["path"], arguments[i + 4]);
    EXPECT_EQ(line["faces"].size(), 9U);
  }
}

}  // namespace
}  // namespace ozna_test
