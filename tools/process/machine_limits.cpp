// Processors, memory and control groups.

#include "tools/process/machine_limits.h"

#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <fstream>
#include <sstream>
#include <vector>

namespace oznatool {
namespace {

// The first words of a file; as many as are there.
std::vector<std::string> wordsOf(const std::string& path) {
  std::ifstream file(path);
  std::vector<std::string> words;
  for (std::string word; words.size() < 2 && file >> word;) words.push_back(word);
  return words;
}

// A positive number, or nothing for what is none: "max", -1.
std::optional<double> positive(const std::string& word) {
  std::istringstream text(word);
  text.imbue(std::locale::classic());
  double value = 0;
  if (!(text >> value) || value <= 0) return std::nullopt;
  return value;
}

template <class T>
void lower(std::optional<T>& limit, const std::optional<double>& value) {
  if (!value) return;
  limit = limit ? std::min(*limit, static_cast<T>(*value)) : static_cast<T>(*value);
}

void lowerMemory(GroupLimits& limits, const std::string& path) {
  constexpr double kUnlimited = 1e18;  // Version 1 says "none" by a number near 2^63.
  const std::vector<std::string> words = wordsOf(path);
  const std::optional<double> bytes = words.empty() ? std::nullopt : positive(words[0]);
  if (bytes && *bytes < kUnlimited) lower(limits.memory_bytes, bytes);
}

void lowerByVersion2(GroupLimits& limits, const std::string& group) {
  const std::vector<std::string> cpu = wordsOf(group + "/cpu.max");
  if (cpu.size() == 2 && positive(cpu[0]) && positive(cpu[1])) {
    lower(limits.cpus, *positive(cpu[0]) / *positive(cpu[1]));
  }
  lowerMemory(limits, group + "/memory.max");
}

void lowerByVersion1(GroupLimits& limits, const std::string& group) {
  const std::vector<std::string> quota = wordsOf(group + "/cpu.cfs_quota_us");
  const std::vector<std::string> period = wordsOf(group + "/cpu.cfs_period_us");
  if (!quota.empty() && !period.empty() && positive(quota[0]) && positive(period[0])) {
    lower(limits.cpus, *positive(quota[0]) / *positive(period[0]));
  }
  lowerMemory(limits, group + "/memory.limit_in_bytes");
}

}  // namespace

GroupLimits groupLimits(const std::string& root) {
  GroupLimits limits;
  std::ifstream membership(root + "/proc/self/cgroup");
  // A line per hierarchy: number, controllers, path. Version 2 has no controllers.
  for (std::string line; std::getline(membership, line);) {
    const std::size_t first = line.find(':');
    const std::size_t second = first == std::string::npos ? first : line.find(':', first + 1);
    if (second == std::string::npos) continue;
    const std::string controllers = line.substr(first + 1, second - first - 1);
    const std::string mount =
        root + "/sys/fs/cgroup" + (controllers.empty() ? "" : "/" + controllers);
    // Up to the root of the mount, since a group above may be tighter. In a container the path may
    // be that of the host, of which only the end or nothing exists here.
    for (std::string path = line.substr(second + 1);;) {
      const std::string group = mount + (path == "/" ? "" : path);
      controllers.empty() ? lowerByVersion2(limits, group) : lowerByVersion1(limits, group);
      if (path.empty() || path == "/") break;
      path = path.substr(0, path.rfind('/'));
    }
  }
  return limits;
}

int usableCpus() {
  int cpus = 1;
  cpu_set_t set;
  if (sched_getaffinity(0, sizeof(set), &set) == 0) {
    cpus = CPU_COUNT(&set);
  } else {
    cpus = static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN));  // More than the set has room for.
  }
  const std::optional<double> limit = groupLimits().cpus;
  if (limit) cpus = std::min(cpus, static_cast<int>(std::ceil(std::min(*limit, 1e6))));
  return std::max(cpus, 1);
}

std::int64_t usableMemory() {
  const std::int64_t machine =
      static_cast<std::int64_t>(sysconf(_SC_PHYS_PAGES)) * sysconf(_SC_PAGE_SIZE);
  return std::min(machine, groupLimits().memory_bytes.value_or(machine));
}

int threadCount(int asked) { return asked > 0 ? asked : usableCpus(); }

std::int64_t workingMemory(int asked_mib) {
  constexpr std::int64_t kUsual = 2048;
  return (asked_mib > 0 ? asked_mib : std::min(kUsual, usableMemory() / 2 >> 20)) << 20;
}

}  // namespace oznatool
