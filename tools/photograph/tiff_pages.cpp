// A walk along the chain of directories.

#include "tools/photograph/tiff_pages.h"

#include <cstddef>
#include <cstdint>

namespace oznatool {
namespace {

// Numbers of a file, of either byte order; 0 beyond its end, where every count and place ends.
class Numbers {
 public:
  Numbers(const unsigned char* bytes, std::size_t size, bool big_end)
      : bytes_(bytes), size_(size), big_end_(big_end) {}

  std::uint64_t at(std::uint64_t place, int length) const {
    if (place > size_ || size_ - place < static_cast<std::uint64_t>(length)) return 0;
    std::uint64_t value = 0;
    for (int i = 0; i < length; ++i) {
      const int from = big_end_ ? i : length - 1 - i;
      value = value << 8 | bytes_[place + static_cast<std::uint64_t>(from)];
    }
    return value;
  }

  bool holds(std::uint64_t place, std::uint64_t length) const {
    return place <= size_ && size_ - place >= length;
  }

 private:
  const unsigned char* bytes_;
  std::size_t size_;
  bool big_end_;
};

// The sizes of the parts of a directory: those of BigTIFF are wider.
struct Form {
  int count;                 // Bytes of the number of entries.
  std::uint64_t entry;       // Bytes of an entry.
  std::uint64_t value;       // Where the value stands in an entry.
  int next;                  // Bytes of the place of the next directory.
  std::uint64_t first_page;  // Where the file has the place of the first one.
};
constexpr Form kClassic = {2, 12, 8, 4, 4};
constexpr Form kBig = {8, 20, 12, 8, 8};

// Bits of the kind of a page: a smaller version of another one, and a mask.
constexpr std::uint64_t kNoPage = 1 | 4;
constexpr std::uint64_t kSubfileType = 254;

}  // namespace

std::size_t tiffPages(const unsigned char* bytes, std::size_t size) {
  constexpr std::size_t kMostPages = 65536;  // A chain may lead in a circle.
  if (size < 8 || bytes[0] != bytes[1] || (bytes[0] != 'I' && bytes[0] != 'M')) return 0;
  const Numbers numbers(bytes, size, bytes[0] == 'M');
  const std::uint64_t version = numbers.at(2, 2);
  if (version != 42 && version != 43) return 0;
  const Form& form = version == 42 ? kClassic : kBig;

  std::size_t pages = 0;
  std::uint64_t place = numbers.at(form.first_page, form.next);
  for (std::size_t visited = 0; place != 0 && visited < kMostPages; ++visited) {
    const std::uint64_t count = numbers.at(place, form.count);
    const std::uint64_t entries = place + static_cast<std::uint64_t>(form.count);
    if (count == 0 || count > 65535 || !numbers.holds(entries, count * form.entry)) break;
    // Entries are sorted, and this one has the lowest number.
    const bool has_kind = numbers.at(entries, 2) == kSubfileType;
    const std::uint64_t kind = has_kind ? numbers.at(entries + form.value, 4) : 0;
    if ((kind & kNoPage) == 0) ++pages;
    place = numbers.at(entries + count * form.entry, form.next);
  }
  return pages;
}

}  // namespace oznatool
