// A process with few descriptors, threads, bytes or little memory says what it lacks.

#include <unistd.h>

#include "tests/tools/program.h"
#include "tests/tools/under_sanitizer.h"

namespace ozna_test {
namespace {

class FewOf : public ProgramTest {
 protected:
  // Root has no limit of threads: the program then runs as nobody, who must be able to read.
  std::vector<std::string> withThreads(int count) const {
    std::filesystem::permissions(directory_, std::filesystem::perms(0755));
    std::vector<std::string> words = {"env", "OPENBLAS_NUM_THREADS=1"};
    if (geteuid() == 0) {
      words.insert(words.end(), {"setpriv", "--reuid=65534", "--clear-groups"});
    }
    words.insert(words.end(), {"prlimit", "--nproc=" + std::to_string(count)});
    return words;
  }
};

TEST_F(FewOf, DescriptorsAreNamed) {
  if (kUnderSanitizer) GTEST_SKIP() << "a sanitizer needs more";
  const std::string photograph = OZNA_SOURCE_DIR "/samples/astronaut.png";
  // The program inherits three, and starts where the loader has one more for its libraries in turn.
  for (const int count : {4, 5, 7, 11, 15}) {
    SCOPED_TRACE(count);
    const Outcome run = runOznaUnder({"prlimit", "--nofile=" + std::to_string(count)},
                                     {"detect", "--json", "-j", "2", photograph});
    expectFailure(run, 5, "open files; the limit of this process is ");
    EXPECT_NE(run.err.find("(ulimit -n)"), std::string::npos) << run.err;
    EXPECT_EQ(run.err.find("damaged"), std::string::npos) << run.err;
  }
  // Its own limit is raised as far as it may be.
  const Outcome run =
      runOznaUnder({"prlimit", "--nofile=16:64"}, {"detect", "--json", "-j", "2", photograph});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(linesOf(run.out).size(), 1U);
}

TEST_F(FewOf, ThreadsAreNamed) {
  if (kUnderSanitizer) GTEST_SKIP() << "a sanitizer needs more";
  const Outcome run = runOznaUnder(withThreads(1), {"detect", "--json", makePicture("a.png")});
  expectFailure(run, 5, "(ulimit -u");
  EXPECT_EQ(run.err.find("damaged"), std::string::npos) << run.err;
}

TEST_F(FewOf, BytesOfAFileAreNamed) {
  const std::string photograph = OZNA_SOURCE_DIR "/samples/astronaut.png";
  const Outcome run = runOznaUnder({"prlimit", "--fsize=100"}, {"detect", "--json", photograph});
  expectFailure(run, 4, "standard output: File too large: the limit of this process is 100 bytes");
  const Outcome bench =
      runOznaUnder({"prlimit", "--fsize=10"}, {"bench", "--rounds", "1", photograph});
  // The message itself has ten bytes: the status shows it.
  EXPECT_EQ(bench.exit_code, 4) << bench.err;
  EXPECT_EQ(bench.err.find("damaged"), std::string::npos) << bench.err;
}

TEST_F(FewOf, MemoryIsReportedInTwoWords) {
  if (kUnderSanitizer) GTEST_SKIP() << "a sanitizer needs more addresses";
  // From where the program starts at all to where it has enough, both found by trying.
  const std::string photograph = OZNA_SOURCE_DIR "/samples/astronaut.png";
  int reported = 0;
  int exit_code = -1;
  for (int mib = 20; mib <= 600 && exit_code != 0; mib += 10) {
    SCOPED_TRACE(mib);
    const Outcome run =
        runOznaUnder({"timeout", "60", "env", "OPENBLAS_NUM_THREADS=1", "sh", "-c",
                      "ulimit -v " + std::to_string(mib * 1024) + " && exec \"$@\"", "sh"},
                     {"align", "--json", "-j", "2", photograph, photograph});
    exit_code = run.exit_code;
    EXPECT_NE(exit_code, 124) << run.err;
    EXPECT_EQ(run.err.find("ulimit -u"), std::string::npos) << run.err;
    EXPECT_EQ(run.err.find("damaged"), std::string::npos) << run.err;
    if (exit_code == 5 && run.err == "ozna: no memory\n") ++reported;
  }
  EXPECT_EQ(exit_code, 0);
  EXPECT_GE(reported, 1);
}

}  // namespace
}  // namespace ozna_test
