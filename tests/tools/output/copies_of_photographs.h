/// A photograph with metadata, for the tests of what its annotated copies keep.

#ifndef OZNA_TESTS_TOOLS_OUTPUT_COPIES_OF_PHOTOGRAPHS_H_
#define OZNA_TESTS_TOOLS_OUTPUT_COPIES_OF_PHOTOGRAPHS_H_

#include <cstddef>
#include <cstdint>
#include <exiv2/exiv2.hpp>
#include <filesystem>
#include <string>

#include "tests/tools/pictures.h"
#include "tests/tools/program.h"

namespace ozna_test {

/// A colour profile as far as files look into it: its length stands in its first four bytes.
inline std::string colourProfile() {
  std::string profile(132, 'p');
  profile[0] = profile[1] = profile[2] = 0;
  profile[3] = static_cast<char>(132);
  return profile;
}

class CopiesOfPhotographs : public ProgramTest {
 protected:
  /// Puts profile, camera, time and a thumbnail's field into a picture that is turned on its side.
  std::string withMetadata(const std::string& name) const {
    const std::string ending = std::filesystem::path(name).extension().string();
    writeFile(at(name), ending == ".png"
                            ? encoded(ending, gradientPicture(40, 30))
                            : encodedWithOrientation(ending, gradientPicture(40, 30), 6));
    const auto image = Exiv2::ImageFactory::open(at(name));
    image->readMetadata();
    const std::string profile = colourProfile();
    Exiv2::DataBuf bytes(reinterpret_cast<const Exiv2::byte*>(profile.data()),
                         static_cast<long>(profile.size()));
    image->setIccProfile(bytes);
    Exiv2::ExifData& exif = image->exifData();
    exif["Exif.Image.Model"] = "Pinhole";
    exif["Exif.Photo.DateTimeOriginal"] = "2026:11:22 12:00:00";
    exif["Exif.Photo.PixelXDimension"] = std::uint32_t{40};
    exif["Exif.Thumbnail.Compression"] = std::uint16_t{6};
    image->writeMetadata();
    return at(name);
  }

  static std::string profileIn(Exiv2::Image& image) {
    const Exiv2::DataBuf* const profile = image.iccProfile();
    return {reinterpret_cast<const char*>(profile->pData_),
            static_cast<std::size_t>(profile->size_)};
  }
};

}  // namespace ozna_test

#endif  // OZNA_TESTS_TOOLS_OUTPUT_COPIES_OF_PHOTOGRAPHS_H_
