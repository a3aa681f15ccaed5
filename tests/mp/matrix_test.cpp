// Tests of mp::matrix: file form, limits, text form, copies.

#include "mp/matrix.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

std::string fileForm(std::int64_t rows, std::int64_t cols, const std::vector<float>& cells) {
  std::string bytes(16 + 4 * cells.size(), '\0');
  std::memcpy(&bytes[0], &rows, 8);
  std::memcpy(&bytes[8], &cols, 8);
  if (!cells.empty()) {
    std::memcpy(&bytes[16], cells.data(), 4 * cells.size());
  }
  return bytes;
}

std::vector<float> cellsOf(const mp::matrix& m) {
  return m.data == nullptr ? std::vector<float>()
                           : std::vector<float>(m.data, m.data + std::int64_t{m.rows} * m.cols);
}

mp::matrix numbered(std::int32_t rows, std::int32_t cols) {
  mp::matrix m(rows, cols);
  for (std::int32_t i = 0; i < rows * cols; ++i) {
    m.data[i] = static_cast<float>(i + 1);
  }
  return m;
}

TEST(Matrix, IsEmptyByDefault) {
  const mp::matrix m;
  EXPECT_EQ(m.data, nullptr);
  EXPECT_EQ(m.rows, 0);
  EXPECT_EQ(m.cols, 0);
  EXPECT_FALSE(m.is_valid());
  EXPECT_STREQ(m.type_name(), "matrix_mp");
}

TEST(Matrix, StartsWithZeroCells) {
  const mp::matrix m(2, 3);
  EXPECT_TRUE(m.is_valid());
  EXPECT_EQ(cellsOf(m), std::vector<float>(6, 0.0F));
}

TEST(Matrix, SavesWordsOf64BitsThenCells) {
  std::ostringstream out;
  EXPECT_TRUE(numbered(2, 2).save(out));
  EXPECT_EQ(out.str(), fileForm(2, 2, {1, 2, 3, 4}));
}

TEST(Matrix, SavesHeaderAloneWithoutCells) {
  mp::matrix m;
  m.cols = 5;
  std::ostringstream out;
  EXPECT_TRUE(m.save(out));
  EXPECT_EQ(out.str(), fileForm(0, 5, {}));
}

TEST(Matrix, LoadsWhatItSaved) {
  std::stringstream stream;
  numbered(3, 2).save(stream);
  mp::matrix loaded;
  EXPECT_TRUE(loaded.load(stream, 0));
  EXPECT_EQ(loaded.rows, 3);
  EXPECT_EQ(loaded.cols, 2);
  EXPECT_EQ(cellsOf(loaded), (std::vector<float>{1, 2, 3, 4, 5, 6}));
}

TEST(Matrix, LoadsZeroRowsAsEmptyButKeepsColumns) {
  std::istringstream in(fileForm(0, 5, {}));
  mp::matrix m = numbered(1, 1);
  EXPECT_TRUE(m.load(in, 1));
  EXPECT_EQ(m.rows, 0);
  EXPECT_EQ(m.cols, 5);
  EXPECT_EQ(m.data, nullptr);
  EXPECT_FALSE(m.is_valid());
}

TEST(Matrix, LimitCountsTheHeaderAsEightBytes) {
  const std::string bytes = fileForm(2, 2, {1, 2, 3, 4});
  std::istringstream enough(bytes);
  mp::matrix accepted;
  EXPECT_TRUE(accepted.load(enough, 24));
  EXPECT_EQ(cellsOf(accepted), (std::vector<float>{1, 2, 3, 4}));

  std::istringstream short_by_one(bytes);
  mp::matrix refused = numbered(1, 1);
  EXPECT_FALSE(refused.load(short_by_one, 23));
  EXPECT_EQ(refused.rows, 1);
  EXPECT_EQ(refused.cols, 1);
  EXPECT_EQ(cellsOf(refused), std::vector<float>{1});
  EXPECT_EQ(short_by_one.tellg(), std::streampos(16));
}

TEST(Matrix, LimitsZeroAndMinusOneNeverRefuse) {
  for (const std::int64_t limit : {std::int64_t{0}, std::int64_t{-1}}) {
    std::istringstream in(fileForm(2, 2, {1, 2, 3, 4}));
    mp::matrix m;
    EXPECT_TRUE(m.load(in, limit)) << limit;
    EXPECT_EQ(m.rows, 2) << limit;
  }
}

TEST(Matrix, ShortStreamLeavesCellsAtZero) {
  std::istringstream in(fileForm(2, 2, {7}));
  mp::matrix m;
  EXPECT_TRUE(m.load(in, 0));
  EXPECT_EQ(m.rows, 2);
  EXPECT_EQ(cellsOf(m), (std::vector<float>{7, 0, 0, 0}));
}

// Sides of which there is no matrix, with a product of 152 modulo 2^64 where one is named.
const std::pair<std::int64_t, std::int64_t> kImpossibleSides[] = {
    {std::int64_t{1} << 31, std::int64_t{1} << 31},
    {std::numeric_limits<std::int32_t>::max(), std::numeric_limits<std::int32_t>::max()},
    {-1, 1},
    {-2, -3},
    {std::int64_t{1} << 32, 1},
    {1, std::int64_t{1} << 32},
    // 2^61 + 19 by 8: a product of 152 modulo 2^64, and sides of 19 and 8 in 32 bits.
    {(std::int64_t{1} << 61) + 19, 8},
    // A product of 152 too, and in 32 bits 3789677027 by 136.
    {135637824071393763, 136},
};

TEST(Matrix, ImpossibleSidesRaiseBadAllocAndLeaveTheObject) {
  for (const auto& [rows, cols] : kImpossibleSides) {
    for (const std::int64_t limit : {std::int64_t{0}, std::int64_t{-1}}) {
      std::istringstream in(fileForm(rows, cols, std::vector<float>(152, 1.0F)));
      mp::matrix m = numbered(1, 2);
      EXPECT_THROW(m.load(in, limit), std::bad_alloc) << rows << " by " << cols;
      EXPECT_EQ(m.rows, 1) << rows << " by " << cols;
      EXPECT_EQ(cellsOf(m), (std::vector<float>{1, 2})) << rows << " by " << cols;
    }
  }
}

TEST(Matrix, LimitRefusesImpossibleSidesToo) {
  for (const auto& [rows, cols] : kImpossibleSides) {
    std::istringstream in(fileForm(rows, cols, {}));
    mp::matrix m = numbered(1, 2);
    EXPECT_FALSE(m.load(in, 616)) << rows << " by " << cols;
    EXPECT_EQ(cellsOf(m), (std::vector<float>{1, 2})) << rows << " by " << cols;
  }
}

TEST(Matrix, SkipFailsAtImpossibleSides) {
  for (const auto& [rows, cols] : kImpossibleSides) {
    std::istringstream in(fileForm(rows, cols, std::vector<float>(200, 1.0F)));
    mp::matrix().skip(in);
    EXPECT_TRUE(in.fail()) << rows << " by " << cols;
  }
}

TEST(Matrix, PrintsAnEndOfLineForEachRowWithoutColumns) {
  std::istringstream in(fileForm(5, 0, {}));
  mp::matrix m;
  m.load(in, 0);
  std::ostringstream out;
  testing::internal::CaptureStdout();
  m.print(out);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "[5,0]\n");
  EXPECT_EQ(out.str(), "\n\n\n\n\n");
}

TEST(Matrix, SecondLoadReplacesTheFirst) {
  mp::matrix m;
  std::istringstream first(fileForm(1, 2, {1, 2}));
  std::istringstream second(fileForm(3, 1, {5, 6, 7}));
  m.load(first, 0);
  m.load(second, 0);
  EXPECT_EQ(m.rows, 3);
  EXPECT_EQ(cellsOf(m), (std::vector<float>{5, 6, 7}));
}

TEST(Matrix, PrintsHeaderToStandardOutputAndCellsToTheStream) {
  std::ostringstream out;
  testing::internal::CaptureStdout();
  numbered(1, 2).print(out);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "[1,2]\n");
  EXPECT_EQ(out.str(), "1 2 \n");
}

TEST(Matrix, PrintsOneLineARow) {
  std::ostringstream out;
  testing::internal::CaptureStdout();
  numbered(2, 2).print(out);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(out.str(), "1 2 \n3 4 \n");
}

TEST(Matrix, SkipMovesBehindAMatrix) {
  std::istringstream in(fileForm(2, 2, {1, 2, 3, 4}) + fileForm(0, 3, {}) + "x");
  const mp::matrix m;
  m.skip(in);
  EXPECT_EQ(in.tellg(), std::streampos(32));
  m.skip(in);
  EXPECT_EQ(in.get(), 'x');
}

TEST(Matrix, FillSetsEveryCell) {
  mp::matrix m(2, 2);
  m.fill(1.5F);
  EXPECT_EQ(cellsOf(m), std::vector<float>(4, 1.5F));
  mp::matrix().fill(1.0F);
}

TEST(Matrix, CopiesAreDeepAndMovesEmptyTheSource) {
  mp::matrix original = numbered(1, 2);
  mp::matrix copy(original);
  copy.data[0] = 9;
  EXPECT_EQ(original.data[0], 1);

  mp::matrix assigned = numbered(2, 2);
  assigned = original;
  EXPECT_EQ(cellsOf(assigned), (std::vector<float>{1, 2}));
  EXPECT_NE(assigned.data, original.data);
  const mp::matrix& self = assigned;
  assigned = self;
  EXPECT_EQ(cellsOf(assigned), (std::vector<float>{1, 2}));

  mp::matrix moved(std::move(original));
  EXPECT_EQ(cellsOf(moved), (std::vector<float>{1, 2}));
  EXPECT_EQ(original.data, nullptr);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(original.rows, 0);
  assigned = std::move(moved);
  EXPECT_EQ(cellsOf(assigned), (std::vector<float>{1, 2}));
  EXPECT_EQ(moved.data, nullptr);  // NOLINT(bugprone-use-after-move)
}

}  // namespace
