// The choice of a source of models.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#include "kit/error.h"
#include "kit/models/model_source.h"
#include "tests/kit/models/refusal.h"

namespace kit {
namespace {

using kit_test::expectWords;
using kit_test::refusalOf;

const oznakit_model_options kDefaults = OZNAKIT_MODEL_OPTIONS_INIT;

// The environment variable, back as it was at the end of the scope.
class ModelsVariable {
 public:
  explicit ModelsVariable(const char* value) {
    const char* const before = getenv("OZNA_MODELS");
    if (before != nullptr) before_ = before;
    was_set_ = before != nullptr;
    if (value == nullptr) {
      unsetenv("OZNA_MODELS");
    } else {
      setenv("OZNA_MODELS", value, 1);
    }
  }
  ~ModelsVariable() {
    if (was_set_) {
      setenv("OZNA_MODELS", before_.c_str(), 1);
    } else {
      unsetenv("OZNA_MODELS");
    }
  }

 private:
  std::string before_;
  bool was_set_;
};

TEST(FindModels, TakesAtMostOnePlaceOfTheOptions) {
  oznakit_model_options options = OZNAKIT_MODEL_OPTIONS_INIT;
  options.directory = OZNA_SOURCE_DIR "/public";
  options.built_in = 1;
  expectWords(refusalOf(OZNAKIT_BAD_ARGUMENT, [&] { findModels(options); }), "found 2.");
  options.built_in = 0;
  EXPECT_EQ(findModels(options).reason, "given");
  EXPECT_EQ(findModels(options).source->place(), OZNA_SOURCE_DIR "/public");
}

TEST(FindModels, PrefersTheOptionToTheEnvironment) {
  const ModelsVariable variable("/nowhere");
  oznakit_model_options options = OZNAKIT_MODEL_OPTIONS_INIT;
  options.directory = OZNA_SOURCE_DIR "/public";
  EXPECT_EQ(findModels(options).reason, "given");
  options.directory = nullptr;
  expectWords(refusalOf(OZNAKIT_NO_MODEL, [&] { findModels(options); }), "/nowhere: expected");
}

TEST(FindModels, TakesTheDirectoryOfTheEnvironment) {
  const ModelsVariable variable(OZNA_SOURCE_DIR "/public/compact");
  const FoundModels found = findModels(kDefaults);
  EXPECT_EQ(found.reason, "OZNA_MODELS");
  EXPECT_EQ(found.source->place(), OZNA_SOURCE_DIR "/public/compact");
}

TEST(FindModels, FindsTheCompactOnesOfTheSourceTreeFromItsBuildFolder) {
  const ModelsVariable variable(nullptr);
  const FoundModels found = findModels(kDefaults);
  if (found.reason == "built in") GTEST_SKIP() << "this library has models inside";
  EXPECT_EQ(found.reason, "beside the library");
  EXPECT_EQ(found.source->place(), OZNA_SOURCE_DIR "/public/compact");
}

}  // namespace
}  // namespace kit
