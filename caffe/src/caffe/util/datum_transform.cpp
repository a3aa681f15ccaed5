// From the record of one image to the values of one slot of a batch.

#include "caffe/util/datum_transform.hpp"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

#include "caffe/common.hpp"

namespace caffe {

namespace {

// The part of a record that goes to the output.
struct Window {
  int top;
  int left;
  int height;
  int width;
  bool mirrored;
};

Window WholeImage(const DatumTransform& transform) {
  return {0, 0, transform.height, transform.width, false};
}

// The draws are modulo the number of rows (columns) that the crop leaves free, so the last of the
// positions that would fit is never drawn.
Window Crop(const DatumTransform& transform, const std::function<unsigned int()>& draw) {
  const int crop_size = transform.crop_size;
  const int free_rows = transform.height - crop_size;
  const int free_columns = transform.width - crop_size;
  Window window = {free_rows / 2, free_columns / 2, crop_size, crop_size, false};
  if (transform.random_crop) {
    window.top = static_cast<int>(draw() % static_cast<unsigned int>(free_rows));
    window.left = static_cast<int>(draw() % static_cast<unsigned int>(free_columns));
  }
  window.mirrored = transform.mirror && draw() % 2 == 1;
  return window;
}

// Mean and values share their layout: each value meets the mean of the place that it comes from,
// also when its row is then reversed.
template <typename ValueAt>
void WriteWindow(const Window& window, const DatumTransform& transform, ValueAt value_at,
                 float* output) {
  for (int channel = 0; channel < transform.channels; ++channel) {
    for (int row = 0; row < window.height; ++row) {
      const int source_row = (channel * transform.height + window.top + row) * transform.width;
      const int source = source_row + window.left;
      for (int column = 0; column < window.width; ++column) {
        const int target = window.mirrored ? window.width - 1 - column : column;
        output[target] =
            (value_at(source + column) - transform.mean[source + column]) * transform.scale;
      }
      output += window.width;
    }
  }
}

void CheckShape(const Datum& datum, const DatumTransform& transform) {
  CHECK(datum.channels() == transform.channels && datum.height() == transform.height &&
        datum.width() == transform.width)
      << "A record of shape " << datum.channels() << " x " << datum.height() << " x "
      << datum.width() << " among records of shape " << transform.channels << " x "
      << transform.height << " x " << transform.width;
}

void CheckValueCount(std::size_t found, const DatumTransform& transform) {
  const int needed = DatumSize(transform.channels, transform.height, transform.width);
  CHECK_GE(found, static_cast<std::size_t>(needed)) << "A record has fewer values than its shape.";
}

}  // namespace

int DatumSize(int channels, int height, int width) {
  CHECK_GE(channels, 0);
  CHECK_GE(height, 0);
  CHECK_GE(width, 0);
  const std::int64_t plane_size = static_cast<std::int64_t>(height) * width;
  const bool fits = channels == 0 || plane_size <= std::numeric_limits<int>::max() / channels;
  CHECK(fits) << "A record is too large: " << channels << " x " << height << " x " << width;
  return channels * static_cast<int>(plane_size);
}

void TransformDatum(const Datum& datum, const DatumTransform& transform,
                    const std::function<unsigned int()>& draw, float* output) {
  const std::string& data = datum.data();
  const bool has_crop = transform.crop_size > 0;
  if (has_crop) {
    CHECK(data.size()) << "Image cropping only support uint8 data";
  }
  CheckShape(datum, transform);
  const Window window = has_crop ? Crop(transform, draw) : WholeImage(transform);
  if (!data.empty()) {
    CheckValueCount(data.size(), transform);
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(data.data());
    WriteWindow(
        window, transform, [bytes](int i) { return static_cast<float>(bytes[i]); }, output);
    return;
  }
  CheckValueCount(datum.float_data_size(), transform);
  const float* values = datum.float_data().data();
  WriteWindow(
      window, transform, [values](int i) { return values[i]; }, output);
}

}  // namespace caffe
