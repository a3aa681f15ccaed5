// Photographs side by side: the same records in the same order, within a bound of memory.

#include <sched.h>
#include <sys/resource.h>

#include <cstddef>
#include <cstdlib>

#include "tests/tools/program.h"
#include "tests/tools/under_sanitizer.h"

namespace ozna_test {
namespace {

class Jobs : public ProgramTest {
 protected:
  // Photographs with and without faces of very different cost, and some that fail.
  std::vector<std::string> photographs() const {
    // Other paths with the same names, so that those of their files are taken.
    std::vector<std::string> paths;
    for (int i = 0; i < 4; ++i) {
      const std::string folder = std::to_string(i) + "/";
      writeFile(at(folder + "empty.jpg"), "");
      for (const char* sample : {"group.jpg", "astronaut.png"}) {
        std::filesystem::create_symlink(std::string(OZNA_SOURCE_DIR "/samples/") + sample,
                                        at(folder + sample));
      }
      paths.push_back(at(folder + "group.jpg"));
      paths.push_back(makePicture("small" + std::to_string(i) + ".png"));
      paths.push_back(at(folder + "missing.jpg"));
      paths.push_back(at(folder + "astronaut.png"));
      paths.push_back(at(folder + "empty.jpg"));
    }
    return paths;
  }

  static Outcome withJobs(const std::string& jobs, std::vector<std::string> arguments,
                          const std::vector<std::string>& paths) {
    arguments.insert(arguments.end(), {"-j", jobs});
    arguments.insert(arguments.end(), paths.begin(), paths.end());
    return runOzna(arguments);
  }
};

TEST_F(Jobs, RecordsAndMessagesAreThoseOfOne) {
  const std::vector<std::string> paths = photographs();
  for (const std::string format : {"json", "csv", "text"}) {
    SCOPED_TRACE(format);
    const Outcome one = withJobs("1", {"detect", "--format", format}, paths);
    const Outcome four = withJobs("4", {"detect", "--format", format}, paths);
    EXPECT_EQ(one.exit_code, 1);
    EXPECT_EQ(four.exit_code, 1);
    EXPECT_EQ(four.out, one.out);
    EXPECT_EQ(four.err, one.err);
    if (format == "json") {
      EXPECT_EQ(linesOf(one.out).size(), paths.size());
    }
  }
}

TEST_F(Jobs, FilesAreThoseOfOne) {
  const std::vector<std::string> paths = photographs();
  withJobs("1", {"crop", "--size", "32", "-o", at("one")}, paths);
  const Outcome run = withJobs("3", {"crop", "--size", "32", "-o", at("three")}, paths);
  EXPECT_EQ(run.exit_code, 1) << run.err;
  std::size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(at("one"))) {
    const std::string name = entry.path().filename().string();
    EXPECT_EQ(readFile(at("three/" + name)), readFile(entry.path())) << name;
    ++count;
  }
  // Nine faces and one, four times each.
  EXPECT_EQ(count, 40U);
}

TEST_F(Jobs, ThreadsThatTheSystemRefusesAreDoneWithout) {
  if (kUnderSanitizer) GTEST_SKIP() << "a sanitizer needs more addresses";
  // Stacks of almost 1 GiB in a space of 4 GiB: there is room for three at most.
  const std::string command = "ulimit -s 1000000 -v 4000000 && '" OZNA_PROGRAM
                              "' detect --json -j 16 '" +
                              makePicture("a.png") + "' '" + makePicture("b.png") + "' > '" +
                              at("out") + "' 2> '" + at("err") + "'";
  EXPECT_EQ(std::system(("bash -c \"" + command + "\"").c_str()), 0);
  EXPECT_NE(readFile(at("err")).find("threads, not 16"), std::string::npos) << readFile(at("err"));
  EXPECT_EQ(linesOf(readFile(at("out"))).size(), 2U);
}

TEST_F(Jobs, AutoIsAccepted) {
  EXPECT_EQ(withJobs("auto", {"detect"}, {makePicture("a.png")}).exit_code, 0);
  for (const char* wrong : {"0", "-1", "two", "1025", "1.5"}) {
    const Outcome run = withJobs(wrong, {"detect"}, {at("a.png")});
    expectFailure(run, 2, "--jobs (or auto) takes a whole number from 1 to 1024, not");
  }
}

TEST_F(Jobs, AutoHonoursTheProcessorsOfTheProcess) {
  cpu_set_t all;
  ASSERT_EQ(sched_getaffinity(0, sizeof(all), &all), 0);
  cpu_set_t one;
  CPU_ZERO(&one);
  for (int cpu = 0; cpu < CPU_SETSIZE && CPU_COUNT(&one) == 0; ++cpu) {
    if (CPU_ISSET(cpu, &all)) CPU_SET(cpu, &one);
  }
  ASSERT_EQ(sched_setaffinity(0, sizeof(one), &one), 0);
  const Outcome run = runOzna({"info", "--json"});
  ASSERT_EQ(sched_setaffinity(0, sizeof(all), &all), 0);
  const nlohmann::ordered_json info = parsed(run.out);
  std::size_t checked = 0;
  for (const auto& entry : info["defaults"]) {
    if (entry["option"] != "--jobs") continue;
    EXPECT_EQ(entry["value"], "1");
    ++checked;
  }
  EXPECT_EQ(checked, 1U);
}

TEST_F(Jobs, AutoHonoursTheLimitOfTheControlGroup) {
  // A file system of groups with one processor's time and 1 GiB, in both versions, put over the
  // real one for this process alone.
  for (const char* controller : {"cpu", "cpu,cpuacct", "cpuacct,cpu"}) {
    writeFile(at("groups/" + std::string(controller) + "/cpu.cfs_quota_us"), "100000\n");
    writeFile(at("groups/" + std::string(controller) + "/cpu.cfs_period_us"), "100000\n");
  }
  writeFile(at("groups/memory/memory.limit_in_bytes"), "1073741824\n");
  writeFile(at("groups/cpu.max"), "100000 100000\n");
  writeFile(at("groups/memory.max"), "1073741824\n");
  const std::string command = "unshare -rm sh -c \"mount --bind '" + at("groups") +
                              "' /sys/fs/cgroup && '" OZNA_PROGRAM "' info --json > '" +
                              at("told") + "'\" 2> '" + at("messages") + "'";
  if (std::system(command.c_str()) != 0) {
    GTEST_SKIP() << "no mount of its own for a process here: " << readFile(at("messages"));
  }
  std::size_t checked = 0;
  const nlohmann::ordered_json info = parsed(readFile(at("told")));
  for (const auto& entry : info["defaults"]) {
    if (entry["option"] != "--jobs" && entry["option"] != "--memory") continue;
    EXPECT_EQ(entry["value"], entry["option"] == "--jobs" ? "1" : "512 MiB");
    EXPECT_NE(entry["source"].get<std::string>().find("control group"), std::string::npos);
    ++checked;
  }
  EXPECT_EQ(checked, 2U);
}

TEST_F(Jobs, PhotographBeyondTheMemoryIsRefusedBeforeItIsDecoded) {
  // 6000 by 6000 pixels of three bytes are 103 MiB.
  const std::string large = at("large.png");
  writeFile(large, encoded(".png", cv::Mat(6000, 6000, CV_8UC1, cv::Scalar(90))));
  const std::string small = makePicture("small.png");
  const Outcome run = runOzna({"detect", "--json", "--memory", "64", large, small});
  expectFailure(run, 1, "large.png: needs 104 MiB to be decoded; --memory allows 64 MiB");
  EXPECT_EQ(parsed(linesOf(run.out)[0])["error"]["kind"], "memory");
  EXPECT_EQ(parsed(linesOf(run.out)[1])["path"], small);
  // 20000 by 2 pixels with a border of 20000 on each side are 60000 by 40002 of three bytes.
  expectFailure(runOzna({"detect", "--margin", "100", makePicture("strip.png", 20000, 2)}), 1,
                "MiB with its margin; --memory allows");
  expectFailure(runOzna({"detect", "--memory", "63", small}), 2,
                "--memory takes a whole number from 64");
}

TEST_F(Jobs, MemoryStaysWithinItsBoundForHundredMegapixels) {
  // 100 megapixels, 287 MiB decoded, three at once: all three would take 861 MiB. With one thread,
  // the next one may be read ahead.
  const std::string large = at("large.png");
  writeFile(large, encoded(".png", cv::Mat(10000, 10030, CV_8UC1, cv::Scalar(90))));
  for (const char* name : {"2.png", "3.png"}) std::filesystem::create_symlink(large, at(name));
  for (const char* jobs : {"1", "3"}) {
    rusage before;
    getrusage(RUSAGE_CHILDREN, &before);
    const Outcome run = runOzna(
        {"detect", "--json", "-j", jobs, "--memory", "320", large, at("2.png"), at("3.png")});
    rusage after;
    getrusage(RUSAGE_CHILDREN, &after);
    ASSERT_EQ(run.exit_code, 0) << run.err;
    ASSERT_EQ(linesOf(run.out).size(), 3U);
    EXPECT_EQ(parsed(linesOf(run.out)[2])["width"], 10030);
    // The manual's bound: the memory, one file (less than 1 MiB), 100 MiB and 80 MiB a thread.
    EXPECT_LE(after.ru_maxrss / 1024, 320 + 1 + 100 + std::atoi(jobs) * 80);
    // Proof that the figure is that of this run: nothing before it was as large.
    EXPECT_GE(after.ru_maxrss / 1024, 287);
  }
}

}  // namespace
}  // namespace ozna_test
