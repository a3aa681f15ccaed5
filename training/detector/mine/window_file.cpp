// Windows and labels as flat binary files with a description beside them.

#include "training/detector/mine/window_file.h"

#include <cstdio>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <type_traits>

namespace detector_training {
namespace {

static_assert(std::is_trivially_copyable_v<WindowLabel> && sizeof(WindowLabel) % 4 == 0,
              "labels are written as they lie in memory");

void appendPlanes(const cv::Mat& pixels, std::vector<std::uint8_t>& planes) {
  for (int plane = 0; plane < 3; ++plane) {
    for (int row = 0; row < pixels.rows; ++row) {
      const std::uint8_t* line = pixels.ptr(row);
      for (int column = 0; column < pixels.cols; ++column) {
        planes.push_back(line[3 * column + 2 - plane]);
      }
    }
  }
}

}  // namespace

WindowFile::WindowFile(const std::string& prefix, int side)
    : prefix_(prefix),
      side_(side),
      pixels_(prefix + ".u8", std::ios::binary),
      labels_(prefix + ".f32", std::ios::binary) {
  std::remove((prefix + ".json").c_str());
  if (!pixels_ || !labels_) throw std::runtime_error("cannot write " + prefix + ".*");
}

void WindowFile::append(const std::vector<Window>& windows) {
  std::vector<std::uint8_t> planes;
  for (const Window& window : windows) {
    CV_Assert(window.pixels.rows == side_ && window.pixels.cols == side_);
    planes.clear();
    appendPlanes(window.pixels, planes);
    pixels_.write(reinterpret_cast<const char*>(planes.data()),
                  static_cast<std::streamsize>(planes.size()));
    labels_.write(reinterpret_cast<const char*>(&window.label), sizeof(WindowLabel));
    ++count_;
  }
  if (!pixels_ || !labels_) throw std::runtime_error("cannot write " + prefix_ + ".*");
}

void WindowFile::close() {
  pixels_.close();
  labels_.close();
  std::ofstream description(prefix_ + ".json");
  description << nlohmann::json{{"windows", count_},
                                {"side", side_},
                                {"label_values", sizeof(WindowLabel) / sizeof(float)}}
                     .dump()
              << '\n';
  description.close();
  if (!pixels_ || !labels_ || !description) {
    throw std::runtime_error("cannot write " + prefix_ + ".*");
  }
}

}  // namespace detector_training
