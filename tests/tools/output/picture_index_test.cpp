// The index of a file's further pictures, byte by byte.

#include "tools/output/picture_index.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using oznatool::GrowingNumber;
using oznatool::PictureIndex;
using oznatool::pictureIndexIn;

std::string number(std::size_t value, std::size_t bytes, bool is_big_endian) {
  std::string text;
  for (std::size_t i = 0; i < bytes; ++i) {
    text += static_cast<char>(value >> 8 * (is_big_endian ? bytes - 1 - i : i) & 0xFF);
  }
  return text;
}

// A file of "head", the index, "behind" up to byte 100, and a second picture of 20 bytes there.
constexpr std::size_t kBegin = 4;
constexpr std::size_t kPictureEnd = 90;
constexpr std::size_t kSecond = 100;

struct IndexedFile {
  explicit IndexedFile(bool is_big_endian, std::size_t first_size = kPictureEnd) {
    const auto put = [&](std::size_t value, std::size_t bytes) {
      text += number(value, bytes, is_big_endian);
    };
    text = std::string("headMPF\0", 8) + (is_big_endian ? "MM" : "II");
    put(42, 2);
    put(8, 4);  // The directory, of one field.
    put(1, 2);
    put(0xB002, 2);
    put(7, 2);
    put(32, 4);
    put(26, 4);  // The list, behind the field and the place of a next directory.
    put(0, 4);
    list = text.size();
    for (const auto& [size, place] : {std::pair(first_size, std::size_t{0}),
                                      std::pair(std::size_t{20}, kSecond - kBegin - 4)}) {
      put(0, 4);
      put(size, 4);
      put(place, 4);
      put(0, 4);
    }
    end = text.size();
    text.resize(kSecond, '.');
    text += "\xFF\xD8\xFF" + std::string(17, 'p');
  }
  std::optional<PictureIndex> index() const {
    return pictureIndexIn(text, kBegin, end, kPictureEnd);
  }
  std::string text;
  std::size_t list = 0;  // Where the list begins.
  std::size_t end = 0;   // Of the segment.
};

TEST(PictureIndex, IsReadInBothOrdersOfBytes) {
  for (const bool is_big_endian : {false, true}) {
    const IndexedFile file(is_big_endian);
    const auto index = file.index();
    ASSERT_TRUE(index) << is_big_endian;
    EXPECT_EQ(index->is_big_endian, is_big_endian);
    EXPECT_EQ(index->base, 8U);
    ASSERT_EQ(index->pictures.size(), 2U);
    EXPECT_EQ(index->pictures[0].entry, file.list);
    EXPECT_EQ(index->pictures[0].size, kPictureEnd);
    EXPECT_EQ(index->pictures[1].begin, kSecond);
    EXPECT_EQ(index->pictures[1].size, 20U);
  }
}

TEST(PictureIndex, IsNoneWhereAnyByteOfItsFormIsWrong) {
  const IndexedFile file(true);
  // Of the mark, the order of bytes, the directory's place, the field's number, kind, size and
  // place.
  for (const std::size_t byte : {4, 8, 10, 15, 16, 18, 20, 22, 26}) {
    IndexedFile changed = file;
    changed.text[byte] = '\x55';
    EXPECT_FALSE(changed.index()) << byte;
  }
}

TEST(PictureIndex, IsNoneWhereAPictureIsNotWhereItSays) {
  IndexedFile file(false);
  std::string& text = file.text;
  const std::string whole = text;
  text[kSecond] = 'x';  // No picture begins there.
  EXPECT_FALSE(file.index());
  text = whole;
  text.pop_back();  // It ends behind the file.
  EXPECT_FALSE(file.index());
  text = whole;
  text[file.list + 16 + 8] = static_cast<char>(kPictureEnd - 8 - 1);  // Inside the first picture.
  EXPECT_FALSE(file.index());
  text = whole;
  text[file.list + 8] = 1;  // The first one is that at the beginning.
  EXPECT_FALSE(file.index());
}

TEST(PictureIndex, NamesTheNumbersThatGrowWithAPart) {
  const auto index = IndexedFile(true).index();
  ASSERT_TRUE(index);
  // Behind the index: the first picture becomes larger and the second moves on.
  std::vector<GrowingNumber> numbers = index->growingWith(70, 80);
  ASSERT_EQ(numbers.size(), 2U);
  EXPECT_EQ(numbers[0].place, index->pictures[0].entry + 4);
  EXPECT_EQ(numbers[1].place, index->pictures[1].entry + 8);
  EXPECT_TRUE(numbers[1].is_big_endian);
  // Before the index, from where places count: only the size.
  numbers = index->growingWith(2, 3);
  ASSERT_EQ(numbers.size(), 1U);
  EXPECT_EQ(numbers[0].place, index->pictures[0].entry + 4);
  // Some cameras give no size of the first picture.
  const auto unsized = IndexedFile(true, /*first_size=*/0).index();
  ASSERT_TRUE(unsized);
  EXPECT_EQ(unsized->growingWith(70, 80).size(), 1U);
}

TEST(AddTo, ChangesNumbersWithinTheir32Bits) {
  std::string file = number(0xFFFFFFF0, 4, true) + number(300, 4, false);
  oznatool::addTo(file, {{0, true}, {4, false}}, 15);
  EXPECT_EQ(file, number(0xFFFFFFFF, 4, true) + number(315, 4, false));
  oznatool::addTo(file, {{4, false}}, -315);
  EXPECT_EQ(file.substr(4), number(0, 4, false));
  EXPECT_THROW(oznatool::addTo(file, {{4, false}}, -1), std::runtime_error);
  EXPECT_THROW(oznatool::addTo(file, {{0, true}}, 1), std::runtime_error);
}

}  // namespace
