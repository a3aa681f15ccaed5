/// Small and random landmark models for tests, and the writer of their file form.

#ifndef OZNA_TESTS_ALIGNMENT_SYNTHETIC_MODEL_H_
#define OZNA_TESTS_ALIGNMENT_SYNTHETIC_MODEL_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <opencv2/core.hpp>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "alignment/sdm_model.h"
#include "tests/temporary_folder.h"

namespace synthetic {

template <class T>
void put(std::ostream& out, T value) {
  out.write(reinterpret_cast<const char*>(&value), sizeof(value));
}

inline void putCount(std::ostream& out, std::size_t count) {
  put(out, static_cast<std::int32_t>(count));
}

inline std::string fileForm(const oznalib::SDMModel& model) {
  std::ostringstream out;
  putCount(out, model.auxMatrices.size());
  for (const mp::matrix& matrix : model.auxMatrices) matrix.save(out);
  putCount(out, model.stageBias.size());
  for (const mp::matrix& matrix : model.stageBias) matrix.save(out);
  putCount(out, model.meanShape.size());
  for (const float value : model.meanShape) put(out, value);
  putCount(out, model.auxValues.size());
  for (const float value : model.auxValues) put(out, value);
  putCount(out, model.stageMaps.size());
  for (const mp::pca_map& map : model.stageMaps) map.save(out);
  putCount(out, model.stageLevels.size());
  for (const std::int32_t value : model.stageLevels) put(out, value);
  put(out, std::int32_t{-99});
  put(out, model.reservedFlag);
  put(out, model.levelsPerOctave);
  put(out, model.faceWidth);
  return out.str();
}

/// A file that is gone when the object is.
class ModelFile {
 public:
  explicit ModelFile(const std::string& bytes) { std::ofstream(path(), std::ios::binary) << bytes; }
  explicit ModelFile(const oznalib::SDMModel& model) : ModelFile(fileForm(model)) {}
  ModelFile(const ModelFile&) = delete;
  ModelFile& operator=(const ModelFile&) = delete;

  std::string path() const { return folder_.file("model.sdm"); }
  oznalib::Status load() const { return oznalib::loadModelSlot(folder_.path(), "model.sdm"); }

 private:
  ozna_test::TemporaryFolder folder_;
};

inline void fillRandom(mp::matrix& matrix, float scale, std::mt19937& random) {
  std::uniform_real_distribution<float> uniform(-scale, scale);
  std::generate_n(matrix.data, std::int64_t{matrix.rows} * matrix.cols,
                  [&] { return uniform(random); });
}

/// Landmarks spread over the face box, and one random map a level in the list. scale 0 gives zero
/// maps.
inline oznalib::SDMModel randomModel(int landmarks, const std::vector<std::int32_t>& levels,
                                     float scale, unsigned seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> place(0.1F, 0.9F);
  oznalib::SDMModel model;
  model.stageLevels = levels;
  model.meanShape.resize(static_cast<std::size_t>(2 * landmarks));
  for (float& coordinate : model.meanShape) coordinate = place(random);
  for (std::size_t stage = 0; stage < levels.size(); ++stage) {
    model.stageMaps.emplace_back();
    mp::pca_map& map = model.stageMaps.back();
    map.mean = mp::matrix(1, landmarks * 128);
    map.projection = mp::matrix(landmarks * 128, landmarks * 2);
    if (scale > 0) {
      map.mean.fill(0.2F);
      fillRandom(map.projection, scale, random);
    }
  }
  return model;
}

/// Waves and noise, 8-bit; channels 1 or 3.
inline cv::Mat texturedImage(int columns, int rows, int channels, unsigned seed) {
  std::mt19937 random(seed);
  cv::Mat image(rows, columns, CV_8UC(channels));
  for (int y = 0; y < rows; ++y) {
    for (int x = 0; x < columns; ++x) {
      for (int c = 0; c < channels; ++c) {
        const double wave = 110 + 70 * std::sin(x * 0.13 + c) * std::cos(y * 0.11);
        image.ptr<std::uint8_t>(y)[x * channels + c] =
            static_cast<std::uint8_t>(wave + static_cast<double>(random() % 50));
      }
    }
  }
  return image;
}

inline oznalib::Image view(const cv::Mat& image) { return {image.cols, image.rows, 0, image.data}; }

}  // namespace synthetic

#endif  // OZNA_TESTS_ALIGNMENT_SYNTHETIC_MODEL_H_
