// Landmark models from bytes: what is read, and what is refused with which sentence.

#include "kit/models/landmark_model.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <random>
#include <string>

#include "kit/error.h"
#include "kit/faces/placement.h"
#include "tests/alignment/synthetic_model.h"
#include "tests/kit/pixels/stored_picture.h"

namespace {

using kit::readLandmarkModel;
using oznalib::SDMModel;

// Places of the fields of a file without stages: six counts of 4 bytes, of which the third is
// followed by 136 floats and the last by one level; then four words.
constexpr std::size_t kMeanCountAt = 8;
constexpr std::size_t kMeanAt = 12;
constexpr std::size_t kLevelCountAt = kMeanAt + 136 * 4 + 8;
constexpr std::size_t kLevelAt = kLevelCountAt + 4;
constexpr std::size_t kOctaveAt = kLevelAt + 12;
constexpr std::size_t kFaceWidthAt = kOctaveAt + 4;
constexpr std::size_t kSize = kFaceWidthAt + 4;

SDMModel plainModel() {
  SDMModel model = synthetic::randomModel(68, {}, 0, 1);
  model.stageLevels = {1};
  return model;
}

template <class T>
std::string with(std::string bytes, std::size_t at, T value) {
  std::memcpy(&bytes[at], &value, sizeof(value));
  return bytes;
}

// The sentence with which a file is refused; empty where it is taken.
std::string refusal(const std::string& bytes) {
  try {
    readLandmarkModel("face68.sdm", bytes);
    return {};
  } catch (const kit::Error& error) {
    EXPECT_EQ(error.status(), OZNAKIT_BAD_MODEL);
    return error.what();
  }
}

TEST(LandmarkModel, IsReadLikeTheCoreReadsIt) {
  SDMModel model = synthetic::randomModel(68, {2, 1}, 0.01F, 3);
  model.auxMatrices = {mp::matrix(0, 0), mp::matrix(2, 3)};
  model.stageBias.assign(2, mp::matrix(1, 136));
  model.stageBias[1].fill(0.25F);
  model.auxValues = {1, 2};
  model.levelsPerOctave = 4;
  model.faceWidth = 120;
  const std::string bytes = synthetic::fileForm(model);
  const auto read = readLandmarkModel("face68.sdm", bytes);
  // All that is read is what is written once more, but for the word that is dropped.
  EXPECT_EQ(synthetic::fileForm(*read), bytes);
}

TEST(LandmarkModel, OfNoStageIsTheSizeThatTheTestsCountOn) {
  const std::string bytes = synthetic::fileForm(plainModel());
  ASSERT_EQ(bytes.size(), kSize);
  EXPECT_EQ(refusal(bytes), "");
}

TEST(LandmarkModel, IsRefusedWhereverItIsCut) {
  const std::string bytes = synthetic::fileForm(plainModel());
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    EXPECT_NE(refusal(bytes.substr(0, size)).find("more bytes at byte"), std::string::npos) << size;
  }
  EXPECT_EQ(refusal(""), "face68.sdm: expected 4 more bytes at byte 0, found the end.");
  EXPECT_EQ(refusal(bytes.substr(0, 14)),
            "face68.sdm: expected 4 more bytes at byte 12, found the end after 2.");
  EXPECT_EQ(refusal(bytes + "abc"), "face68.sdm: expected the end at byte " +
                                        std::to_string(kSize) + ", found 3 more bytes.");
  const std::string staged = synthetic::fileForm(synthetic::randomModel(68, {1}, 0, 1));
  EXPECT_EQ(refusal(staged), "");
  for (const std::size_t cut : {std::size_t{1}, std::size_t{30}, staged.size() / 2}) {
    EXPECT_NE(refusal(staged.substr(0, staged.size() - cut)), "") << cut;
  }
}

// A file that had another length when it was opened, and that is read once.
class ChangedFile : public kit::ModelFile {
 public:
  ChangedFile(std::size_t size_before, const std::string& bytes)
      : ModelFile(size_before), bytes_(bytes) {}
  std::size_t read(void* to, std::size_t count) override {
    const std::size_t copied = std::min(count, bytes_.size() - read_);
    std::memcpy(to, bytes_.data() + read_, copied);
    read_ += copied;
    return copied;
  }
  std::size_t bytesRead() const { return read_; }

 private:
  const std::string& bytes_;
  std::size_t read_ = 0;
};

std::string refusal(ChangedFile& file) {
  try {
    readLandmarkModel("face68.sdm", file);
    return {};
  } catch (const kit::Error& error) {
    EXPECT_EQ(error.status(), OZNAKIT_BAD_MODEL);
    return error.what();
  }
}

TEST(LandmarkModel, IsRefusedWhereItsFileBecomesShorterOrLonger) {
  const std::string bytes = synthetic::fileForm(synthetic::randomModel(68, {1}, 0, 1));
  ChangedFile same(bytes.size(), bytes);
  EXPECT_EQ(refusal(same), "");
  EXPECT_EQ(same.bytesRead(), bytes.size());

  const std::string shorter = bytes.substr(0, bytes.size() - 1);
  ChangedFile cut(bytes.size(), shorter);
  EXPECT_NE(refusal(cut).find("expected 4 more bytes at byte"), std::string::npos);
  const std::string half = bytes.substr(0, bytes.size() / 2);
  ChangedFile halved(bytes.size(), half);
  EXPECT_NE(refusal(halved).find("found the end after"), std::string::npos);

  const std::string longer = bytes + "abc";
  ChangedFile grown(bytes.size(), longer);
  EXPECT_EQ(refusal(grown), "face68.sdm: expected the end at byte " + std::to_string(bytes.size()) +
                                ", found 1 more bytes.");
}

// Memory is asked for as far as the file can fill it.
TEST(LandmarkModel, GetsNoMemoryForCellsThatItsFileDoesNotHold) {
  std::string bytes = with(synthetic::fileForm(plainModel()), 0, std::int32_t{1});
  bytes = with(bytes, 4, std::int64_t{1000000});
  bytes = with(bytes, 12, std::int64_t{1000000});
  EXPECT_EQ(refusal(bytes),
            "face68.sdm: expected 4000000000000 more bytes at byte 20, found the "
            "end after " +
                std::to_string(kSize - 20) + ".");
}

TEST(LandmarkModel, IsRefusedWithNumbersOutOfRange) {
  const std::string bytes = synthetic::fileForm(plainModel());
  EXPECT_EQ(refusal(with(bytes, 0, std::int32_t{-1})),
            "face68.sdm: expected a number of matrices of 0 to 1000000 at byte 0, found -1.");
  EXPECT_EQ(refusal(with(bytes, kMeanCountAt, std::int32_t{134})),
            "face68.sdm: expected a number of mean coordinates of 136 at byte 8, found 134.");
  for (const float place : {-1.01F, 2.01F, 1e30F, std::numeric_limits<float>::infinity(),
                            std::numeric_limits<float>::quiet_NaN()}) {
    EXPECT_NE(refusal(with(bytes, kMeanAt + 4 * 135, place)), "") << place;
  }
  for (const float place : {-1.0F, 2.0F}) {
    EXPECT_EQ(refusal(with(bytes, kMeanAt + 4 * 135, place)), "") << place;
  }
  EXPECT_NE(refusal(with(bytes, kLevelCountAt, std::int32_t{0})), "");
  EXPECT_NE(refusal(with(bytes, kLevelAt, std::int32_t{-1})), "");
  // Three levels in an octave, and three above: 0 to 5.
  EXPECT_EQ(refusal(with(bytes, kLevelAt, std::int32_t{5})), "");
  EXPECT_EQ(refusal(with(bytes, kLevelAt, std::int32_t{6})),
            "face68.sdm: expected at least 4 blur levels in an octave, since 6 is the level of a "
            "stage, at byte " +
                std::to_string(kOctaveAt) + ", found 3.");
  for (const std::int32_t levels : {-1, 0, 17, 1 << 30}) {
    EXPECT_NE(refusal(with(bytes, kOctaveAt, levels)), "") << levels;
  }
  for (const std::int32_t width : {-1, 0, 7, 513, 1 << 30}) {
    EXPECT_NE(refusal(with(bytes, kFaceWidthAt, width)), "") << width;
  }
  for (const std::int32_t width : {8, 512}) {
    EXPECT_EQ(refusal(with(bytes, kFaceWidthAt, width)), "") << width;
  }
}

TEST(LandmarkModel, IsRefusedWithMatricesThatDoNotFit) {
  SDMModel model = synthetic::randomModel(68, {1}, 0, 1);
  model.stageMaps[0].mean = mp::matrix(1, 8703);
  EXPECT_NE(refusal(synthetic::fileForm(model))
                .find("expected the mean of a stage of 1 by 8704 at byte "),
            std::string::npos);
  model = synthetic::randomModel(68, {1}, 0, 1);
  model.stageMaps[0].projection = mp::matrix(8704, 135);
  EXPECT_NE(refusal(synthetic::fileForm(model)).find("found 8704 by 135."), std::string::npos);
  model = synthetic::randomModel(68, {1}, 0, 1);
  model.stageBias.assign(2, mp::matrix(1, 136));
  EXPECT_NE(
      refusal(synthetic::fileForm(model)).find("expected as many stages as biases, 2, at byte"),
      std::string::npos);
  model.stageBias.assign(1, mp::matrix(1, 134));
  EXPECT_NE(refusal(synthetic::fileForm(model)).find("found 1 by 134."), std::string::npos);
}

TEST(LandmarkModel, IsRefusedWithCellsThatAreNotFinite) {
  for (const float wrong :
       {std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()}) {
    SDMModel model = synthetic::randomModel(68, {1}, 0, 1);
    model.stageMaps[0].mean.data[8703] = wrong;
    EXPECT_NE(refusal(synthetic::fileForm(model)).find("to be finite at byte"), std::string::npos);
    model.stageMaps[0].mean.data[8703] = 0;
    model.stageMaps[0].projection.data[8704 * 136 - 1] = wrong;
    EXPECT_NE(refusal(synthetic::fileForm(model)), "");
    model = plainModel();
    model.auxValues = {1, wrong};
    EXPECT_NE(refusal(synthetic::fileForm(model)), "");
    model = plainModel();
    model.auxMatrices = {mp::matrix(1, 2)};
    model.auxMatrices[0].data[1] = wrong;
    EXPECT_NE(refusal(synthetic::fileForm(model)), "");
  }
}

// Damage in one to three bytes; what is still taken must be able to place landmarks, or none.
TEST(LandmarkModel, ThatIsTakenNeverHarmsAnAlignment) {
  const std::string good = synthetic::fileForm(plainModel());
  const cv::Mat rgb = kit_test::coloured(60, 50, OZNAKIT_RGB);
  const kit_test::StoredPicture stored(rgb, OZNAKIT_RGB, 1, 0, /*upwards=*/false);
  const kit::Picture picture(stored.image());
  std::mt19937 random(7);
  int taken = 0;
  for (int i = 0; i < 400; ++i) {
    std::string bytes = good;
    for (unsigned k = 0; k <= random() % 3; ++k) {
      // Half of them in the words behind the mean shape, where sizes stand.
      const std::size_t at =
          random() % 2 == 0 ? kSize - 1 - random() % (kSize - kLevelCountAt) : random() % kSize;
      bytes[at] = static_cast<char>(random());
    }
    try {
      const auto model = readLandmarkModel("face68.sdm", bytes);
      ++taken;
      const auto placement = kit::placeLandmarks(*model, picture, {10, 10, 40, 40});
      EXPECT_TRUE(placement.points.empty() || placement.points.size() == 136U);
    } catch (const kit::Error& error) {
      EXPECT_EQ(error.status(), OZNAKIT_BAD_MODEL);
    }
  }
  EXPECT_GT(taken, 50);
}

}  // namespace
