// What a copy keeps of a photograph's metadata.

#include "tools/photograph/picture_metadata.h"

#include <exiv2/exiv2.hpp>

#include "tests/tools/output/copies_of_photographs.h"
#include "tests/tools/pictures.h"
#include "tests/tools/program.h"

namespace ozna_test {
namespace {

namespace fs = std::filesystem;

class PictureMetadata : public CopiesOfPhotographs {};

TEST_F(PictureMetadata, KeepProfileAndExifLessOrientationAndThumbnail) {
  for (const std::string ending : {".jpg", ".png", ".webp"}) {
    SCOPED_TRACE(ending);
    std::filesystem::create_directory(at("out"));
    const std::string photograph = withMetadata(ending == ".png" ? "in/a.png" : "in/a.jpg");
    ASSERT_EQ(runOzna({"annotate", "-o", at("out/a" + ending), photograph}).exit_code, 0);
    const auto image = Exiv2::ImageFactory::open(at("out/a" + ending));
    image->readMetadata();
    EXPECT_EQ(profileIn(*image), colourProfile());
    Exiv2::ExifData& exif = image->exifData();
    EXPECT_EQ(exif["Exif.Image.Model"].toString(), "Pinhole");
    EXPECT_EQ(exif["Exif.Photo.DateTimeOriginal"].toString(), "2026:11:22 12:00:00");
    // The copy is upright: sides exchanged where the photograph lay on its side.
    const int width = ending == ".png" ? 40 : 30;
    EXPECT_EQ(image->pixelWidth(), width);
    EXPECT_EQ(exif["Exif.Photo.PixelXDimension"].toLong(), width);
    EXPECT_EQ(exif.findKey(Exiv2::ExifKey("Exif.Image.Orientation")), exif.end());
    EXPECT_EQ(exif.findKey(Exiv2::ExifKey("Exif.Thumbnail.Compression")), exif.end());
  }
}

TEST_F(PictureMetadata, KeepTheProfileOfHeic) {
  for (const std::string& profile : {colourProfile(), std::string()}) {
    writeFile(at("in/a.heic"), encodedHeic(gradientPicture(64, 48), profile));
    for (const std::string ending : {".jpg", ".png", ".webp"}) {
      SCOPED_TRACE(ending);
      fs::create_directory(at("out"));
      ASSERT_EQ(runOzna({"annotate", "-o", at("out/a" + ending), at("in/a.heic")}).exit_code, 0);
      const auto image = Exiv2::ImageFactory::open(at("out/a" + ending));
      image->readMetadata();
      EXPECT_EQ(image->iccProfileDefined() ? profileIn(*image) : "", profile);
    }
  }
}

}  // namespace
}  // namespace ozna_test
