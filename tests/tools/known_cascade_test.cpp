// Cascades that the build has seen, and those that differ from them.

#include "tools/known_cascade.h"

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

class KnownCascade : public ProgramTest {};

TEST_F(KnownCascade, IsThatOfTheTreeWhereverItLies) {
  EXPECT_TRUE(oznatool::isKnownCascade(oznatool::listCascadeFiles(OZNA_SOURCE_DIR "/public/")));
  EXPECT_TRUE(oznatool::isKnownCascade(oznatool::listCascadeFiles(copyModels() + "/")));
}

TEST_F(KnownCascade, IsNoneWithAnyFileThatDiffers) {
  const std::string models = copyModels() + "/";
  const oznatool::CascadeFiles files = oznatool::listCascadeFiles(models);
  std::vector<std::string> paths = {models + oznatool::kStageListName, files.calibration_table};
  for (const oznatool::NetworkFiles& network : files.networks) {
    paths.insert(paths.end(), {network.definition, network.weights});
    if (!network.mean.empty()) paths.push_back(network.mean);
  }
  EXPECT_EQ(paths.size(), 13u);
  for (const std::string& path : paths) {
    SCOPED_TRACE(path);
    const std::string bytes = readFile(path);
    std::string changed = bytes;
    changed[bytes.size() / 2] = static_cast<char>(changed[bytes.size() / 2] ^ 1);
    writeFile(path, changed);
    EXPECT_FALSE(oznatool::isKnownCascade(files));
    writeFile(path, bytes.substr(0, bytes.size() - 1));
    EXPECT_FALSE(oznatool::isKnownCascade(files));
    std::filesystem::remove(path);
    EXPECT_FALSE(oznatool::isKnownCascade(files));
    writeFile(path, bytes);
    EXPECT_TRUE(oznatool::isKnownCascade(files));
  }
}

}  // namespace
}  // namespace ozna_test
