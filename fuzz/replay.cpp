// The main function of a fuzz target that runs given inputs once, without clang: TARGET FOLDER...
//
// The runtime here is the real one, in which a refused input ends the process. So inputs run in a
// child, one after the other; a child that a fatal check or an exit of the runtime ends is followed
// by one for the inputs that are left. Any other end of a child is a finding.

#include <glog/logging.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Nothing is mutated here.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* /*data*/, std::size_t size,
                                        std::size_t /*max_size*/) {
  return size;
}

namespace {

constexpr int kRefused = 99;
constexpr int kMisused = 255;           // What the runtime's forward path exits with.
constexpr unsigned kMostSeconds = 120;  // An input takes milliseconds.

[[noreturn]] void refuse() { _exit(kRefused); }

std::vector<std::string> filesOf(int argc, char** argv) {
  std::vector<std::string> paths;
  for (int i = 1; i < argc; ++i) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i])) {
      if (entry.is_regular_file()) paths.push_back(entry.path().string());
    }
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

// Runs the inputs from next on, which counts those that were begun.
[[noreturn]] void runInputs(const std::vector<std::string>& paths, volatile std::size_t& next) {
  google::InstallFailureFunction(refuse);
  while (next < paths.size()) {
    std::ifstream file(paths[next], std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(file)),
                                  std::istreambuf_iterator<char>());
    next = next + 1;
    alarm(kMostSeconds);
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  std::exit(0);
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> paths = filesOf(argc, argv);
  if (paths.empty()) {
    std::fputs("usage: TARGET FOLDER...; no inputs found\n", stderr);
    return 2;
  }
  void* const shared =
      mmap(nullptr, sizeof(std::size_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) return 2;
  auto& next = *static_cast<volatile std::size_t*>(shared);
  FLAGS_minloglevel = google::GLOG_FATAL;
  LLVMFuzzerInitialize(&argc, &argv);
  std::size_t refused = 0;
  while (next < paths.size()) {
    const pid_t child = fork();
    if (child == 0) runInputs(paths, next);
    int status = 0;
    if (child == -1 || waitpid(child, &status, 0) != child) return 2;
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    if (code == kRefused || code == kMisused) {
      ++refused;
    } else if (code != 0) {
      const std::string& path = paths[next == 0 ? 0 : next - 1];
      std::fprintf(stderr, "finding: %s, wait status %d\n", path.c_str(), status);
      return 1;
    }
  }
  std::fprintf(stderr, "%zu inputs, %zu of them ended by a check\n", paths.size(), refused);
  return 0;
}
