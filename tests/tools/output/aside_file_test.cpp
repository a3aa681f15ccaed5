// A file beside its target, which it replaces when it is whole.

#include "tools/output/aside_file.h"

#include <sys/stat.h>

#include "tests/tools/program.h"
#include "tools/process/exit_code.h"

namespace ozna_test {
namespace {

namespace fs = std::filesystem;

class AsideFiles : public ProgramTest {
 protected:
  std::size_t filesThere() const {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(directory_), fs::directory_iterator()));
  }
};

TEST_F(AsideFiles, LeaveTheTargetUntilTheyAreMoved) {
  writeFile(at("a"), "old");
  {
    oznatool::AsideFile file(at("a"), 0600);
    file.write("new", 3);
    EXPECT_EQ(readFile(at("a")), "old");
    EXPECT_EQ(filesThere(), 2U);
    file.moveOver();
    EXPECT_EQ(readFile(at("a")), "new");
  }
  EXPECT_EQ(filesThere(), 1U);
}

TEST_F(AsideFiles, AreRemovedWhereTheyAreNotMoved) {
  { oznatool::AsideFile(at("a"), 0600).write("half", 4); }
  EXPECT_EQ(filesThere(), 0U);
}

TEST_F(AsideFiles, TakeNoNameThatIsTaken) {
  writeFile(at("a"), "of others");
  oznatool::AsideFile file(at("a"), 0600);
  file.write("new", 3);
  EXPECT_FALSE(file.moveTo("a"));
  EXPECT_EQ(readFile(at("a")), "of others");
  EXPECT_TRUE(file.moveTo("a-2"));
  EXPECT_EQ(readFile(at("a-2")), "new");
}

TEST_F(AsideFiles, TakeTheModeOfAnother) {
  writeFile(at("a"), "old");
  ASSERT_EQ(chmod(at("a").c_str(), 0640), 0);
  struct stat former;
  ASSERT_EQ(stat(at("a").c_str(), &former), 0);
  oznatool::AsideFile file(at("a"), 0600);
  EXPECT_EQ(file.status().st_mode & 0777, 0600U);
  file.takeAttributes(former);
  EXPECT_EQ(file.status().st_mode & 0777, 0640U);
}

TEST_F(AsideFiles, NeedTheFolderOfTheirTarget) {
  try {
    oznatool::AsideFile file(at("missing/a"), 0600);
    FAIL() << "Expected a failure.";
  } catch (const oznatool::Failure& failure) {
    EXPECT_EQ(failure.code(), oznatool::kExitOutput);
    EXPECT_NE(std::string(failure.what()).find("missing/a"), std::string::npos) << failure.what();
  }
}

}  // namespace
}  // namespace ozna_test
