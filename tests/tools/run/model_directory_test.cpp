// Which directory of models is taken, and why.

#include "tools/run/model_directory.h"

#include <stdlib.h>

#include "tests/tools/program.h"
#include "tools/process/exit_code.h"

namespace ozna_test {
namespace {

class ModelDirectory : public ProgramTest {
 protected:
  ModelDirectory() {
    if (const char* const before = getenv("OZNA_MODELS")) before_ = before;
    unsetenv("OZNA_MODELS");
  }
  ~ModelDirectory() override {
    if (before_) {
      setenv("OZNA_MODELS", before_->c_str(), 1);
    } else {
      unsetenv("OZNA_MODELS");
    }
  }
  static std::string refusalOf(const std::string& given) {
    try {
      return oznatool::modelDirectory(given);
    } catch (const oznatool::Failure& failure) {
      EXPECT_EQ(failure.code(), oznatool::kExitModel);
      return failure.what();
    }
  }
  std::optional<std::string> before_;
};

TEST_F(ModelDirectory, IsTheOneThatIsNamedAsItIs) {
  // Also one without models: opening them says what is missing.
  EXPECT_EQ(oznatool::modelPlace(directory_).directory, directory_.string() + "/");
  EXPECT_EQ(oznatool::modelPlace(directory_.string() + "/").directory, directory_.string() + "/");
  EXPECT_EQ(oznatool::modelPlace(directory_).source, "given by --models");
}

TEST_F(ModelDirectory, OfTheEnvironmentCountsWhereNoneIsGiven) {
  std::filesystem::create_directory(at("other"));
  setenv("OZNA_MODELS", directory_.c_str(), 1);
  EXPECT_EQ(oznatool::modelPlace("").source, "given by OZNA_MODELS");
  EXPECT_EQ(oznatool::modelPlace("").directory, directory_.string() + "/");
  EXPECT_EQ(oznatool::modelPlace(at("other")).directory, at("other") + "/");
  setenv("OZNA_MODELS", "", 1);
  EXPECT_NE(oznatool::modelPlace("").source, "given by OZNA_MODELS");
}

TEST_F(ModelDirectory, OfTheSourceTreeIsTheCompactOne) {
  // The test's own program has no models beside it.
  const oznatool::ModelPlace place = oznatool::modelPlace("");
  EXPECT_EQ(place.directory, OZNA_SOURCE_DIR "/public/compact/");
  EXPECT_EQ(place.source, "source tree that the program was built from");
}

TEST_F(ModelDirectory, ThatIsNoneIsRefusedWithWhoNamedIt) {
  writeFile(at("file"), "");
  EXPECT_EQ(refusalOf(at("missing")),
            at("missing") + ": no such directory of models, given by --models");
  EXPECT_EQ(refusalOf(at("file")), at("file") + ": no such directory of models, given by --models");
  setenv("OZNA_MODELS", at("missing").c_str(), 1);
  EXPECT_EQ(refusalOf(""), at("missing") + ": no such directory of models, given by OZNA_MODELS");
}

}  // namespace
}  // namespace ozna_test
