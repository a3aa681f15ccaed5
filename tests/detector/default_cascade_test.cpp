// The default cascade, by its files and by the built-in tables.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <opencv2/imgproc.hpp>
#include <string>
#include <thread>
#include <vector>

#include "detector/cascade_driver.h"
#include "detector/model_store.h"
#include "detector/stage_results.h"
#include "tests/detector/handmade_cascade.h"
#include "tests/detector/host_directory.h"

namespace {

using detector_test::HostDirectory;
using oznalib::CascadeStage;
using oznalib::DetectorImpl;
using oznalib::StageResults;
using oznalib::StatusOk;
using testing::IsEmpty;

void loadFiles(DetectorImpl& detector) {
  const char* const root = OZNA_SOURCE_DIR "/public/";
  const char* const list = "stages.txt";
  ASSERT_EQ(loadFromFiles(oznalib::DetectorParams(root, list), detector), StatusOk);
}

void loadTables(DetectorImpl& detector) {
  const HostDirectory directory(OZNA_SOURCE_DIR);
  ASSERT_EQ(loadBuiltIn(detector), StatusOk);
}

TEST(BuiltInCascade, HasThreeStagesTheirThresholdsAndTheCalibrationTable) {
  DetectorImpl detector;
  loadTables(detector);
  EXPECT_TRUE(detector.loaded);
  ASSERT_EQ(detector.stages.size(), 3U);
  EXPECT_EQ(detector.stages[0].threshold, 0.4F);
  EXPECT_EQ(detector.stages[1].threshold, 0.8F);
  EXPECT_EQ(detector.stages[2].threshold, 0.98F);
  EXPECT_THAT(detector.stages[0].mean, IsEmpty());
  EXPECT_EQ(detector.stages[1].mean.size(), 1728U);
  EXPECT_EQ(detector.stages[2].mean.size(), 6912U);
  EXPECT_EQ(detector.stages[1].mean[0], 93.297F);
  EXPECT_EQ(detector.stages[2].mean[0], 93.2511F);
  EXPECT_EQ(detector.calibration.mean[0], 96.9583F);
  ASSERT_EQ(detector.calibration.offsets.size(), 19U);
  EXPECT_EQ(detector.calibration.offsets[9].scale, 0.9166667F);
  EXPECT_EQ(detector.calibration.offsets[10].scale, 1.0833334F);
  EXPECT_EQ(detector.stages[0].net->name(), "900.175");
  EXPECT_EQ(detector.stages[1].net->name(), "200.654");
  EXPECT_EQ(detector.stages[2].net->name(), "100.113");
  EXPECT_EQ(detector.calibration.net->name(), "200.79");
}

TEST(BuiltInCascade, HasTheShapesThatTheCascadeExpects) {
  DetectorImpl detector;
  loadTables(detector);
  caffe::Net<float>& dense = *detector.stages[0].net;
  const auto probs = dense.blob_by_name("probs");
  EXPECT_EQ(probs->channels(), 2);
  // A receptive field of 13 and a stride of 6: one cell up to 13 pixels, two from 19 on. Pooling
  // rounds up, so that two appear from 18 on already.
  dense.AlterInputShape(13, 13);
  EXPECT_EQ(probs->width(), 1);
  dense.AlterInputShape(19, 25);
  EXPECT_EQ(probs->width(), 2);
  EXPECT_EQ(probs->height(), 3);
  EXPECT_EQ(detector.stages[1].net->blob_by_name("probs")->count(), 2);
  EXPECT_EQ(detector.stages[2].net->blob_by_name("probs")->count(), 2);
  EXPECT_EQ(detector.calibration.net->blob_by_name("probs")->count(), 19);
}

void expectEqualStages(const CascadeStage& a, const CascadeStage& b) {
  EXPECT_EQ(a.threshold, b.threshold);
  EXPECT_EQ(a.mean, b.mean);
  ASSERT_EQ(a.offsets.size(), b.offsets.size());
  for (std::size_t i = 0; i < a.offsets.size(); ++i) {
    EXPECT_EQ(a.offsets[i].dx, b.offsets[i].dx);
    EXPECT_EQ(a.offsets[i].dy, b.offsets[i].dy);
    EXPECT_EQ(a.offsets[i].scale, b.offsets[i].scale);
  }
  EXPECT_EQ(a.net->name(), b.net->name());
  EXPECT_EQ(a.net->layer_names(), b.net->layer_names());
}

TEST(BuiltInCascade, IsTheCascadeOfTheFiles) {
  DetectorImpl files;
  DetectorImpl tables;
  loadFiles(files);
  loadTables(tables);
  for (int i = 0; i < 3; ++i) {
    SCOPED_TRACE(i);
    expectEqualStages(files.stages[i], tables.stages[i]);
  }
  expectEqualStages(files.calibration, tables.calibration);
}

// Texture of several sizes, so that every network sees boxes once the thresholds are lowered.
cv::Mat texture() {
  const cv::Mat fine = detector_test::noiseImage(240, 320, 11);
  cv::Mat coarse;
  cv::resize(detector_test::noiseImage(12, 16, 12), coarse, fine.size(), 0, 0, cv::INTER_CUBIC);
  cv::Mat mixed;
  cv::addWeighted(coarse, 0.8, fine, 0.2, 0, mixed);
  return mixed;
}

StageResults lenientTrace(DetectorImpl& detector) {
  detector.stages[0].threshold = 0.02F;
  detector.stages[1].threshold = 0.0F;
  detector.stages[2].threshold = 0.0F;
  StageResults trace(3);
  const oznalib::CandidateList faces =
      runCascade(detector, texture(), trace, {2.0F, 640, 0.05F, 12, 1.26F, 13});
  trace.push_back({faces});
  return trace;
}

TEST(BuiltInCascade, GivesTheSameBoxesAndScoresAsTheFiles) {
  DetectorImpl files;
  DetectorImpl tables;
  loadFiles(files);
  loadTables(tables);
  const StageResults of_files = lenientTrace(files);
  const StageResults of_tables = lenientTrace(tables);
  for (int stage = 0; stage < 4; ++stage) {
    SCOPED_TRACE(stage);
    const auto& a = of_files[stage][0].candidates;
    const auto& b = of_tables[stage][0].candidates;
    ASSERT_FALSE(a.empty());
    ASSERT_EQ(a.size(), b.size());
    for (std::size_t i = 0; i < a.size(); ++i) {
      ASSERT_EQ(detector_test::boxOf(a[i]), detector_test::boxOf(b[i])) << i;
      ASSERT_EQ(a[i].score, b[i].score) << i;
    }
  }
}

TEST(BuiltInCascade, FindsTheSameFacesInTheSameOrderWithoutATrace) {
  DetectorImpl detector;
  loadFiles(detector);
  const cv::Mat image = texture();
  const oznalib::CascadeParameter usual = {2.0F, 640, 0.05F, 12, 1.26F, 13};
  detector.stages[0].threshold = 0.05F;
  detector.stages[1].threshold = 0.02F;
  detector.stages[2].threshold = 0.0F;
  StageResults trace(3);
  const auto traced = runCascade(detector, image, trace, usual).candidates;
  const auto plain = runCascade(detector, image, usual).candidates;
  ASSERT_FALSE(traced.empty());
  ASSERT_EQ(plain.size(), traced.size());
  for (std::size_t i = 0; i < traced.size(); ++i) {
    ASSERT_EQ(detector_test::boxOf(plain[i]), detector_test::boxOf(traced[i])) << i;
    ASSERT_EQ(plain[i].score, traced[i].score) << i;
  }
}

TEST(BuiltInCascade, KeepsEveryBoxInsideTheImage) {
  DetectorImpl detector;
  loadFiles(detector);
  const cv::Mat image = texture();
  const cv::Rect whole(0, 0, image.cols, image.rows);
  for (const std::vector<oznalib::CandidateList>& stage : lenientTrace(detector)) {
    for (const oznalib::FaceCandidate& box : stage[0].candidates) {
      const cv::Rect rect(box.x, box.y, box.width, box.height);
      ASSERT_GT(box.width, 0);
      ASSERT_EQ(rect & whole, rect);
    }
  }
}

std::vector<oznalib::Detection> loadAndDetect(const std::string& root, const cv::Mat& image) {
  const char* const root_text = root.c_str();
  const char* const list = "list";
  oznalib::Detector detector;
  EXPECT_EQ(detector.load(oznalib::DetectorParams(root_text, list)), StatusOk);
  std::vector<oznalib::Detection> faces;
  for (int run = 0; run < 2; ++run) {
    faces.clear();
    // Few sizes: under ThreadSanitizer each box that passes costs a hundred times its usual time.
    EXPECT_EQ(detect(detector_test::borrow(image), detector, faces, {2.0F, 320, 0.1F, 4, 1.4F, 13}),
              StatusOk);
  }
  return faces;
}

TEST(DefaultCascadeThreads, LoadAndDetectSideBySide) {
  // Low thresholds, so that boxes reach every network.
  const ozna_test::TemporaryFolder directory;
  std::filesystem::create_directory_symlink(OZNA_SOURCE_DIR "/public/cascades",
                                            directory.root() + "cascades");
  detector_test::writeFile(directory.root() + "list",
                           "cascades/x16Net-demo 0.05\ncascades/x32Net 0\ncascades/x64Net 0\n");
  const cv::Mat image = texture();
  std::vector<std::vector<oznalib::Detection>> results(3);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < 2; ++i) {
    threads.emplace_back([&, i] { results[i] = loadAndDetect(directory.root(), image); });
  }
  for (std::thread& thread : threads) thread.join();
  results[2] = loadAndDetect(directory.root(), image);
  ASSERT_FALSE(results[2].empty());
  for (std::size_t i = 0; i < 2; ++i) {
    ASSERT_EQ(results[i].size(), results[2].size());
    for (std::size_t face = 0; face < results[2].size(); ++face) {
      EXPECT_EQ(results[i][face].score, results[2][face].score);
      EXPECT_EQ(results[i][face].rect.left, results[2][face].rect.left);
      EXPECT_EQ(results[i][face].rect.bottom, results[2][face].rect.bottom);
    }
  }
}

TEST(BuiltInCascadeDeathTest, FindsItsWeightsByTheCurrentDirectory) {
  const ozna_test::TemporaryFolder elsewhere;
  const auto load_elsewhere = [&] {
    std::filesystem::current_path(elsewhere.root());
    DetectorImpl detector;
    loadBuiltIn(detector);
  };
  EXPECT_DEATH(load_elsewhere(),
               "File not found: \\.\\./\\.\\./\\.\\./Ozna/public/cascades/x16Net-demo/proto-full");
}

}  // namespace
