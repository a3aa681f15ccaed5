// Fuzz target: records of a database on their way into a batch.

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "caffe/util/datum_transform.hpp"
#include "fuzz/harness.h"

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  ozna_fuzz::Prepare();
  return 0;
}

// The first byte chooses the treatment, the rest is the record. As in a data layer, the first
// record decides on the shape; here it may also meet a layer of another shape.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  ozna_fuzz::RunOrRefuse([=] {
    caffe::Datum datum;
    if (!datum.ParseFromArray(data + 1, static_cast<int>(size - 1))) {
      return;
    }
    const bool has_own_shape = data[0] & 1;
    const int crop_size = data[0] & 2 ? 2 : 0;
    const int channels = has_own_shape ? datum.channels() : 2;
    const int height = has_own_shape ? datum.height() : 3;
    const int width = has_own_shape ? datum.width() : 4;
    const int datum_size = caffe::DatumSize(channels, height, width);
    if (height <= crop_size || width <= crop_size || datum_size > 1 << 20) {
      return;
    }
    const std::vector<float> mean(datum_size, 1.F);
    std::vector<float> output(crop_size > 0 ? channels * crop_size * crop_size : datum_size);
    std::mt19937 engine(data[0]);
    const auto draw = [&engine] { return static_cast<unsigned int>(engine()); };
    caffe::TransformDatum(
        datum,
        {channels, height, width, /*scale=*/0.5F, crop_size,
         /*mirror=*/(data[0] & 4) != 0, /*random_crop=*/(data[0] & 8) != 0, mean.data()},
        draw, output.data());
  });
  return 0;
}
