// Bilinear sampling with averaging. The image library's own warps start threads, and end at sides
// of 32767 pixels.

#include "kit/faces/resampling.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kit {
namespace {

constexpr int kMostSamples = 8192;  // Along a side of the part.

// The pixel that stands at a place outside where the picture is mirrored at its edges.
int mirrored(std::int64_t place, int length) {
  const std::int64_t period = 2 * std::int64_t{length};
  std::int64_t i = place % period;
  if (i < 0) {
    i += period;
  }
  return static_cast<int>(i < length ? i : period - 1 - i);
}

class Sampler {
 public:
  Sampler(const Picture& picture, const Border& border)
      : picture_(picture),
        format_(picture.format()),
        size_(picture.size()),
        mirrors_(border.mirrors) {
    for (std::size_t c = 0; c < outside_.size(); ++c) {
      outside_[c] = border.colour[c];
    }
  }

  void add(const cv::Point2d& place, Colour& sum) const {
    const double left = std::floor(place.x);
    const double top = std::floor(place.y);
    const auto right_share = static_cast<float>(place.x - left);
    const auto lower_share = static_cast<float>(place.y - top);
    const auto x = static_cast<std::int64_t>(left);
    const auto y = static_cast<std::int64_t>(top);
    addPixel(x, y, (1 - right_share) * (1 - lower_share), sum);
    addPixel(x + 1, y, right_share * (1 - lower_share), sum);
    addPixel(x, y + 1, (1 - right_share) * lower_share, sum);
    addPixel(x + 1, y + 1, right_share * lower_share, sum);
  }

 private:
  void addPixel(std::int64_t x, std::int64_t y, float share, Colour& sum) const {
    if (x < 0 || y < 0 || x >= size_.width || y >= size_.height) {
      if (!mirrors_) {
        for (std::size_t c = 0; c < sum.size(); ++c) {
          sum[c] += share * outside_[c];
        }
        return;
      }
      x = mirrored(x, size_.width);
      y = mirrored(y, size_.height);
    }
    const std::uint8_t* const pixel = picture_.pixel(static_cast<int>(x), static_cast<int>(y));
    sum[0] += share * static_cast<float>(pixel[format_.red]);
    sum[1] += share * static_cast<float>(pixel[format_.green]);
    sum[2] += share * static_cast<float>(pixel[format_.blue]);
    sum[3] += share * 255.0F;
  }

  const Picture& picture_;
  const PixelFormat& format_;
  cv::Size size_;
  bool mirrors_;
  Colour outside_;
};

int samplesAlongPixel(const cv::Size& size, const Similarity& from) {
  const int most = std::max(1, kMostSamples / std::max(size.width, size.height));
  // A hair less, so that a face of just the chip's scale is not taken for a larger one.
  const double pixels = std::hypot(from.a, from.b) - 1e-6;
  return pixels < most ? std::max(1, static_cast<int>(std::ceil(pixels))) : most;
}

}  // namespace

void resample(const Picture& picture, const cv::Size& size, const Similarity& from,
              const Border& border,
              const std::function<void(int y, const Colour* pixels)>& take_row) {
  const Sampler sampler(picture, border);
  const int samples = samplesAlongPixel(size, from);
  const float mean = 1.0F / (static_cast<float>(samples) * static_cast<float>(samples));
  const auto offset = [&](int i) { return (i + 0.5) / samples - 0.5; };
  std::vector<Colour> row(static_cast<std::size_t>(size.width));
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      // Sums of many samples would drop digits, so that each line of them is added up on its own.
      Colour pixel = {};
      for (int j = 0; j < samples; ++j) {
        Colour line = {};
        for (int i = 0; i < samples; ++i) {
          sampler.add(from({x + offset(i), y + offset(j)}), line);
        }
        for (std::size_t c = 0; c < pixel.size(); ++c) {
          pixel[c] += line[c] * mean;
        }
      }
      row[static_cast<std::size_t>(x)] = pixel;
    }
    take_row(y, row.data());
  }
}

}  // namespace kit
