// Limits of control groups, from made-up file systems.

#include "tools/process/machine_limits.h"

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

class Limits : public ProgramTest {
 protected:
  void group(const std::string& path, const std::string& text) const {
    writeFile(at("sys/fs/cgroup/" + path), text);
  }
  void membership(const std::string& text) const { writeFile(at("proc/self/cgroup"), text); }
  oznatool::GroupLimits limits() const { return oznatool::groupLimits(directory_.string()); }
};

TEST_F(Limits, AreNoneWithoutGroups) {
  EXPECT_FALSE(limits().cpus);
  EXPECT_FALSE(limits().memory_bytes);
}

TEST_F(Limits, OfVersionTwoAreTheTightestOfAllAbove) {
  membership("0::/user/session\n");
  group("user/session/cpu.max", "max 100000\n");
  group("user/cpu.max", "150000 100000\n");
  group("cpu.max", "400000 100000\n");
  group("user/session/memory.max", "1000000\n");
  group("user/memory.max", "max\n");
  EXPECT_EQ(limits().cpus, 1.5);
  EXPECT_EQ(limits().memory_bytes, 1000000);
}

TEST_F(Limits, OfVersionOneStandInTheirControllersFolders) {
  membership("4:memory:/job\n3:cpu,cpuacct:/job\n1:name=systemd:/\n");
  group("cpu,cpuacct/job/cpu.cfs_quota_us", "200000\n");
  group("cpu,cpuacct/job/cpu.cfs_period_us", "100000\n");
  group("memory/job/memory.limit_in_bytes", "536870912\n");
  group("memory/memory.limit_in_bytes", "9223372036854771712\n");
  EXPECT_EQ(limits().cpus, 2);
  EXPECT_EQ(limits().memory_bytes, 536870912);
}

TEST_F(Limits, OfVersionOneWithoutQuotaAreNone) {
  membership("1:cpu:/\n");
  group("cpu/cpu.cfs_quota_us", "-1\n");
  group("cpu/cpu.cfs_period_us", "100000\n");
  EXPECT_FALSE(limits().cpus);
}

TEST_F(Limits, OfAContainerStandAtTheRoot) {
  // The path is that of the host, which does not exist inside.
  membership("0::/system/docker-123\n");
  group("cpu.max", "50000 100000\n");
  EXPECT_EQ(limits().cpus, 0.5);
}

TEST_F(Limits, ThatCannotBeReadAreNone) {
  membership("nonsense\n0::\n");
  group("cpu.max", "many few\n");
  EXPECT_FALSE(limits().cpus);
}

TEST_F(Limits, LeaveAtLeastOneProcessor) { EXPECT_GE(oznatool::usableCpus(), 1); }

}  // namespace
}  // namespace ozna_test
