// Tests of the model slot and of the reader of model files, damaged ones included.

#include "alignment/sdm_model.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "tests/alignment/synthetic_model.h"
#include "tests/german_locale.h"
#include "tests/temporary_folder.h"

namespace {

using oznalib::globalSDMModel;
using oznalib::loadModelSlot;
using oznalib::SDMModel;
using oznalib::StatusLoadFailed;
using oznalib::StatusOk;
using oznalib::unloadModelSlot;
using synthetic::ModelFile;
using synthetic::put;

const std::vector<std::int32_t> kDefaultLevels = {2, 2, 1, 1, 0, 0, 0, 0, 0, 0};

mp::matrix row(const std::vector<float>& cells) {
  mp::matrix m(1, static_cast<std::int32_t>(cells.size()));
  std::copy(cells.begin(), cells.end(), m.data);
  return m;
}

std::vector<float> cellsOf(const mp::matrix& m) {
  return m.data == nullptr ? std::vector<float>()
                           : std::vector<float>(m.data, m.data + std::int64_t{m.rows} * m.cols);
}

SDMModel smallModel() {
  SDMModel model;
  model.auxMatrices = {row({1})};
  model.stageBias = {row({0.5F, -0.5F}), row({2, 3})};
  model.meanShape = {0.25F, 0.75F};
  model.auxValues = {7, 8, 9};
  model.stageMaps.resize(2);
  model.stageMaps[0].mean = row({1, 2});
  model.stageMaps[0].projection = row({3});
  model.stageMaps[1].mean = row({4});
  model.stageMaps[1].projection = row({5, 6});
  model.stageLevels = {3, 1, 4};
  model.reservedFlag = 11;
  model.levelsPerOctave = 4;
  model.faceWidth = 120;
  return model;
}

class SDMModelSlot : public testing::Test {
 protected:
  ~SDMModelSlot() override { unloadModelSlot(); }
};

TEST(SDMModel, StartsWithItsDefaults) {
  const SDMModel model;
  EXPECT_EQ(model.stageLevels, kDefaultLevels);
  EXPECT_EQ(model.levelsPerOctave, 3);
  EXPECT_EQ(model.faceWidth, 100);
  EXPECT_EQ(model.reservedFlag, 1);
  EXPECT_TRUE(model.meanShape.empty());
  EXPECT_TRUE(model.auxValues.empty());
  EXPECT_TRUE(model.auxMatrices.empty());
  EXPECT_TRUE(model.stageBias.empty());
  EXPECT_TRUE(model.stageMaps.empty());
  EXPECT_FALSE(model.reservedByte);
}

TEST_F(SDMModelSlot, IsNullAtFirstAndAfterEveryUnload) {
  EXPECT_EQ(globalSDMModel(), nullptr);
  EXPECT_EQ(unloadModelSlot(), StatusOk);
  EXPECT_EQ(unloadModelSlot(), StatusOk);
  ASSERT_EQ(ModelFile(smallModel()).load(), StatusOk);
  EXPECT_NE(globalSDMModel(), nullptr);
  EXPECT_EQ(unloadModelSlot(), StatusOk);
  EXPECT_EQ(globalSDMModel(), nullptr);
  EXPECT_EQ(unloadModelSlot(), StatusOk);
}

TEST_F(SDMModelSlot, ReadsAllFieldsInOrder) {
  ASSERT_EQ(ModelFile(smallModel()).load(), StatusOk);
  const SDMModel& model = *globalSDMModel();
  ASSERT_EQ(model.auxMatrices.size(), 1U);
  EXPECT_EQ(cellsOf(model.auxMatrices[0]), std::vector<float>{1});
  ASSERT_EQ(model.stageBias.size(), 2U);
  EXPECT_EQ(cellsOf(model.stageBias[0]), (std::vector<float>{0.5F, -0.5F}));
  EXPECT_EQ(cellsOf(model.stageBias[1]), (std::vector<float>{2, 3}));
  EXPECT_EQ(model.meanShape, (std::vector<float>{0.25F, 0.75F}));
  EXPECT_EQ(model.auxValues, (std::vector<float>{7, 8, 9}));
  ASSERT_EQ(model.stageMaps.size(), 2U);
  EXPECT_EQ(cellsOf(model.stageMaps[0].mean), (std::vector<float>{1, 2}));
  EXPECT_EQ(cellsOf(model.stageMaps[0].projection), std::vector<float>{3});
  EXPECT_EQ(cellsOf(model.stageMaps[1].mean), std::vector<float>{4});
  EXPECT_EQ(cellsOf(model.stageMaps[1].projection), (std::vector<float>{5, 6}));
  EXPECT_EQ(model.stageLevels, (std::vector<std::int32_t>{3, 1, 4}));
  EXPECT_EQ(model.reservedFlag, 11);
  EXPECT_EQ(model.levelsPerOctave, 4);
  EXPECT_EQ(model.faceWidth, 120);
  EXPECT_FALSE(model.reservedByte);
}

TEST_F(SDMModelSlot, MissingFileFailsAndDropsTheOldModel) {
  ASSERT_EQ(ModelFile(smallModel()).load(), StatusOk);
  const ozna_test::TemporaryFolder folder;
  EXPECT_EQ(loadModelSlot(folder.path(), "none.sdm"), StatusLoadFailed);
  ASSERT_NE(globalSDMModel(), nullptr);
  EXPECT_TRUE(globalSDMModel()->meanShape.empty());
  EXPECT_TRUE(globalSDMModel()->stageMaps.empty());
  EXPECT_EQ(globalSDMModel()->stageLevels, kDefaultLevels);
}

TEST_F(SDMModelSlot, SecondLoadReplacesTheFirst) {
  ASSERT_EQ(ModelFile(smallModel()).load(), StatusOk);
  SDMModel other = smallModel();
  other.meanShape = {1, 2, 3, 4};
  other.stageMaps.pop_back();
  ASSERT_EQ(ModelFile(other).load(), StatusOk);
  EXPECT_EQ(globalSDMModel()->meanShape, (std::vector<float>{1, 2, 3, 4}));
  EXPECT_EQ(globalSDMModel()->stageMaps.size(), 1U);
}

TEST_F(SDMModelSlot, ReaderNeedsAModelInTheSlot) {
  const ModelFile file(smallModel());
  EXPECT_FALSE(oznalib::readSDMFile(file.path()));
  ASSERT_EQ(loadModelSlot("/", "ozna_no_such_file.sdm"), StatusLoadFailed);
  EXPECT_TRUE(oznalib::readSDMFile(file.path()));
  EXPECT_EQ(globalSDMModel()->faceWidth, 120);
}

TEST_F(SDMModelSlot, StreamsGiveModelsOfTheCallers) {
  const std::string bytes = synthetic::fileForm(smallModel());
  std::istringstream in(bytes);
  in.seekg(5);  // It is read from its beginning all the same.
  SDMModel model;
  oznalib::readSDMModel(in, model);
  EXPECT_EQ(synthetic::fileForm(model), bytes);
  EXPECT_EQ(globalSDMModel(), nullptr);
  // One that is cut in the mean shape leaves the face width as it was.
  std::istringstream cut(bytes.substr(0, 70));
  SDMModel rest;
  oznalib::readSDMModel(cut, rest);
  EXPECT_EQ(rest.faceWidth, 100);
}

TEST_F(SDMModelSlot, CountsOfZeroEmptyAllLists) {
  std::ostringstream out;
  for (int i = 0; i < 6; ++i) {
    put(out, std::int32_t{0});
  }
  ASSERT_EQ(ModelFile(out.str()).load(), StatusOk);
  EXPECT_TRUE(globalSDMModel()->meanShape.empty());
  EXPECT_TRUE(globalSDMModel()->stageMaps.empty());
  EXPECT_TRUE(globalSDMModel()->stageLevels.empty());
  EXPECT_EQ(globalSDMModel()->faceWidth, 100);
}

TEST_F(SDMModelSlot, EmptyFileEmptiesTheLevels) {
  ASSERT_EQ(ModelFile(std::string()).load(), StatusOk);
  EXPECT_TRUE(globalSDMModel()->stageLevels.empty());
  EXPECT_EQ(globalSDMModel()->levelsPerOctave, 3);
}

// Reads a prefix of a file the plain way, value by value.
class PrefixReader {
 public:
  explicit PrefixReader(const std::string& bytes) : bytes_(bytes) {}

  template <class T>
  T value(T otherwise) {
    if (ended_ || bytes_.size() - at_ < sizeof(T)) {
      ended_ = true;
      return otherwise;
    }
    T result;
    std::memcpy(&result, bytes_.data() + at_, sizeof(T));
    at_ += sizeof(T);
    return result;
  }
  std::int32_t count() { return count_ = value(count_); }

 private:
  const std::string& bytes_;
  std::size_t at_ = 0;
  bool ended_ = false;
  std::int32_t count_ = 0;
};

void expectMatrix(PrefixReader& reader, const mp::matrix& m) {
  const std::int64_t rows = reader.value(std::int64_t{0});
  const std::int64_t cols = reader.value(std::int64_t{0});
  EXPECT_EQ(m.rows, rows);
  EXPECT_EQ(m.cols, cols);
  ASSERT_EQ(m.is_valid(), rows * cols > 0);
  for (std::int64_t i = 0; i < rows * cols; ++i) {
    const float sentinel = 1e30F;
    const float expected = reader.value(sentinel);
    if (expected != sentinel) {
      EXPECT_EQ(m.data[i], expected);
    }
  }
}

TEST_F(SDMModelSlot, FileThatEndsEarlyLeavesTheRestAsItWas) {
  const std::string whole = synthetic::fileForm(smallModel());
  for (std::size_t length = 0; length <= whole.size(); ++length) {
    SCOPED_TRACE(length);
    const std::string prefix = whole.substr(0, length);
    ASSERT_EQ(ModelFile(prefix).load(), StatusOk);
    const SDMModel& model = *globalSDMModel();
    PrefixReader reader(prefix);
    ASSERT_EQ(model.auxMatrices.size(), static_cast<std::size_t>(reader.count()));
    for (const mp::matrix& m : model.auxMatrices) expectMatrix(reader, m);
    ASSERT_EQ(model.stageBias.size(), static_cast<std::size_t>(reader.count()));
    for (const mp::matrix& m : model.stageBias) expectMatrix(reader, m);
    ASSERT_EQ(model.meanShape.size(), static_cast<std::size_t>(reader.count()));
    for (const float value : model.meanShape) EXPECT_EQ(value, reader.value(0.0F));
    ASSERT_EQ(model.auxValues.size(), static_cast<std::size_t>(reader.count()));
    for (const float value : model.auxValues) EXPECT_EQ(value, reader.value(0.0F));
    ASSERT_EQ(model.stageMaps.size(), static_cast<std::size_t>(reader.count()));
    for (const mp::pca_map& map : model.stageMaps) {
      expectMatrix(reader, map.mean);
      expectMatrix(reader, map.projection);
    }
    ASSERT_EQ(model.stageLevels.size(), static_cast<std::size_t>(reader.count()));
    for (const std::int32_t level : model.stageLevels) {
      EXPECT_EQ(level, reader.value(std::int32_t{0}));  // The default list is gone.
    }
    reader.value(std::int32_t{0});
    EXPECT_EQ(model.reservedFlag, reader.value(std::int32_t{1}));
    EXPECT_EQ(model.levelsPerOctave, reader.value(std::int32_t{3}));
    EXPECT_EQ(model.faceWidth, reader.value(std::int32_t{100}));
  }
}

TEST_F(SDMModelSlot, UnreadableCountRepeatsTheOneBefore) {
  std::ostringstream out;
  put(out, std::int32_t{0});
  put(out, std::int32_t{0});
  put(out, std::int32_t{4});
  put(out, 0.5F);
  ASSERT_EQ(ModelFile(out.str()).load(), StatusOk);
  const SDMModel& model = *globalSDMModel();
  EXPECT_EQ(model.meanShape, (std::vector<float>{0.5F, 0, 0, 0}));
  EXPECT_EQ(model.auxValues, std::vector<float>(4, 0.0F));
  ASSERT_EQ(model.stageMaps.size(), 4U);
  EXPECT_FALSE(model.stageMaps[0].is_valid());
  EXPECT_EQ(model.stageLevels, std::vector<std::int32_t>(4, 0));
}

std::size_t sizeOfField(const SDMModel& model, int field) {
  const std::size_t sizes[] = {model.auxMatrices.size(), model.stageBias.size(),
                               model.meanShape.size(),   model.auxValues.size(),
                               model.stageMaps.size(),   model.stageLevels.size()};
  return sizes[field];
}

// A file with a count in one of the six lists, and nothing in the lists before.
std::string fileWithCount(int field, std::int32_t count) {
  std::ostringstream out;
  for (int i = 0; i < field; ++i) {
    put(out, std::int32_t{0});
  }
  put(out, count);
  put(out, 1.0F);
  return out.str();
}

TEST_F(SDMModelSlot, CountsFarBeyondTheFileAreCut) {
  for (const std::int32_t count : {65537, 500000000, 2147483647}) {
    for (int field = 0; field < 6; ++field) {
      SCOPED_TRACE(std::to_string(count) + " in field " + std::to_string(field));
      ASSERT_EQ(ModelFile(fileWithCount(field, count)).load(), StatusOk);
      EXPECT_EQ(sizeOfField(*globalSDMModel(), field), std::size_t{65536});
    }
  }
}

TEST_F(SDMModelSlot, NegativeCountsRaiseBadAlloc) {
  for (const std::int32_t count : {-1, -65537, -2147483647 - 1}) {
    for (int field = 0; field < 6; ++field) {
      SCOPED_TRACE(std::to_string(count) + " in field " + std::to_string(field));
      EXPECT_THROW(ModelFile(fileWithCount(field, count)).load(), std::bad_alloc);
      ASSERT_NE(globalSDMModel(), nullptr);
      EXPECT_EQ(globalSDMModel()->faceWidth, 100);
    }
  }
}

TEST_F(SDMModelSlot, CountThatTheFileHoldsIsKept) {
  std::ostringstream out;
  put(out, std::int32_t{0});
  put(out, std::int32_t{0});
  put(out, std::int32_t{65540});
  for (int i = 0; i < 65540; ++i) {
    put(out, 0.5F);
  }
  put(out, std::int32_t{1});
  put(out, 7.0F);
  ASSERT_EQ(ModelFile(out.str()).load(), StatusOk);
  EXPECT_EQ(globalSDMModel()->meanShape, std::vector<float>(65540, 0.5F));
  EXPECT_EQ(globalSDMModel()->auxValues.front(), 7.0F);
}

TEST_F(SDMModelSlot, FolderIsNoModel) {
  const ozna_test::TemporaryFolder folder;
  EXPECT_EQ(loadModelSlot(folder.path(), "."), StatusLoadFailed);
}

TEST_F(SDMModelSlot, ImpossibleMatrixSizesRaiseBadAlloc) {
  struct Sizes {
    std::int64_t rows, cols;
  };
  for (const Sizes& sizes :
       {Sizes{std::int64_t{1} << 40, 1 << 20}, Sizes{-1, 1}, Sizes{1 << 20, 1 << 14},
        Sizes{std::int64_t{1} << 31, std::int64_t{1} << 31},
        // Products of 152 modulo 2^64; the rows come to 19 and to 3789677027 in 32 bits.
        Sizes{(std::int64_t{1} << 61) + 19, 8}, Sizes{135637824071393763, 136}}) {
    SCOPED_TRACE(sizes.rows);
    std::ostringstream as_matrix;
    put(as_matrix, std::int32_t{1});
    put(as_matrix, sizes.rows);
    put(as_matrix, sizes.cols);
    as_matrix << std::string(1000, '\1');
    EXPECT_THROW(ModelFile(as_matrix.str()).load(), std::bad_alloc);
    ASSERT_NE(globalSDMModel(), nullptr);
    EXPECT_FALSE(globalSDMModel()->auxMatrices[0].is_valid());
    EXPECT_EQ(globalSDMModel()->faceWidth, 100);

    std::ostringstream as_map;
    for (const std::int32_t count : {0, 0, 0, 0, 1}) {
      put(as_map, count);
    }
    row({1, 2}).save(as_map);
    put(as_map, sizes.rows);
    put(as_map, sizes.cols);
    as_map << std::string(1000, '\1');
    EXPECT_THROW(ModelFile(as_map.str()).load(), std::bad_alloc);
    EXPECT_FALSE(globalSDMModel()->stageMaps[0].is_valid());
  }
}

TEST_F(SDMModelSlot, HostLocaleDoesNotMatter) {
  const ozna_test::GermanLocale locale;
  ASSERT_TRUE(locale.hasComma()) << "is the package locales there?";
  ASSERT_EQ(ModelFile(smallModel()).load(), StatusOk);
  EXPECT_EQ(globalSDMModel()->meanShape, (std::vector<float>{0.25F, 0.75F}));
}

}  // namespace
