// The smallest program of the README, on a sample photograph.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <opencv2/imgcodecs.hpp>
#include <sstream>
#include <string>

#include "tests/temporary_folder.h"

namespace {

std::string outputOf(const std::string& command) {
  std::string output;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return output;
  char buffer[256];
  while (fgets(buffer, sizeof(buffer), pipe) != nullptr) output += buffer;
  pclose(pipe);
  return output;
}

TEST(FindFaces, PrintsTheOneFaceOfAPortrait) {
  const cv::Mat portrait = cv::imread(OZNA_SOURCE_DIR "/samples/astronaut.png");
  ASSERT_FALSE(portrait.empty());
  const ozna_test::TemporaryFolder folder;
  const std::string ppm = folder.file("portrait.ppm");
  ASSERT_TRUE(cv::imwrite(ppm, portrait));

  std::istringstream lines(outputOf("'" FIND_FACES "' '" + ppm + "'"));
  float left, top, right, bottom, score, nose_x, nose_y, roll;
  std::string word;
  ASSERT_TRUE(lines >> left >> top >> right >> bottom >> word >> score);
  EXPECT_EQ(word, "score");
  ASSERT_TRUE(lines >> word >> nose_x >> nose_y >> word >> roll);
  EXPECT_TRUE(nose_x > 206 && nose_x < 245 && nose_y > 113 && nose_y < 160) << nose_x << nose_y;
  EXPECT_GT(score, 0.98F);
  // The eyes stand at about (206, 113) and (245, 113), the chin at about (226, 160).
  EXPECT_LT(left, 200);
  EXPECT_GT(right, 250);
  EXPECT_LT(top, 108);
  EXPECT_GT(bottom, 140);
  std::string rest;
  EXPECT_FALSE(lines >> rest) << "a second face: " << rest;
}

TEST(FindFaces, RefusesAHeaderThatPromisesMoreThanTheFileHolds) {
  const ozna_test::TemporaryFolder folder;
  // 3 by 21846 by 65536 bytes are 131072 too many for 32 bits, which is what would be left of them.
  for (const std::string header :
       {"P6 21846 65536 255\n", "P6 40000 40000 255\n", "P6 9 9 255\n"}) {
    const std::string ppm = folder.file("header.ppm");
    std::ofstream(ppm, std::ios::binary) << header << std::string(131072, 'x');
    const int status = std::system(("'" FIND_FACES "' '" + ppm + "' > /dev/null").c_str());
    EXPECT_TRUE(WIFEXITED(status)) << header;
    EXPECT_EQ(WEXITSTATUS(status), 1) << header;
  }
}

}  // namespace
