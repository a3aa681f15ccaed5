// Loading: the files of a model directory, what is wrong with them, and the lock.

#include "detector/model_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <boost/weak_ptr.hpp>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <locale>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/detector/handmade_cascade.h"
#include "tests/german_locale.h"

namespace {

using detector_test::calibrationDirectory;
using detector_test::constantNet;
using detector_test::DenseNet;
using detector_test::FlatNet;
using detector_test::writeCalibration;
using detector_test::writeFile;
using ozna_test::TemporaryFolder;
using oznalib::DetectorImpl;
using oznalib::DetectorParams;
using oznalib::loadFromFiles;
using oznalib::Status;
using oznalib::StatusLoadFailed;
using oznalib::StatusOk;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

class LoadFromFiles : public testing::Test {
 protected:
  LoadFromFiles() {
    DenseNet dense;
    dense.height = dense.width = 8;
    dense.weights = {0, 0, 0, 0.01F, 0, 0};
    dense.bias = {0.5F, -0.25F};
    dense.write(root() + "first");
    FlatNet second = constantNet(2, {0.5, 0.5});
    second.mean = {0, 0.5F, 1, 1.5F, 2, 2.5F, 3, 3.5F, 4, 4.5F, 5, 105.25F};
    second.write(root() + "second");
    constantNet(4, {0.25, 0.75}).write(root() + "third");
    writeCalibration(root(), constantNet(2, {0.5, 0.5}), "0 0 1\n-4 4 0.5\n");
  }

  std::string root() const { return directory_.root(); }

  Status load(const std::string& list, DetectorImpl& detector) {
    writeFile(root() + "list.txt", list);
    return load(root(), "list.txt", detector);
  }
  Status load(const std::string& root, const std::string& name, DetectorImpl& detector) {
    const char* const root_text = root.c_str();
    const char* const name_text = name.c_str();
    return loadFromFiles(DetectorParams(root_text, name_text), detector);
  }

  // The fixture's failures end a child process: these return only if nothing went wrong.
  void loadAlone(const std::string& list) {
    DetectorImpl detector;
    load(list, detector);
  }

  void remove(const std::string& path) { std::filesystem::remove_all(root() + path); }

 private:
  TemporaryFolder directory_;
};
using LoadFromFilesDeathTest = LoadFromFiles;

TEST_F(LoadFromFiles, FillsStagesAndCalibrationInTheOrderOfTheList) {
  DetectorImpl detector;
  ASSERT_EQ(
      load("# name, threshold\nfirst 0.4\nsecond\t0.8\n#third 0.1\n  third   0.98  \n", detector),
      StatusOk);
  EXPECT_TRUE(detector.loaded);
  EXPECT_TRUE(detector.stagesLoaded);
  EXPECT_TRUE(detector.calibrationLoaded);
  ASSERT_EQ(detector.stages.size(), 3U);
  EXPECT_EQ(detector.stages[0].threshold, 0.4F);
  EXPECT_EQ(detector.stages[1].threshold, 0.8F);
  EXPECT_EQ(detector.stages[2].threshold, 0.98F);
  EXPECT_EQ(detector.stages[1].net->input_blobs()[0]->height(), 2);
  EXPECT_EQ(detector.stages[2].net->input_blobs()[0]->height(), 4);
  EXPECT_THAT(detector.stages[0].mean, IsEmpty());
  EXPECT_THAT(detector.stages[1].mean,
              ElementsAre(0, 0.5F, 1, 1.5F, 2, 2.5F, 3, 3.5F, 4, 4.5F, 5, 105.25F));
  EXPECT_EQ(detector.stages[2].mean.size(), 48U);
  for (const oznalib::CascadeStage& stage : detector.stages) EXPECT_THAT(stage.offsets, IsEmpty());
  ASSERT_EQ(detector.calibration.offsets.size(), 2U);
  EXPECT_EQ(detector.calibration.offsets[0].scale, 1.0F);
  EXPECT_EQ(detector.calibration.offsets[1].dx, -4);
  EXPECT_EQ(detector.calibration.offsets[1].dy, 4);
  EXPECT_EQ(detector.calibration.offsets[1].scale, 0.5F);
  EXPECT_EQ(detector.calibration.mean.size(), 12U);
  EXPECT_EQ(detector.calibration.threshold, 0.0F);
}

TEST_F(LoadFromFiles, PutsTheFirstStageAloneIntoFastModeAfterItsWeights) {
  DetectorImpl detector;
  ASSERT_EQ(load("first 0.4\nsecond 0.8\n", detector), StatusOk);
  EXPECT_FALSE(detector.stages[0].net->first_run_pending());
  EXPECT_TRUE(detector.stages[1].net->first_run_pending());
  EXPECT_TRUE(detector.calibration.net->first_run_pending());
  // Negated responses of the two trained planes to 100: 0.5, and 1 - 0.25.
  const std::vector<float>& offsets = detector.stages[0].net->first_run_offsets();
  ASSERT_EQ(offsets.size(), 128U);
  EXPECT_EQ(offsets[63], -0.5F);
  EXPECT_FLOAT_EQ(offsets[64], -0.75F);
}

TEST_F(LoadFromFiles, LoadsASingleDenseNetworkFromAListOfOneLine) {
  DetectorImpl detector;
  ASSERT_EQ(load("first 0.4", detector), StatusOk);
  EXPECT_EQ(detector.stages.size(), 1U);
  EXPECT_TRUE(detector.calibration.net != nullptr);
}

TEST_F(LoadFromFiles, FailsOnAListOfCommentsAndTouchesNoOtherFile) {
  remove("cascades");  // Reading it would end the test.
  DetectorImpl detector;
  EXPECT_EQ(load("# first 0.4\n#\n", detector), StatusLoadFailed);
  EXPECT_FALSE(detector.loaded);
  EXPECT_FALSE(detector.stagesLoaded);
  EXPECT_THAT(detector.stages, IsEmpty());
}

TEST_F(LoadFromFiles, FailsOnAListThatCannotBeRead) {
  remove("cascades");
  DetectorImpl detector;
  EXPECT_EQ(load(root(), "no such list", detector), StatusLoadFailed);
  EXPECT_EQ(load(root(), "", detector), StatusLoadFailed);  // The directory itself.
  EXPECT_EQ(load("", "", detector), StatusLoadFailed);
  EXPECT_EQ(load("# none\n", detector), StatusLoadFailed);
}

TEST_F(LoadFromFiles, TakesAnEmptyListForNoStages) {
  DetectorImpl detector;
  EXPECT_EQ(load("", detector), StatusLoadFailed);
}

TEST_F(LoadFromFiles, ReadsAThresholdThatIsMissingOrNoNumberAsZero) {
  DetectorImpl detector;
  ASSERT_EQ(load("first\nsecond high\nthird 1e99\n", detector), StatusOk);
  EXPECT_EQ(detector.stages[0].threshold, 0.0F);
  EXPECT_EQ(detector.stages[1].threshold, 0.0F);
  EXPECT_EQ(detector.stages[2].threshold, 0.0F);
}

TEST_F(LoadFromFiles, AcceptsLinesThatEndInCarriageReturns) {
  DetectorImpl detector;
  ASSERT_EQ(load("# list\r\nfirst 0.4\r\nsecond 0.8\r\n", detector), StatusOk);
  ASSERT_EQ(detector.stages.size(), 2U);
  EXPECT_EQ(detector.stages[0].threshold, 0.4F);
  EXPECT_EQ(detector.stages[1].threshold, 0.8F);
}

TEST_F(LoadFromFiles, TakesAnEmptyLineForTheRootItself) {
  constantNet(2, {0.5, 0.5}).write(root());
  DetectorImpl detector;
  ASSERT_EQ(load("first 0.4\n\nthird 0.98\n", detector), StatusOk);
  ASSERT_EQ(detector.stages.size(), 3U);
  EXPECT_EQ(detector.stages[1].net->input_blobs()[0]->height(), 2);
  EXPECT_EQ(detector.stages[1].threshold, 0.0F);
}

TEST_F(LoadFromFiles, StopsAMeanAtTheFirstWordThatIsNoNumber) {
  writeFile(root() + "second/mean", "1 2.5\n-3\t4e1 mean 6");
  DetectorImpl detector;
  ASSERT_EQ(load("first 0\nsecond 0\n", detector), StatusOk);
  EXPECT_THAT(detector.stages[1].mean, ElementsAre(1, 2.5F, -3, 40));
}

TEST_F(LoadFromFiles, StopsOffsetsAtTheFirstTripleThatIsNotComplete) {
  writeFile(root() + calibrationDirectory() + "/offsets-scales", "1 2 3 4 5 6.5\n7 8\n");
  DetectorImpl detector;
  ASSERT_EQ(load("first 0\n", detector), StatusOk);
  ASSERT_EQ(detector.calibration.offsets.size(), 2U);
  EXPECT_EQ(detector.calibration.offsets[1].dx, 4);
  EXPECT_EQ(detector.calibration.offsets[1].scale, 6.5F);

  // 1.5 is no integer: the triple after it would be out of step.
  writeFile(root() + calibrationDirectory() + "/offsets-scales", "1 2 3\n1.5 2 3\n4 5 6\n");
  DetectorImpl other;
  ASSERT_EQ(load("first 0\n", other), StatusOk);
  EXPECT_EQ(other.calibration.offsets.size(), 1U);
}

TEST_F(LoadFromFiles, LeavesMissingMeansAndOffsetsEmpty) {
  remove("second/mean");
  remove(std::string(calibrationDirectory()) + "/mean");
  remove(std::string(calibrationDirectory()) + "/offsets-scales");
  DetectorImpl detector;
  ASSERT_EQ(load("first 0\nsecond 0\n", detector), StatusOk);
  EXPECT_THAT(detector.stages[1].mean, IsEmpty());
  EXPECT_THAT(detector.calibration.mean, IsEmpty());
  EXPECT_THAT(detector.calibration.offsets, IsEmpty());
}

// A host's locale that writes one half as 0,5.
class CommaNumbers : public std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

TEST_F(LoadFromFiles, ReadsNumbersInTheClassicLocaleWhateverTheHostHasSet) {
  const std::locale before =
      std::locale::global(std::locale(std::locale::classic(), new CommaNumbers));
  DetectorImpl detector;
  Status status;
  {
    const ozna_test::GermanLocale locale;  // The C library's too.
    ASSERT_TRUE(locale.hasComma()) << "is the package locales there?";
    status = load("first 0.4\nsecond 0.8\n", detector);
  }
  std::locale::global(before);
  ASSERT_EQ(status, StatusOk);
  EXPECT_EQ(detector.stages[0].threshold, 0.4F);
  EXPECT_EQ(detector.stages[1].mean[1], 0.5F);
  EXPECT_EQ(detector.stages[1].mean[11], 105.25F);
  EXPECT_EQ(detector.calibration.offsets[1].scale, 0.5F);
}

// What ends the process.

TEST_F(LoadFromFilesDeathTest, NeedsTheCalibrationForAListOfOneLine) {
  remove("cascades");
  EXPECT_DEATH(loadAlone("first 0.4"),
               "File not found: .*/cascades/x32Net-x32-3Scales-200//prototxt-deploy");
}

TEST_F(LoadFromFilesDeathTest, AddsNoSeparatorToTheRoot) {
  const std::string bare = root().substr(0, root().size() - 1);
  DetectorImpl detector;
  writeFile(root() + "list.txt", "first 0.4\n");
  // "rootlist.txt" does not exist, so there is no list.
  EXPECT_EQ(load(bare, "list.txt", detector), StatusLoadFailed);
  // "rootfirst" does not exist either.
  EXPECT_DEATH(load(bare, "/list.txt", detector), "File not found: .*[^/]first/prototxt-full");
}

TEST_F(LoadFromFilesDeathTest, ReportsAMissingDefinition) {
  remove("second/prototxt-deploy");
  EXPECT_DEATH(loadAlone("first 0.4\nsecond 0.8\n"), "File not found: .*second/prototxt-deploy");
  remove("first/prototxt-full");
  EXPECT_DEATH(loadAlone("first 0.4\n"), "File not found: .*first/prototxt-full");
}

TEST_F(LoadFromFilesDeathTest, ReportsMissingWeights) {
  remove("second/proto");
  EXPECT_DEATH(loadAlone("first 0.4\nsecond 0.8\n"), "File not found: .*second/proto");
  remove("first/proto-full");
  EXPECT_DEATH(loadAlone("first 0.4\n"), "File not found: .*first/proto-full");
}

TEST_F(LoadFromFilesDeathTest, ChoosesFilesByPositionAlone) {
  EXPECT_DEATH(loadAlone("second 0.4\n"), "File not found: .*second/prototxt-full");
  EXPECT_DEATH(loadAlone("first 0.4\nfirst 0.4\n"), "File not found: .*first/prototxt-deploy");
}

TEST_F(LoadFromFilesDeathTest, TakesACommentSignThatIsNotTheFirstCharacterForAName) {
  EXPECT_DEATH(loadAlone(" # 0.4\n"), "File not found: .*/#/prototxt-full");
}

TEST_F(LoadFromFilesDeathTest, RefusesAMalformedDefinition) {
  writeFile(root() + "first/prototxt-full", "layers {");
  EXPECT_DEATH(loadAlone("first 0.4\n"), "ReadProtoFromTextFile");
}

TEST_F(LoadFromFilesDeathTest, RefusesWeightsOfAnotherShape) {
  caffe::NetParameter trained;
  detector_test::addTrainedLayer("conv", {2, 3, 2, 2}, std::vector<float>(24), {0, 0}, trained);
  writeFile(root() + "first/proto-full", trained.SerializeAsString());
  EXPECT_DEATH(loadAlone("first 0.4\n"), "height\\(\\) == ");
}

TEST_F(LoadFromFilesDeathTest, RefusesGroupsInTheFirstLayer) {
  writeFile(root() + "first/prototxt-full",
            "input: \"data\" input_dim: 1 input_dim: 3 input_dim: 8 input_dim: 8\n"
            "layers { name: \"other\" type: CONVOLUTION bottom: \"data\" top: \"probs\""
            " convolution_param { num_output: 3 kernel_size: 1 group: 3"
            " weight_filler { type: \"constant\" } bias_filler { type: \"constant\" } } }\n");
  EXPECT_DEATH(loadAlone("first 0.4\n"), "binarization supports only single group.");
}

TEST_F(LoadFromFiles, AcceptsAFirstLayerThatIsNoConvolution) {
  writeFile(root() + "first/prototxt-full",
            "input: \"data\" input_dim: 1 input_dim: 3 input_dim: 8 input_dim: 8\n"
            "layers { name: \"other\" type: SOFTMAX bottom: \"data\" top: \"probs\" }\n");
  DetectorImpl detector;
  EXPECT_EQ(load("first 0.4\n", detector), StatusOk);
}

TEST_F(LoadFromFiles, AcceptsADefinitionWithoutLayers) {
  writeFile(root() + "first/prototxt-full",
            "input: \"probs\" input_dim: 1 input_dim: 3 input_dim: 8 input_dim: 8\n");
  DetectorImpl detector;
  EXPECT_EQ(load("first 0.4\n", detector), StatusOk);
}

// A definition of a stage, from the sizes of its two ends.
std::string stageDefinition(int num, int channels, int outputs, const std::string& last = "probs") {
  std::ostringstream text;
  text << "input: \"data\" input_dim: " << num << " input_dim: " << channels
       << " input_dim: 2 input_dim: 2\n"
       << "layers { name: \"last\" type: INNER_PRODUCT bottom: \"data\" top: \"" << last
       << "\" inner_product_param { num_output: " << outputs
       << " weight_filler { type: \"constant\" } bias_filler { type: \"constant\" } } }\n";
  return text.str();
}

// What no stage can work with, and what the message says. The name of the file stands before.
struct UselessDefinition {
  std::string text;
  std::string message;
};

std::vector<UselessDefinition> uselessDefinitions() {
  return {
      {"", "expected a network with an input of 1 by 3 planes, found none"},
      {"name: \"empty\"", "expected a network with an input of 1 by 3 planes, found none"},
      {stageDefinition(2, 3, 2), "expected an input of 1 by 3 planes, found 2 by 3"},
      {stageDefinition(1, 1, 2), "expected an input of 1 by 3 planes, found 1 by 1"},
      {stageDefinition(1, 4, 2), "expected an input of 1 by 3 planes, found 1 by 4"},
      {stageDefinition(1, 3, 2, "prob"), "expected a blob \"probs\" of probabilities, found none"},
      {stageDefinition(1, 3, 1), "expected at least two p"}};
}

TEST_F(LoadFromFilesDeathTest, RefusesNetworksThatCannotServeALaterStage) {
  for (const UselessDefinition& useless : uselessDefinitions()) {
    writeFile(root() + "second/prototxt-deploy", useless.text);
    EXPECT_DEATH(loadAlone("first 0.4\nsecond 0.8\n"),
                 "second/prototxt-deploy: " + useless.message);
  }
}

TEST_F(LoadFromFilesDeathTest, RefusesNetworksThatCannotCalibrate) {
  for (const UselessDefinition& useless : uselessDefinitions()) {
    writeFile(root() + calibrationDirectory() + "/prototxt-deploy", useless.text);
    EXPECT_DEATH(loadAlone("first 0.4\n"), "Scales-200//prototxt-deploy: " + useless.message);
  }
}

TEST_F(LoadFromFilesDeathTest, RefusesNetworksThatCannotBeTheDenseStage) {
  for (const UselessDefinition& useless : uselessDefinitions()) {
    writeFile(root() + "first/prototxt-full", useless.text);
    EXPECT_DEATH(loadAlone("first 0.4\n"), "first/prototxt-full: " + useless.message);
  }
}

// The end of a detector, and the lock.

TEST_F(LoadFromFiles, LetsTheNetworksGoWithTheDetector) {
  boost::weak_ptr<caffe::Net<float>> first;
  boost::weak_ptr<caffe::Net<float>> calibration;
  {
    DetectorImpl detector;
    ASSERT_EQ(load("first 0.4\n", detector), StatusOk);
    first = detector.stages[0].net;
    calibration = detector.calibration.net;
    EXPECT_FALSE(first.expired());
  }
  EXPECT_TRUE(first.expired());
  EXPECT_TRUE(calibration.expired());
}

TEST_F(LoadFromFiles, ReleasesTheLockAfterSuccessAndFailure) {
  for (const char* const list : {"first 0.4\n", "# none\n"}) {
    DetectorImpl detector;
    load(list, detector);
    ASSERT_TRUE(oznalib::loadLock().try_lock()) << list;
    oznalib::loadLock().unlock();
  }
}

class LoadThreads : public LoadFromFiles {};

TEST_F(LoadThreads, WaitForTheLock) {
  writeFile(root() + "list.txt", "first 0.4\n");
  std::atomic<bool> done(false);
  DetectorImpl detector;
  oznalib::loadLock().lock();
  std::thread loader([&] {
    load(root(), "list.txt", detector);
    done = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_FALSE(done);
  EXPECT_FALSE(detector.loaded);
  oznalib::loadLock().unlock();
  loader.join();
  EXPECT_TRUE(detector.loaded);
}

TEST(LoadLockDeathTest, SurvivesAnExitWhileItIsHeld) {
  EXPECT_EXIT(
      {
        oznalib::loadLock().lock();
        std::exit(0);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
