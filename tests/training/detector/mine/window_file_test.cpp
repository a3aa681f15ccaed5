// The files of cut windows, byte by byte.

#include "training/detector/mine/window_file.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/temporary_folder.h"

namespace detector_training {
namespace {

TEST(WindowFile, HoldsPlanesInTheOrderOfANetwork) {
  const ozna_test::TemporaryFolder folder;
  const std::string prefix = folder.file("some");
  Window window;
  window.pixels.create(2, 2, CV_8UC3);
  for (int i = 0; i < 12; ++i) window.pixels.data[i] = static_cast<std::uint8_t>(i);
  window.label.photograph = 4;
  window.label.overlap = 0.5F;
  window.label.face_side = 0.25F;
  WindowFile file(prefix, 2);
  file.append({window});
  EXPECT_FALSE(std::filesystem::exists(prefix + ".json")) << "complete before it was closed";
  file.close();

  std::ifstream pixels(prefix + ".u8", std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(pixels)), {});
  EXPECT_EQ(bytes, std::string("\x02\x05\x08\x0b\x01\x04\x07\x0a\x00\x03\x06\x09", 12));
  std::ifstream labels(prefix + ".f32", std::ios::binary);
  std::vector<float> values(12);
  labels.read(reinterpret_cast<char*>(values.data()), 12 * sizeof(float));
  EXPECT_EQ(labels.peek(), EOF);
  EXPECT_EQ(values[0], 4);
  EXPECT_EQ(values[6], 0.5F);
  EXPECT_EQ(values[11], 0.25F);
  const auto description = nlohmann::json::parse(std::ifstream(prefix + ".json"));
  EXPECT_EQ(description["windows"], 1);
  EXPECT_EQ(description["side"], 2);
  EXPECT_EQ(description["label_values"], 12);
}

TEST(WindowFile, RefusesAFolderThatIsNotThere) {
  EXPECT_THROW(WindowFile("/nowhere/at/all", 2), std::runtime_error);
}

}  // namespace
}  // namespace detector_training
