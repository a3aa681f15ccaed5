/// Photographs made of a sample in other formats, whose faces are compared with the sample's.

#ifndef OZNA_TESTS_TOOLS_PHOTOGRAPH_SAMPLE_FACE_H_
#define OZNA_TESTS_TOOLS_PHOTOGRAPH_SAMPLE_FACE_H_

#include <opencv2/imgcodecs.hpp>

#include "tests/tools/program.h"

namespace ozna_test {

class SampleFaceTest : public ProgramTest {
 protected:
  // The face of the sample, which is 512 pixels on each side.
  static nlohmann::ordered_json faceOfSample() {
    return parsed(
        runOzna({"detect", "--json", OZNA_SOURCE_DIR "/samples/astronaut.png"}).out)["faces"][0];
  }
  static void expectNear(const nlohmann::ordered_json& face, const nlohmann::ordered_json& expected,
                         float times, float pixels) {
    for (const char* edge : {"left", "top", "right", "bottom"}) {
      EXPECT_NEAR(face[edge].get<float>(), times * expected[edge].get<float>(), pixels) << edge;
    }
  }
  const cv::Mat astronaut_ = cv::imread(OZNA_SOURCE_DIR "/samples/astronaut.png");
};

}  // namespace ozna_test

#endif  // OZNA_TESTS_TOOLS_PHOTOGRAPH_SAMPLE_FACE_H_
