// Files of results: never half, never in place of another one, with nothing left behind.

#include "tools/output/output_file.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <opencv2/core.hpp>
#include <set>

#include "tests/tools/program.h"
#include "tools/process/exit_code.h"

namespace ozna_test {
namespace {

namespace fs = std::filesystem;
using oznatool::Bytes;

class OutputFile : public ProgramTest {
 protected:
  void replace(const std::string& path, const std::string& text) const {
    oznatool::replaceFile(path, text.data(), text.size());
  }

  std::set<std::string> namesIn(const std::string& folder) const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) {
      names.insert(entry.path().filename().string());
    }
    return names;
  }

  // What a script of the shell does in a mount namespace of its own, where /mnt is a small disk.
  // $1 is the program, $2 the test's directory. Its exit status, or -1 where none can be had.
  int onSmallDisk(const std::string& script) const {
    const std::string quoted =
        "exec 2>'" + at("err") + "'; mount -t tmpfs -o size=64k none /mnt && " + script;
    const auto shell = [&](const std::string& options) {
      const pid_t child = fork();
      if (child == 0) {
        execlp("unshare", "unshare", options.c_str(), "sh", "-c", quoted.c_str(), "sh",
               OZNA_PROGRAM, directory_.c_str(), nullptr);
        _exit(127);
      }
      int status = 0;
      waitpid(child, &status, 0);
      return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    };
    const char* const options = geteuid() == 0 ? "-m" : "-rm";
    const std::string probe =
        std::string("unshare ") + options + " sh -c 'mount -t tmpfs none /mnt' 2> /dev/null";
    if (std::system(probe.c_str()) != 0) return -1;
    return shell(options);
  }
};

TEST_F(OutputFile, KeepsModeAndOwnerOfAReplacedFile) {
  writeFile(at("a"), "old");
  ASSERT_EQ(chmod(at("a").c_str(), 0640), 0);
  const bool is_root = geteuid() == 0;
  if (is_root) {
    ASSERT_EQ(chown(at("a").c_str(), 12345, 54321), 0);
  }
  replace(at("a"), "new");
  struct stat status;
  ASSERT_EQ(stat(at("a").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
  EXPECT_EQ(status.st_uid, is_root ? 12345 : geteuid());
  EXPECT_EQ(status.st_gid, is_root ? 54321 : getegid());
  EXPECT_EQ(readFile(at("a")), "new");
}

TEST_F(OutputFile, NewOneHasTheModeThatTheMaskLeaves) {
  const mode_t before = umask(0027);
  replace(at("a"), "new");
  umask(before);
  struct stat status;
  ASSERT_EQ(stat(at("a").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
}

TEST_F(OutputFile, LinksStayAndTheirFilesAreReplaced) {
  writeFile(at("elsewhere/real"), "old");
  fs::create_symlink(at("elsewhere/real"), at("first"));
  fs::create_symlink("first", at("second"));
  replace(at("second"), "new");
  EXPECT_TRUE(fs::is_symlink(at("first")));
  EXPECT_TRUE(fs::is_symlink(at("second")));
  EXPECT_FALSE(fs::is_symlink(at("elsewhere/real")));
  EXPECT_EQ(readFile(at("elsewhere/real")), "new");
  EXPECT_EQ(namesIn(at("elsewhere")), std::set<std::string>{"real"});

  fs::create_symlink(at("nowhere"), at("loose"));
  EXPECT_THROW(replace(at("loose"), "new"), oznatool::Failure);
  EXPECT_FALSE(fs::exists(at("nowhere")));
}

TEST_F(OutputFile, FileThatChangedMeanwhileIsNotReplaced) {
  writeFile(at("a"), "old");
  struct stat status;
  ASSERT_EQ(stat(at("a").c_str(), &status), 0);
  writeFile(at("a"), "edited");
  EXPECT_THROW(oznatool::replaceUnchangedFile(at("a"), status, "new", 3), oznatool::Failure);
  EXPECT_EQ(readFile(at("a")), "edited");
  EXPECT_THROW(oznatool::replaceUnchangedFile(at("a"), std::nullopt, "new", 3), oznatool::Failure);
  EXPECT_EQ(readFile(at("a")), "edited");
  ASSERT_EQ(stat(at("a").c_str(), &status), 0);
  oznatool::replaceUnchangedFile(at("a"), status, "new", 3);
  EXPECT_EQ(readFile(at("a")), "new");
  EXPECT_EQ(namesIn(directory_.string()), std::set<std::string>{"a"});
}

TEST_F(OutputFile, FileThatMayNotBeWrittenIsNotReplaced) {
  if (geteuid() == 0) {
    // Root may write anything: another user is asked, in a folder that is his.
    writeFile(at("in/keep.png"), "read only");
    chmod(at("in/keep.png").c_str(), 0444);
    fs::permissions(directory_, fs::perms(0755));
    fs::permissions(at("in"), fs::perms(0777));
    const std::string photograph = makePicture("a.png");
    fs::permissions(photograph, fs::perms(0644));
    const Outcome run = runOznaUnder({"setpriv", "--reuid=65534", "--clear-groups"},
                                     {"detect", "--annotate", at("in/keep.png"), photograph});
    expectFailure(run, 4, "keep.png: Permission denied");
    EXPECT_EQ(readFile(at("in/keep.png")), "read only");
    return;
  }
  writeFile(at("a"), "old");
  chmod(at("a").c_str(), 0444);
  EXPECT_THROW(replace(at("a"), "new"), oznatool::Failure);
}

TEST_F(OutputFile, PartOfAUserIsNoPlaceToWriteTo) {
  // Both names were once used for what is being written.
  writeFile(at("victim"), "precious");
  fs::create_directory(at("xmp"));
  fs::create_symlink(at("victim"), at("xmp/a.png.xmp.part"));
  writeFile(at("xmp/b.png.xmp.part"), "of the user");
  const Outcome run =
      runOzna({"detect", "--xmp", at("xmp"), makePicture("a.png"), makePicture("b.png")});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(readFile(at("victim")), "precious");
  EXPECT_EQ(readFile(at("xmp/b.png.xmp.part")), "of the user");
  EXPECT_TRUE(fs::is_symlink(at("xmp/a.png.xmp.part")));
}

TEST_F(OutputFile, FullDiskLeavesTheOldPictureAndSidecar) {
  const cv::Mat noise = [] {
    cv::Mat picture(400, 400, CV_8UC3);
    cv::randu(picture, 0, 256);  // Of 480 kB, whatever the format.
    return picture;
  }();
  writeFile(at("a.png"), encoded(".png", noise));
  writeFile(at("old"), "the old picture");
  const int status = onSmallDisk(
      "cp \"$2/old\" /mnt/keep.png && "
      "{ \"$1\" detect --json --annotate /mnt/keep.png \"$2/a.png\" >\"$2/out\"; status=$?; } && "
      "cp /mnt/keep.png \"$2/kept\" && ls -A /mnt >\"$2/names\" && "
      "mkdir /mnt/xmp && head -c 70000 /dev/zero >/mnt/fill; "
      "\"$1\" detect --json --xmp /mnt/xmp \"$2/a.png\" >>\"$2/out\"; echo $? >\"$2/second\"; "
      "ls -A /mnt/xmp >>\"$2/names\"; exit $status");
  if (status == -1) GTEST_SKIP() << "no disk can be mounted here";
  const std::string err = readFile(at("err"));
  EXPECT_EQ(status, 4) << err;
  EXPECT_NE(err.find("keep.png: No space left on device"), std::string::npos) << err;
  EXPECT_EQ(readFile(at("kept")), "the old picture");
  EXPECT_EQ(readFile(at("second")), "4\n");
  EXPECT_NE(err.find("a.png.xmp: No space left on device"), std::string::npos) << err;
  EXPECT_EQ(readFile(at("names")), "keep.png\n");
  EXPECT_EQ(linesOf(readFile(at("out"))).size(), 2U);
}

TEST_F(OutputFile, LimitOfFileSizesIsNamedAndTheOldPictureStays) {
  cv::Mat noise(400, 400, CV_8UC3);
  cv::randu(noise, 0, 256);
  writeFile(at("a.png"), encoded(".png", noise));
  writeFile(at("keep.png"), "the old picture");
  const Outcome run = runOznaUnder({"prlimit", "--fsize=40000"},
                                   {"detect", "--annotate", at("keep.png"), at("a.png")});
  expectFailure(run, 4, "keep.png: File too large: the limit of this process is 40000 bytes");
  EXPECT_NE(run.err.find("ulimit -f"), std::string::npos) << run.err;
  EXPECT_EQ(readFile(at("keep.png")), "the old picture");
  EXPECT_EQ(namesIn(directory_.string()), (std::set<std::string>{"a.png", "keep.png"}));
}

}  // namespace
}  // namespace ozna_test
