// What an installation of the program's component holds beside the program.

#include <cstddef>
#include <cstdlib>

#include "tests/tools/pictures.h"
#include "tests/tools/program.h"
#include "tests/tools/under_sanitizer.h"

namespace ozna_test {
namespace {

class Installation : public ProgramTest {};

TEST_F(Installation, HoldsManualAndCompletionsWhereShellsLookForThem) {
  const std::string command = OZNA_CMAKE " --install '" OZNA_BINARY_DIR
                                         "' --component tools --prefix '" +
                              at("prefix") + "' > '" + at("log") + "' 2>&1";
  ASSERT_EQ(std::system(command.c_str()), 0) << readFile(at("log"));
  const std::vector<std::pair<std::string, std::string>> files = {
      {"man/man1/ozna.1", "docs/ozna.1"},
      {"bash-completion/completions/ozna", "tools/completions/ozna.bash"},
      {"zsh/site-functions/_ozna", "tools/completions/_ozna"}};
  for (const auto& [installed, source] : files) {
    EXPECT_EQ(readFile(at("prefix/share/" + installed)), readFile(OZNA_SOURCE_DIR "/" + source));
  }
  EXPECT_TRUE(std::filesystem::is_regular_file(at("prefix/bin/ozna")));
  // What bash does with the file of a command's name.
  const std::string loaded = "bash -c \". '" + at("prefix/share/bash-completion/completions/ozna") +
                             "' && complete -p ozna\" | grep -q -- '-F _ozna ozna'";
  EXPECT_EQ(std::system(loaded.c_str()), 0);
}

TEST_F(Installation, ReadsEveryFormatWhereverItIsMovedTo) {
  if (kUnderSanitizer) GTEST_SKIP() << "a sanitizer opens modules without the program's run path";
  for (const char* component : {"tools", "kit"}) {
    const std::string command = OZNA_CMAKE " --install '" OZNA_BINARY_DIR "' --component " +
                                std::string(component) + " --prefix '" + at("prefix") + "' > '" +
                                at("log") + "' 2>&1";
    ASSERT_EQ(std::system(command.c_str()), 0) << readFile(at("log"));
  }
  std::filesystem::rename(at("prefix"), at("moved"));
  const cv::Mat picture = gradientPicture(64, 48);
  std::string names;
  for (const std::string ending : {".jpg", ".png", ".webp", ".tiff", ".jp2", ".bmp", ".ppm"}) {
    writeFile(at("a" + ending), encoded(ending, picture));
    names += " a" + ending;
  }
  writeFile(at("a.heic"), encodedHeic(picture));
  const std::string run = "cd '" + at("") + "' && moved/bin/ozna detect --json --models '" +
                          OZNA_SOURCE_DIR "/public' a.heic" + names + " 2>&1";
  std::vector<std::string> lines = linesOf(outputOf(run));
  ASSERT_EQ(lines.size(), 9U);
  EXPECT_EQ(lines.back(), "ozna: 8 photographs, 0 faces");
  lines.pop_back();
  for (const std::string& line : lines) EXPECT_EQ(parsed(line)["width"], 64) << line;

  // Without its modules it still reads what most photographs are.
  std::filesystem::path modules;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(at("moved"))) {
    if (entry.path().filename() == "ozna-pictures.so") modules = entry.path().parent_path();
  }
  ASSERT_FALSE(modules.empty());
  std::filesystem::remove_all(modules);
  const std::string without =
      outputOf("cd '" + at("") + "' && moved/bin/ozna detect --json --models '" +
               OZNA_SOURCE_DIR "/public' a.jpg a.png a.webp a.heic 2> '" + at("messages") + "'");
  const std::vector<std::string> left = linesOf(without);
  ASSERT_EQ(left.size(), 4U);
  EXPECT_EQ(parsed(left[0])["width"], 64);
  EXPECT_EQ(parsed(left[1])["width"], 64);
  for (std::size_t i = 2; i < 4; ++i) {
    EXPECT_EQ(parsed(left[i])["error"]["kind"], "format") << left[i];
  }
  EXPECT_NE(readFile(at("messages")).find("a.webp: cannot be decoded: ozna-pictures.so"),
            std::string::npos);
}

}  // namespace
}  // namespace ozna_test
