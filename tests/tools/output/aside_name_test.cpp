// Names of files that a run is writing.

#include "tools/output/aside_name.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstddef>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

namespace fs = std::filesystem;

class AsideName : public ProgramTest {};

TEST_F(AsideName, NamesOfUsersAreNoAsideNames) {
  const std::string name = oznatool::newAsideName();
  EXPECT_TRUE(oznatool::isAsideName(name));
  EXPECT_NE(name, oznatool::newAsideName());
  for (std::size_t i = 0; i < name.size(); ++i) {
    std::string other = name;
    other[i] = other[i] == '0' ? '1' : '0';
    EXPECT_FALSE(oznatool::isAsideName(other)) << other;
  }
  for (const char* other :
       {"", ".", "a.xmp.part", ".ozna-.part", ".ozna-0123456789abcdef0123456789abcdef.part"}) {
    EXPECT_FALSE(oznatool::isAsideName(other)) << other;
  }
}

TEST_F(AsideName, LeftoversOfAKilledRunAreRemovedAndThoseAtWorkAreNot) {
  fs::create_directory(at("out"));
  const std::string abandoned = at("out/" + oznatool::newAsideName());
  const std::string at_work = at("out/" + oznatool::newAsideName());
  writeFile(abandoned, "half a pict");
  writeFile(at_work, "half");
  writeFile(at("out/a.xmp.part"), "of the user");
  // One that looks like a leftover and leads to a file of the user.
  const std::string link = at("out/" + oznatool::newAsideName());
  fs::create_symlink(at("out/a.xmp.part"), link);
  const int writer = open(at_work.c_str(), O_WRONLY);
  ASSERT_EQ(flock(writer, LOCK_EX), 0);
  const Outcome run = runOzna({"detect", "--annotate", at("out/"), makePicture("a.png")});
  close(writer);
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_FALSE(fs::exists(abandoned));
  EXPECT_EQ(readFile(at_work), "half");
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_EQ(readFile(at("out/a.xmp.part")), "of the user");
}

}  // namespace
}  // namespace ozna_test
