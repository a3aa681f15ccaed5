// The pages of a TIFF file.

#include "tools/photograph/tiff_pages.h"

#include <cstddef>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

// A TIFF file of directories, each with one entry: the kind of the page.
std::string directories(const std::vector<int>& kinds, bool leads_in_a_circle) {
  std::string file("II*\0\x08\0\0\0", 8);
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    const bool is_last = i + 1 == kinds.size();
    const std::size_t next = !is_last ? file.size() + 18 : leads_in_a_circle ? 8 : 0;
    file += std::string("\x01\0\xFE\0\x04\0\x01\0\0\0", 10);
    file += std::string({static_cast<char>(kinds[i]), 0, 0, 0});
    file += std::string({static_cast<char>(next), 0, 0, 0});
  }
  return file;
}

std::size_t pagesOf(const std::string& file) {
  return oznatool::tiffPages(reinterpret_cast<const unsigned char*>(file.data()), file.size());
}

TEST(TiffPages, DoNotCountSmallerVersionsNorMasks) {
  EXPECT_EQ(pagesOf(directories({0, 1, 2, 4}, false)), 2U);
  EXPECT_EQ(pagesOf(directories({0, 2}, false)), 2U);
  EXPECT_EQ(pagesOf("II*"), 0U);
  EXPECT_EQ(pagesOf("no such file"), 0U);
}

TEST(TiffPages, EndAtDamage) {
  const std::string whole = directories({0, 2, 2}, false);
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_LE(pagesOf(whole.substr(0, size)), 3U) << size;
  }
  EXPECT_EQ(pagesOf(directories({0, 2}, /*leads_in_a_circle=*/true)), 65536U);
}

}  // namespace
}  // namespace ozna_test
