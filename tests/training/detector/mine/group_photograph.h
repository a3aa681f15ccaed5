/// A photograph with nine faces, the cascades that find them, and a measurement made by hand.

#ifndef OZNA_TESTS_TRAINING_DETECTOR_MINE_GROUP_PHOTOGRAPH_H_
#define OZNA_TESTS_TRAINING_DETECTOR_MINE_GROUP_PHOTOGRAPH_H_

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "detector/model_store.h"
#include "tests/temporary_folder.h"
#include "training/detector/mine/evaluation.h"
#include "training/detector/mine/photographs.h"

namespace detector_training {

inline const std::string kModels = OZNA_SOURCE_DIR "/public";
inline const std::string kGroup = OZNA_SOURCE_DIR "/samples/group.jpg";

/// Squares around the nine faces of the group photograph, measured by eye to a few pixels.
inline const std::vector<FaceSquare> kGroupFaces{
    {856, 112, 74, false},  {376, 480, 66, false},  {616, 496, 80, false},
    {1164, 410, 66, false}, {182, 123, 120, false}, {900, 476, 140, false},
    {126, 525, 108, false}, {547, 178, 158, false}, {1137, 144, 130, false}};

/// Loads the cascade of a folder.
inline void loadCascade(oznalib::DetectorImpl& detector, const std::string& models = kModels) {
  const std::string root = models + "/";
  const char* folder = root.c_str();
  ASSERT_EQ(loadFromFiles(oznalib::DetectorParams(folder, "stages.txt"), detector),
            oznalib::StatusOk);
}

/// Writes the list of a cascade whose second stage judges twice, over the networks of the built-in
/// one.
inline void writeFourStages(const ozna_test::TemporaryFolder& folder) {
  std::filesystem::create_directory_symlink(kModels + "/cascades", folder.file("cascades"));
  std::ofstream(folder.file("stages.txt")) << "cascades/x16Net-demo 0.4\ncascades/x32Net 0.6\n"
                                              "cascades/x32Net 0.8\ncascades/x64Net 0.98\n";
}

inline FaceResult foundFace(float score, double overlap_with_face) {
  FaceResult face;
  face.score = score;
  face.overlap = overlap_with_face;
  return face;
}

/// Four faces, of which one is missed, and two wrong boxes, in ten photographs.
inline Measurement handMade() {
  Measurement measurement;
  measurement.photographs = 10;
  measurement.threshold = 0.98F;
  measurement.faces = {foundFace(0.99F, 0.8), foundFace(0.9F, 0.6), foundFace(0.5F, 0.7),
                       foundFace(-1, 0)};
  measurement.wrong = {{0, {0, 0, 9, 9, 0.95F, 0}}, {3, {0, 0, 9, 9, 0.6F, 0}}};
  return measurement;
}

}  // namespace detector_training

#endif  // OZNA_TESTS_TRAINING_DETECTOR_MINE_GROUP_PHOTOGRAPH_H_
