/// What share of the machine this process may use.

#ifndef OZNA_TOOLS_PROCESS_MACHINE_LIMITS_H_
#define OZNA_TOOLS_PROCESS_MACHINE_LIMITS_H_

#include <cstdint>
#include <optional>
#include <string>

namespace oznatool {

/// The limits that the control groups of this process set, of version 1 or 2.
struct GroupLimits {
  std::optional<double> cpus;                ///< Processor time per second.
  std::optional<std::int64_t> memory_bytes;  ///< Memory.
};

/// Reads the control groups. The least of a group and those above it counts.
///
/// root  Put before "/proc/self/cgroup" and "/sys/fs/cgroup": for tests.
GroupLimits groupLimits(const std::string& root = "");

/// The number of threads that can run at once: the processors that this process may use, cut down
/// to the limit of its control groups rounded up. At least 1.
int usableCpus();

/// The memory of the machine or of the control groups, whichever is less, in bytes.
std::int64_t usableMemory();

/// The number of threads to work in: as many as were asked for, or usableCpus() for 0.
int threadCount(int asked);

/// The memory to work in, in bytes: as many mebibytes as were asked for, or for 0 the default,
/// which is 2048 of them or half of usableMemory(), whichever is less.
std::int64_t workingMemory(int asked_mib);

}  // namespace oznatool

#endif  // OZNA_TOOLS_PROCESS_MACHINE_LIMITS_H_
