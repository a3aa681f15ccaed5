/// The index of further pictures in one JPEG file, in the multi-picture format of cameras and
/// telephones.

#ifndef OZNA_TOOLS_OUTPUT_PICTURE_INDEX_H_
#define OZNA_TOOLS_OUTPUT_PICTURE_INDEX_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace oznatool {

/// A number of 32 bits in a file that becomes larger by what the file grows before the place it
/// speaks of.
struct GrowingNumber {
  std::size_t place = 0;  ///< Of its first byte.
  bool is_big_endian = false;
};

/// What an index says, in bytes of the file.
struct PictureIndex {
  struct Picture {
    std::size_t entry = 0;  ///< Where its entry stands: a word of properties, the size, the place.
    std::size_t begin = 0, size = 0;
  };
  std::size_t base = 0;  ///< From here the places in the index are counted.
  bool is_big_endian = false;
  std::vector<Picture> pictures;  ///< The first one is that at the beginning of the file.

  /// The numbers that grow with a part of the first picture, which ends at a place; the index lies
  /// outside of it.
  std::vector<GrowingNumber> growingWith(std::size_t part_begin, std::size_t part_end) const;
};

/// The index in a segment of a file; none where the segment has none or has one that cannot be
/// understood in full: a picture that is not where the index says, one that reaches into another
/// one or beyond the file.
///
/// file          All its bytes.
/// begin, end    The content of the segment that begins with "MPF\0".
/// picture_end   Behind the first picture.
std::optional<PictureIndex> pictureIndexIn(std::string_view file, std::size_t begin,
                                           std::size_t end, std::size_t picture_end);

/// Adds to numbers of a file.
///
/// file    All its bytes, before it grows.
/// growth  What is added; less than 0 where the file shrinks.
/// Errors  std::runtime_error where a number would leave its 32 bits.
void addTo(std::string& file, const std::vector<GrowingNumber>& numbers, std::int64_t growth);

}  // namespace oznatool

#endif  // OZNA_TOOLS_OUTPUT_PICTURE_INDEX_H_
