// The index is a TIFF structure in an application segment; its places count from the beginning of
// that structure.

#include "tools/output/picture_index.h"

#include <cstddef>
#include <limits>
#include <stdexcept>

namespace oznatool {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kMark = "MPF\0"sv;
constexpr std::size_t kEntrySize = 16;
constexpr std::size_t kSizeInEntry = 4;
constexpr std::size_t kPlaceInEntry = 8;

// Numbers in one order of bytes. Who asks has made sure that they lie inside the text.
struct Numbers {
  std::string_view text;
  bool is_big_endian;

  std::uint32_t at(std::size_t place, std::size_t bytes) const {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
      const std::size_t shift = 8 * (is_big_endian ? bytes - 1 - i : i);
      value |= static_cast<std::uint32_t>(static_cast<unsigned char>(text[place + i])) << shift;
    }
    return value;
  }
};

// Where the list of pictures stands in the index, and how many bytes it has; none where it is not
// there.
struct List {
  std::size_t begin, size;
};
std::optional<List> listIn(const Numbers& index) {
  constexpr std::size_t kHead = 8;
  constexpr std::size_t kField = 12;
  constexpr std::uint32_t kListOfPictures = 0xB002;
  constexpr std::uint32_t kBytes = 7;
  if (index.text.size() < kHead) return std::nullopt;
  const std::size_t directory = index.at(4, 4);
  if (directory < kHead || directory > index.text.size() - 2) return std::nullopt;
  const std::size_t fields = index.at(directory, 2);
  if ((index.text.size() - directory - 2) / kField < fields) return std::nullopt;
  for (std::size_t field = directory + 2; field < directory + 2 + kField * fields;
       field += kField) {
    if (index.at(field, 2) != kListOfPictures) continue;
    const List list{index.at(field + 8, 4), index.at(field + 4, 4)};
    const bool is_inside =
        list.begin <= index.text.size() && list.size <= index.text.size() - list.begin;
    if (index.at(field + 2, 2) != kBytes || !is_inside) return std::nullopt;
    return list;
  }
  return std::nullopt;
}

}  // namespace

std::vector<GrowingNumber> PictureIndex::growingWith(std::size_t part_begin,
                                                     std::size_t part_end) const {
  std::vector<GrowingNumber> numbers;
  // Some cameras give no size of the first picture.
  if (pictures.front().size >= part_end) {
    numbers.push_back({pictures.front().entry + kSizeInEntry, is_big_endian});
  }
  // Behind the part, the index moves along with the pictures.
  if (base <= part_begin) {
    for (std::size_t i = 1; i < pictures.size(); ++i) {
      numbers.push_back({pictures[i].entry + kPlaceInEntry, is_big_endian});
    }
  }
  return numbers;
}

std::optional<PictureIndex> pictureIndexIn(std::string_view file, std::size_t begin,
                                           std::size_t end, std::size_t picture_end) {
  PictureIndex found;
  found.base = begin + kMark.size();
  if (end < found.base + 4 || file.substr(begin, kMark.size()) != kMark) return std::nullopt;
  const std::string_view text = file.substr(found.base, end - found.base);
  found.is_big_endian = text.substr(0, 4) == "MM\0*"sv;
  if (!found.is_big_endian && text.substr(0, 4) != "II*\0"sv) return std::nullopt;
  const Numbers numbers{text, found.is_big_endian};
  const auto list = listIn(numbers);
  if (!list || list->size < 2 * kEntrySize || list->size % kEntrySize != 0) return std::nullopt;
  std::size_t last_end = picture_end;
  for (std::size_t i = 0; i < list->size / kEntrySize; ++i) {
    const std::size_t entry = list->begin + kEntrySize * i;
    PictureIndex::Picture picture;
    picture.entry = found.base + entry;
    picture.size = numbers.at(entry + kSizeInEntry, 4);
    const std::size_t place = numbers.at(entry + kPlaceInEntry, 4);
    if (i == 0) {
      if (place != 0) return std::nullopt;
    } else {
      picture.begin = found.base + place;
      const bool is_inside = picture.begin >= last_end && picture.begin <= file.size() &&
                             picture.size <= file.size() - picture.begin;
      if (!is_inside || file.substr(picture.begin, 3) != "\xFF\xD8\xFF") return std::nullopt;
      last_end = picture.begin + picture.size;
    }
    found.pictures.push_back(picture);
  }
  return found;
}

void addTo(std::string& file, const std::vector<GrowingNumber>& numbers, std::int64_t growth) {
  for (const GrowingNumber& number : numbers) {
    const std::int64_t value = Numbers{file, number.is_big_endian}.at(number.place, 4) + growth;
    if (value < 0 || value > std::numeric_limits<std::uint32_t>::max()) {
      throw std::runtime_error("has an index of pictures that cannot count so far");
    }
    for (std::size_t i = 0; i < 4; ++i) {
      const std::size_t shift = 8 * (number.is_big_endian ? 3 - i : i);
      file[number.place + i] = static_cast<char>(value >> shift & 0xFF);
    }
  }
}

}  // namespace oznatool
