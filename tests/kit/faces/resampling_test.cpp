// Turned and scaled parts of a picture, pixel by pixel.

#include "kit/faces/resampling.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "kit/oznakit.h"

namespace {

using kit::Border;
using kit::Colour;
using kit::Similarity;

// A grey picture of these rows.
class Grey {
 public:
  Grey(int width, std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {
    image_ = OZNAKIT_IMAGE_INIT;
    image_.pixels = bytes_.data();
    image_.width = width;
    image_.height = static_cast<std::int32_t>(bytes_.size()) / width;
    image_.format = OZNAKIT_GREY;
  }
  kit::Picture picture() const { return kit::Picture(image_); }

 private:
  std::vector<std::uint8_t> bytes_;
  oznakit_image image_;
};

// Red of every pixel of a part.
std::vector<float> resampled(const Grey& grey, const cv::Size& size, const Similarity& from,
                             const Border& border = {}) {
  std::vector<float> values;
  kit::resample(grey.picture(), size, from, border, [&](int y, const Colour* pixels) {
    EXPECT_EQ(y * size.width, static_cast<int>(values.size()));
    for (int x = 0; x < size.width; ++x) values.push_back(pixels[x][0]);
  });
  return values;
}

const Grey kNine(3, {0, 10, 20, 30, 40, 50, 60, 70, 80});

TEST(Resample, OfTheSamePlacesIsACopy) {
  EXPECT_EQ(resampled(kNine, {3, 3}, {1, 0, 0, 0}),
            (std::vector<float>{0, 10, 20, 30, 40, 50, 60, 70, 80}));
}

TEST(Resample, BetweenPixelsIsTheMeanByTheirDistance) {
  // A quarter of a pixel to the right and half of one down.
  EXPECT_EQ(resampled(kNine, {2, 2}, {1, 0, 0.25, 0.5}),
            (std::vector<float>{17.5F, 27.5F, 47.5F, 57.5F}));
}

TEST(Resample, TurnsByAQuarter) {
  // Column x of the part is row x of the picture from below: (x, y) -> (y, 2 - x).
  EXPECT_EQ(resampled(kNine, {3, 3}, {0, -1, 0, 2}),
            (std::vector<float>{60, 30, 0, 70, 40, 10, 80, 50, 20}));
}

TEST(Resample, ReducesByMeansThatPassOverNoPixel) {
  const Grey sixteen(4, {0, 4, 8, 12, 0, 4, 8, 12, 40, 40, 80, 80, 40, 40, 80, 80});
  // Pixel 0 of the part stands between pixels 0 and 1.
  EXPECT_EQ(resampled(sixteen, {2, 2}, {2, 0, 0.5, 0.5}), (std::vector<float>{2, 10, 40, 80}));
}

TEST(Resample, HasTheBordersColourOrTheMirroredPictureOutside) {
  const Grey row(2, {10, 20});
  Border border;
  border.colour = {100, 0, 0, 255};
  EXPECT_EQ(resampled(row, {6, 1}, {1, 0, -2, 0}, border),
            (std::vector<float>{100, 100, 10, 20, 100, 100}));
  border.mirrors = true;
  EXPECT_EQ(resampled(row, {8, 1}, {1, 0, -3, 0}, border),
            (std::vector<float>{20, 20, 10, 10, 20, 20, 10, 10}));
}

TEST(Resample, AlphaIsFullInsideAndTheBordersOutside) {
  std::vector<float> alpha;
  kit::resample(kNine.picture(), {2, 1}, {1, 0, 2, 0}, Border(), [&](int, const Colour* pixels) {
    alpha = {pixels[0][3], pixels[1][3]};
  });
  EXPECT_EQ(alpha, (std::vector<float>{255, 0}));
}

}  // namespace
