// Pipes, sockets and devices where files are expected.

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstddef>
#include <thread>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

// A program that waits for a pipe waits for ever: it is stopped then, and has the status 124.
const std::vector<std::string> kForAWhile = {"timeout", "20"};

class SpecialFiles : public ProgramTest {
 protected:
  // A pipe, a socket and a link to a device, with the reasons that are reported.
  std::vector<std::pair<std::string, std::string>> make(const std::string& folder) const {
    std::filesystem::create_directories(at(folder));
    EXPECT_EQ(mkfifo(at(folder + "/a.jpg").c_str(), 0600), 0);
    const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    at(folder + "/b.jpg").copy(address.sun_path, sizeof(address.sun_path) - 1);
    EXPECT_EQ(bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    close(descriptor);
    std::filesystem::create_symlink("/dev/zero", at(folder + "/c.jpg"));
    return {{at(folder + "/a.jpg"), "is a pipe and not a file"},
            {at(folder + "/b.jpg"), "is a socket and not a file"},
            {at(folder + "/c.jpg"), "is a device and not a file"}};
  }

  static void expectRecords(const Outcome& run,
                            const std::vector<std::pair<std::string, std::string>>& special) {
    EXPECT_EQ(run.exit_code, 1) << run.err;
    const std::vector<std::string> lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), special.size() + 1);
    for (std::size_t i = 0; i < special.size(); ++i) {
      const nlohmann::ordered_json line = parsed(lines[i]);
      EXPECT_EQ(line["path"], special[i].first);
      EXPECT_EQ(line["error"]["kind"], "read");
      EXPECT_EQ(line["error"]["message"], special[i].second);
    }
    EXPECT_EQ(parsed(lines.back())["width"], 40);
  }
};

TEST_F(SpecialFiles, OfAFolderAreReportedAndTheOthersGoOn) {
  const auto special = make("in");
  makePicture("in/d.png");
  expectRecords(runOznaUnder(kForAWhile, {"detect", "--json", "-r", at("in")}), special);
}

TEST_F(SpecialFiles, ThatAreNamedAreReportedAndTheOthersGoOn) {
  const auto special = make("in");
  std::vector<std::string> arguments = {"detect", "--json"};
  for (const auto& [path, reason] : special) arguments.push_back(path);
  arguments.push_back(makePicture("d.png"));
  expectRecords(runOznaUnder(kForAWhile, arguments), special);
}

TEST_F(SpecialFiles, AsSidecarsAreLeftAlone) {
  const std::vector<std::string> arguments = {"detect", "--json", "--xmp", at("xmp"),
                                              makePicture("a.png")};
  for (const auto& [path, reason] : make("special")) {
    SCOPED_TRACE(reason);
    std::filesystem::create_directories(at("xmp"));
    std::filesystem::rename(path, at("xmp/a.png.xmp"));
    const auto type = std::filesystem::symlink_status(at("xmp/a.png.xmp")).type();
    expectFailure(runOznaUnder(kForAWhile, arguments), 4, "a.png.xmp: " + reason);
    EXPECT_EQ(std::filesystem::symlink_status(at("xmp/a.png.xmp")).type(), type);
  }
}

TEST_F(SpecialFiles, AsTargetsAreLeftAlone) {
  mkfifo(at("out.png").c_str(), 0600);
  expectFailure(
      runOznaUnder(kForAWhile, {"detect", "--annotate", at("out.png"), makePicture("a.png")}), 4,
      "out.png: is not a regular file");
  EXPECT_TRUE(std::filesystem::is_fifo(at("out.png")));
}

TEST_F(SpecialFiles, AsPreviousOutputAndModelsAreRefused) {
  mkfifo(at("former").c_str(), 0600);
  expectFailure(runOznaUnder(kForAWhile,
                             {"detect", "--json", "--resume", at("former"), makePicture("a.png")}),
                2, "former: is a pipe and not a file");
  const std::string models = copyModels();
  std::filesystem::remove(models + "/cascades/MODEL.md");
  mkfifo((models + "/cascades/MODEL.md").c_str(), 0600);
  const Outcome run = runOznaUnder(kForAWhile, {"models", "--models", models});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_NE(run.out.find("licence: not stated"), std::string::npos) << run.out;
}

TEST_F(SpecialFiles, InterruptEndsTheWaitForAPipe) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const std::string out = at("out");
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[0], STDIN_FILENO);
    dup2(open(out.c_str(), O_WRONLY | O_CREAT, 0600), STDOUT_FILENO);
    execl(OZNA_PROGRAM, "ozna", "detect", "--json", "-j", "1",
          OZNA_SOURCE_DIR "/samples/astronaut.png", "/dev/stdin", nullptr);
    _exit(127);
  }
  // The record of the first photograph shows that the handler is there and the pipe is next.
  for (int i = 0; i < 600 && (!std::filesystem::exists(out) || readFile(out).empty()); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  kill(child, SIGINT);
  int status = 0;
  pid_t ended = 0;
  for (int i = 0; i < 100 && ended == 0; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    ended = waitpid(child, &status, WNOHANG);
  }
  if (ended == 0) {
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
  }
  close(ends[0]);
  close(ends[1]);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 130);
  EXPECT_EQ(linesOf(readFile(out)).size(), 1U);
}

}  // namespace
}  // namespace ozna_test
