// Workspaces, with a mathematics library that does nothing but take and keep memory.

#include "kit/workspace.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <new>
#include <optional>
#include <vector>

extern "C" {
void* ozna_take_workspace(std::size_t bytes);
bool ozna_return_workspace(void* block);
void ozna_set_workspace_user(void (*user)());
}

namespace {

// Of a workspace. Larger than what the spare room of a few workspaces has.
constexpr std::size_t kSizes[] = {24, 24, 5000000, 104, 7000001};

// Ends the process, which is the test's child, with a sentence where something does not hold.
void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "expected: %s\n", what);
  std::_Exit(1);
}

// The blocks that the library has, with a number in every byte.
struct Block {
  unsigned char* begin;
  std::size_t bytes;
};
std::vector<Block> kept;
int refused = 0;

void take(std::size_t bytes) {
  void* const block = ozna_take_workspace(bytes);
  if (block == nullptr) {
    ++refused;
    return;
  }
  kept.push_back({static_cast<unsigned char*>(block), bytes});
  std::memset(block, static_cast<int>(kept.size()), bytes);
}

void useWorkspace() {
  void* const soon_returned = ozna_take_workspace(3000000);
  for (const std::size_t bytes : kSizes) take(bytes);
  require(ozna_return_workspace(soon_returned), "the block goes back");
}

bool areApart() {
  for (std::size_t i = 0; i < kept.size(); ++i) {
    for (std::size_t at = 0; at < kept[i].bytes; ++at) {
      if (kept[i].begin[at] != static_cast<unsigned char>(i + 1)) return false;
    }
  }
  return true;
}

using Uses = std::vector<std::unique_ptr<kit::WorkspaceInUse>>;

Uses useAtOnce(int count) {
  Uses uses;
  for (int i = 0; i < count; ++i) uses.push_back(std::make_unique<kit::WorkspaceInUse>());
  return uses;
}

[[maybe_unused]] rlim_t addressSpace() {  // A sanitizer's build limits nothing.
  std::ifstream file("/proc/self/statm");
  rlim_t pages = 0;
  file >> pages;
  return pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

// What is learnt is the process's, so that this is one story, told in a process of its own in which
// no product ran before.
void tellStory() {
  ozna_set_workspace_user(useWorkspace);
  useAtOnce(1);
  require(kept.size() == 5U, "kept.size() == 5U");
  require(refused == 0, "refused == 0");
  // One at a time: there is nothing more, since the library has one.
  useAtOnce(1);
  take(7000001);
  require(refused == 1, "refused == 1");

  // Three at once: two more of each size.
  const Uses three = useAtOnce(3);
  for (int i = 0; i < 2; ++i) {
    for (const std::size_t bytes : kSizes) take(bytes);
  }
  require(kept.size() == 15U, "kept.size() == 15U");
  require(refused == 1, "refused == 1");
  take(7000001);
  require(refused == 2, "refused == 2");
  // A list that the library lengthens, in the spare room.
  take(100000);
  require(refused == 2, "refused == 2");
  require(areApart(), "no block has bytes of another");

  // What comes back is there for the next.
  unsigned char* const large = kept[4].begin;
  require(ozna_return_workspace(large), "the large block goes back");
  require(ozna_take_workspace(7000001) == large, "ozna_take_workspace(7000001) == large");
  int other = 0;
  require(!ozna_return_workspace(&other), "another block is refused");
  require(!ozna_return_workspace(nullptr), "none is refused");

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  rlimit limit = {};
  getrlimit(RLIMIT_AS, &limit);
  const rlim_t before = limit.rlim_cur;
  std::optional<kit::WorkspaceInUse> fourth;
  limit.rlim_cur = addressSpace() + 1000000;
  setrlimit(RLIMIT_AS, &limit);
  bool had_memory = true;
  try {
    fourth.emplace();
  } catch (const std::bad_alloc&) {
    had_memory = false;
  }
  require(!had_memory, "there is no memory for a fourth");
  limit.rlim_cur = before;
  setrlimit(RLIMIT_AS, &limit);
  fourth.emplace();
  take(7000001);
  require(refused == 2, "refused == 2");
#endif
  std::_Exit(0);
}

TEST(WorkspaceInUse, HasAWorkspaceReadyForEachUseAtOnce) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(tellStory(), testing::ExitedWithCode(0), "");
}

}  // namespace
