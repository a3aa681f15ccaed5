/// A plain, slow pyramid and descriptor, written for reading, to compare the library's with.

#ifndef OZNA_TESTS_ALIGNMENT_REFERENCE_PYRAMID_H_
#define OZNA_TESTS_ALIGNMENT_REFERENCE_PYRAMID_H_

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace reference {

struct Picture {
  int width = 0;
  int height = 0;
  std::vector<float> pixels;

  Picture(int w, int h) : width(w), height(h), pixels(static_cast<std::size_t>(w) * h) {}
  float& at(int x, int y) { return pixels[static_cast<std::size_t>(y) * width + x]; }
  float at(int x, int y) const { return pixels[static_cast<std::size_t>(y) * width + x]; }
};

// With the error functions of the standard library.
inline std::vector<float> kernel(float sigma) {
  const int half = static_cast<int>(sigma * 3.5F + 0.5F);
  const double c = 1.0 / (static_cast<double>(sigma) * std::sqrt(2.0));
  std::vector<float> taps(static_cast<std::size_t>(2 * half + 1));
  double sum = 0;
  for (int i = 1; i <= half; ++i) {
    const double v = i * c >= 2.5 ? std::erfc((i - 0.5) * c) - std::erfc((i + 0.5) * c)
                                  : std::erf((i + 0.5) * c) - std::erf((i - 0.5) * c);
    taps[half - i] = static_cast<float>(v);
    taps[half + i] = static_cast<float>(v);
    sum += v;
  }
  const double centre = std::erf(0.5 * c) - std::erf(-0.5 * c);
  taps[half] = static_cast<float>(centre);
  for (float& tap : taps) {
    tap /= static_cast<float>(2 * sum + centre);
  }
  return taps;
}

inline Picture blur(const Picture& source, const std::vector<float>& taps) {
  const int count = static_cast<int>(taps.size());
  const int half = count / 2;
  Picture rows(source.width, source.height);
  for (int y = 0; y < source.height; ++y) {
    for (int x = 0; x < source.width; ++x) {
      float sum = 0;
      for (int j = 0; j < count; ++j) {
        sum += taps[j] * source.at(std::clamp(x + j - half, 0, source.width - 1), y);
      }
      rows.at(x, y) = sum;
    }
  }
  Picture out(source.width, source.height);
  for (int x = 0; x < source.width; ++x) {
    for (int y = 0; y < source.height; ++y) {
      float sum = 0;
      for (int j = 0; j < count; ++j) {
        sum += taps[j] * rows.at(x, std::clamp(y + j - half, 0, source.height - 1));
      }
      out.at(x, y) = sum;
    }
  }
  return out;
}

inline float angleOf(float y, float x) {
  if (x == 0.0F) {
    if (y == 0.0F) return 0.0F;
    return y >= 0.0F ? 1.5707962513F : -1.5707962513F;
  }
  const float t = y / x;
  if (std::fabs(t) > 1.0F) {
    float r = 1.5707962513F - t / (t * t + 0.28F);
    if (y < 0.0F) r -= 3.1415925026F;
    return r;
  }
  const float r = t / (t * 0.28F * t + 1.0F);
  if (x < 0.0F) return y < 0.0F ? r - 3.1415925026F : r + 3.1415925026F;
  return r;
}

struct Cell {
  float magnitude = 0;
  float fraction = 0;
  float weight = 0;
  int bin = 0;
  int neighbour = 0;
};

inline Cell gradientAt(const Picture& p, int x, int y) {
  Cell cell;
  if (x < 1 || y < 1 || x > p.width - 2 || y > p.height - 2) {
    return cell;
  }
  const float dx = p.at(x + 1, y) - p.at(x - 1, y);
  const float dy = p.at(x, y + 1) - p.at(x, y - 1);
  cell.magnitude = std::sqrt(dy * dy + dx * dx);
  float a = angleOf(dy, dx);
  while (a < 0.0F) a += 6.2831855F;
  a = a * 8.0F / 6.2831855F;
  int b = static_cast<int>(a + 0.5F);
  const float f = static_cast<float>(b);
  if (a > f) {
    cell.fraction = a - f;
    if (b == 8) {
      b = 0;
      cell.neighbour = 1;
    } else {
      cell.neighbour = b == 7 ? 0 : b + 1;
    }
  } else {
    cell.fraction = f - a;
    if (b == 8) {
      b = 0;
      cell.neighbour = 7;
    } else {
      cell.neighbour = b == 0 ? 7 : b - 1;
    }
  }
  cell.weight = 1.0F - cell.fraction;
  cell.bin = b;
  return cell;
}

// Planes of a pyramid with the default blurs.
inline std::vector<Picture> pyramid(const std::vector<std::uint8_t>& pixels, int width, int height,
                                    int levels) {
  Picture image(width, height);
  for (std::size_t i = 0; i < image.pixels.size(); ++i) {
    image.pixels[i] = static_cast<float>(pixels[i]) / 255.0F;
  }
  std::vector<Picture> planes;
  planes.push_back(blur(image, kernel(std::sqrt(0.8F * 0.8F - 0.5F * 0.5F))));
  const float k = std::pow(2.0F, 1.0F / static_cast<float>(levels));
  float sigma = std::sqrt(k * k - 1.0F) * 0.8F;
  for (int level = 0; level <= levels + 1; ++level) {
    planes.push_back(blur(planes.back(), kernel(sigma)));
    sigma *= k;
  }
  return planes;
}

// Returns the length of the histogram, or 0 and an untouched out.
inline float descriptor(const std::vector<Picture>& planes, int levels, float x, float y,
                        float level, std::uint8_t* out) {
  float histogram[4][4][8] = {};
  const int width = planes[0].width;
  const int height = planes[0].height;
  const int xi = static_cast<int>(static_cast<double>(x) + 0.5);
  const int yi = static_cast<int>(static_cast<double>(y) + 0.5);
  const int li = static_cast<int>(static_cast<double>(level) + 0.5);
  const float step = std::pow(2.0F, 1.0F / static_cast<float>(levels));
  // Squaring by hand for the exponents that occur.
  const float square = step * step;
  const float power[] = {
      1.0F, step, square, step * square, square * square, step * (square * square)};
  const float s = power[li] * 0.8F * 4.0F;
  const int radius =
      static_cast<int>(static_cast<double>(s) * 1.4142135623730951 * 4.0 * 0.5 + 0.5);
  for (int dy = std::max(-radius, 1 - yi); dy <= std::min(height - yi - 2, radius); ++dy) {
    for (int dx = std::max(-radius, 1 - xi); dx <= std::min(width - xi - 2, radius); ++dx) {
      const Cell g = gradientAt(planes[li], xi + dx, yi + dy);
      const float fy = (static_cast<float>(dy) + (static_cast<float>(yi) - y)) / s - 0.5F;
      const float fx = (static_cast<float>(dx) + (static_cast<float>(xi) - x)) / s - 0.5F;
      const int cx = static_cast<int>(std::floor(fx));
      const int cy = static_cast<int>(std::floor(fy));
      const float u = fx - static_cast<float>(cx);
      const float v = fy - static_cast<float>(cy);
      const float p = g.magnitude * g.weight;
      const float r = g.fraction / (g.weight + 1e-6F);
      const float a = p - u * p;
      const float b = a - p;
      const auto spread = [&](int row, int column, float c) {
        histogram[row][column][g.bin] += c;
        histogram[row][column][g.neighbour] += c * r;
      };
      if (-2 <= cx && cx <= 1 && -2 <= cy && cy <= 1) {
        spread(cy + 2, cx + 2, std::fabs((1.0F - v) * a));
      }
      if (-2 <= cx && cx <= 1 && -3 <= cy && cy <= 0) {
        spread(cy + 3, cx + 2, std::fabs((0.0F - v) * a));
      }
      if (-3 <= cx && cx <= 0 && -2 <= cy && cy <= 1) {
        spread(cy + 2, cx + 3, std::fabs((1.0F - v) * b));
      }
      if (-3 <= cx && cx <= 0 && -3 <= cy && cy <= 0) {
        spread(cy + 3, cx + 3, std::fabs((0.0F - v) * b));
      }
    }
  }
  float* h = &histogram[0][0][0];
  const auto length = [&] {
    float sum = 0;
    for (int i = 0; i < 128; ++i) sum += h[i] * h[i];
    return std::sqrt(sum);
  };
  const float n = length();
  if (!(n > 0.5F)) {
    return 0.0F;
  }
  for (int i = 0; i < 128; ++i) {
    h[i] /= n;
    if (h[i] > 0.2F) h[i] = 0.2F;
  }
  const float capped = length();
  for (int i = 0; i < 128; ++i) {
    const int value = static_cast<int>(h[i] / capped * 255.0F + 0.5F);
    out[i] = static_cast<std::uint8_t>(std::clamp(value, 0, 255));
  }
  return n;
}

}  // namespace reference

#endif  // OZNA_TESTS_ALIGNMENT_REFERENCE_PYRAMID_H_
