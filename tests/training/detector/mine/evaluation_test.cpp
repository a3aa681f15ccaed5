// Measurements of a cascade, on hand-made figures and on photographs.

#include "training/detector/mine/evaluation.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "tests/temporary_folder.h"
#include "tests/training/detector/mine/group_photograph.h"

namespace detector_training {
namespace {

TEST(Evaluation, CountsAboveAThreshold) {
  const OperatingPoint high = atThreshold(handMade(), 0.98F);
  EXPECT_DOUBLE_EQ(high.recall, 0.25);
  EXPECT_DOUBLE_EQ(high.wrong_each, 0);
  EXPECT_DOUBLE_EQ(high.mean_overlap, 0.8);
  const OperatingPoint low = atThreshold(handMade(), 0.55F);
  EXPECT_DOUBLE_EQ(low.recall, 0.5);
  EXPECT_DOUBLE_EQ(low.wrong_each, 0.2);
  EXPECT_DOUBLE_EQ(low.mean_overlap, 0.7);
}

TEST(Evaluation, FindsTheThresholdOfARate) {
  // None wrong: above 0.95 stands one face of four. One wrong in ten photographs: above 0.6, two.
  EXPECT_DOUBLE_EQ(atWrongEach(handMade(), 0.05).recall, 0.25);
  EXPECT_DOUBLE_EQ(atWrongEach(handMade(), 0.1).recall, 0.5);
  EXPECT_DOUBLE_EQ(atWrongEach(handMade(), 0.1).wrong_each, 0.1);
  EXPECT_DOUBLE_EQ(atWrongEach(handMade(), 0.5).recall, 0.75);
}

TEST(Evaluation, CountsHowManyOfTheBoxesOfAScoreAreFaces) {
  // From 0.5 to 0.95: faces of 0.5 and 0.9, a wrong box of 0.6; the wrong one of 0.95 is above, and
  // nothing was missed at -1.
  const Reliability middle = reliabilityOf(handMade(), 0.5F, 0.95F);
  EXPECT_EQ(middle.boxes, 3);
  EXPECT_NEAR(middle.share, 2.0 / 3, 1e-12);
  EXPECT_NEAR(middle.mean_score, (0.5 + 0.9 + 0.6) / 3, 1e-6);
  const Reliability high = reliabilityOf(handMade(), 0.95F, 1);
  EXPECT_EQ(high.boxes, 2);
  EXPECT_NEAR(high.share, 0.5, 1e-12);
  EXPECT_EQ(reliabilityOf(handMade(), 0.1F, 0.2F).boxes, 0);
}

TEST(Evaluation, FollowsBoxesThroughAsManyStagesAsThereAre) {
  const ozna_test::TemporaryFolder folder;
  writeFourStages(folder);
  const Measurement measurement =
      measure(folder.path(), {{kGroup, 1280, 700, kGroupFaces}}, /*threads=*/1);
  ASSERT_EQ(measurement.judged.size(), 4U);
  EXPECT_GT(measurement.judged[2], measurement.judged[3]);
  EXPECT_EQ(measurement.threshold, 0.98F);
  EXPECT_DOUBLE_EQ(atThreshold(measurement, measurement.threshold).recall, 1);
  for (const FaceResult& face : measurement.faces) {
    EXPECT_EQ(face.reached, std::vector<bool>(4, true));
  }
}

TEST(Evaluation, FindsTheFacesOfTheGroup) {
  std::vector<FaceSquare> faces = kGroupFaces;
  faces[1].ignore = true;                           // Found, counts neither way.
  faces.push_back({640, 350, 100, false});          // Nobody there: missed.
  faces.push_back({856, 112, 0.04 * 1280, false});  // Too small to count.
  faces.erase(faces.begin() + 2);                   // A face that nobody annotated: wrong.
  const std::vector<Photograph> photographs{{kGroup, 1280, 700, faces}};
  const Measurement measurement = measure(kModels, photographs, /*threads=*/1);
  EXPECT_EQ(measurement.faces.size(), 8U);
  const OperatingPoint point = atThreshold(measurement, measurement.threshold);
  EXPECT_DOUBLE_EQ(point.recall, 7.0 / 8.0);
  EXPECT_DOUBLE_EQ(point.wrong_each, 1);
  EXPECT_GT(point.mean_overlap, 0.6);
  ASSERT_EQ(measurement.judged.size(), 3U);
  EXPECT_GT(measurement.judged[0], measurement.judged[1]);
  EXPECT_GT(measurement.judged[1], measurement.judged[2]);
  EXPECT_GE(measurement.judged[2], measurement.passed);
  EXPECT_GE(measurement.passed, 9);
  for (std::size_t i = 0; i < measurement.faces.size(); ++i) {
    const FaceResult& face = measurement.faces[i];
    const bool someone = face.face.cx != 640;
    ASSERT_EQ(face.reached.size(), 3U);
    EXPECT_EQ(face.reached[2], someone);
    EXPECT_TRUE(face.reached[0] && (face.reached[1] || !someone)) << "face " << i;
  }
}

TEST(Evaluation, RefusesAFolderWithoutAModel) {
  const ozna_test::TemporaryFolder folder;
  EXPECT_THROW(measure(folder.path(), {}, 1), std::runtime_error);
}

TEST(CompactCascade, FindsTheFacesOfTheSamplesAndNothingElse) {
  const std::string compact = kModels + "/compact";
  const Measurement group = measure(compact, {{kGroup, 1280, 700, kGroupFaces}}, /*threads=*/1);
  const OperatingPoint point = atThreshold(group, group.threshold);
  EXPECT_DOUBLE_EQ(point.recall, 1);
  EXPECT_DOUBLE_EQ(point.wrong_each, 0);
  // Of the other two the face's square is measured by eye, too.
  const std::string samples = OZNA_SOURCE_DIR "/samples/";
  for (const Photograph& photograph :
       {Photograph{samples + "astronaut.png", 512, 512, {{225, 115, 100, false}}, false},
        Photograph{samples + "grace_hopper.jpg", 512, 600, {{265, 215, 195, false}}, false}}) {
    const Measurement one = measure(compact, {photograph}, /*threads=*/1);
    EXPECT_DOUBLE_EQ(atThreshold(one, one.threshold).recall, 1) << photograph.path;
    EXPECT_DOUBLE_EQ(atThreshold(one, one.threshold).wrong_each, 0) << photograph.path;
  }
}

}  // namespace
}  // namespace detector_training
