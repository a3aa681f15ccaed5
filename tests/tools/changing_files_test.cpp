// Model files that become a pipe while they are looked at: what counts is the file that is open, not what its name
// stood for before.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <functional>
#include <thread>

#include "tests/tools/program.h"
#include "tools/cascade_files.h"
#include "tools/checksum.h"
#include "tools/exit_code.h"
#include "tools/landmark_file.h"

namespace ozna_test {
namespace {

class ChangingFiles : public ProgramTest {
 protected:
  // Looks at a model file again and again, while it and a pipe take each other's name. A process that waits for the pipe
  // is ended by the alarm, and the test fails.
  void lookWhileItChanges(const std::string& path, const std::function<void()>& look) const {
    const std::string pipe = at("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const pid_t child = fork();
    if (child == 0) {
      alarm(60);
      std::atomic<bool> done{false};
      std::thread changes([&] {
        while (!done) renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, pipe.c_str(), RENAME_EXCHANGE);
      });
      int whole = 0, refused = 0;
      for (int i = 0; whole + refused < 2000 || (i < 20000 && (whole == 0 || refused == 0)); ++i) {
        try {
          look();
          ++whole;
        } catch (const oznatool::Failure&) {
          ++refused;
        }
      }
      done = true;
      changes.join();
      _exit(whole > 0 && refused > 0 ? 0 : 2);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_FALSE(WIFSIGNALED(status)) << "signal " << WTERMSIG(status);
    EXPECT_EQ(WEXITSTATUS(status), 0) << "2: the file was never seen as both";
  }
};

TEST_F(ChangingFiles, AStageListThatBecomesAPipeIsNotWaitedFor) {
  writeFile(at("stages.txt"), "cascades/x16Net-demo 0.4\n");
  lookWhileItChanges(at("stages.txt"), [&] { oznatool::readModelText(at("stages.txt")); });
}

TEST_F(ChangingFiles, ALandmarkModelThatBecomesAPipeIsNotWaitedFor) {
  std::filesystem::copy_file(OZNA_SOURCE_DIR "/public/models/face68.sdm", at("face68.sdm"));
  lookWhileItChanges(at("face68.sdm"), [&] { oznatool::checkLandmarkFile(at("face68.sdm")); });
}

TEST_F(ChangingFiles, AFileThatBecomesAPipeGetsNoChecksumAndIsNotWaitedFor) {
  writeFile(at("proto"), "weights");
  lookWhileItChanges(at("proto"), [&] {
    if (oznatool::sha256OfFile(at("proto")).empty()) {
      throw oznatool::Failure(oznatool::kExitModel, "no checksum");
    }
  });
}

}  // namespace
}  // namespace ozna_test
