// Files with an orientation, by the metadata library, JPEG files of four inks and HEIC files.

#include "tests/tools/pictures.h"

#include <gtest/gtest.h>
#include <libheif/heif.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exiv2/exiv2.hpp>
#include <opencv2/core.hpp>
#include <vector>
// jpeglib.h needs FILE before it.
#include <jpeglib.h>

#include "tests/tools/program.h"

namespace ozna_test {

std::string encodedWithOrientation(const std::string& ending, const cv::Mat& picture,
                                   int orientation) {
  const std::string bytes = encoded(ending, picture);
  const auto image = Exiv2::ImageFactory::open(reinterpret_cast<const Exiv2::byte*>(bytes.data()),
                                               static_cast<long>(bytes.size()));
  image->readMetadata();
  image->exifData()["Exif.Image.Orientation"] = static_cast<std::uint16_t>(orientation);
  image->writeMetadata();
  Exiv2::BasicIo& io = image->io();
  io.open();
  const Exiv2::DataBuf buffer = io.read(static_cast<long>(io.size()));
  return {reinterpret_cast<const char*>(buffer.pData_), static_cast<std::size_t>(buffer.size_)};
}

cv::Mat asStored(const cv::Mat& upright, int orientation) {
  const bool exchanged = orientation >= 5;
  cv::Mat stored(exchanged ? upright.cols : upright.rows, exchanged ? upright.rows : upright.cols,
                 CV_8UC3);
  for (int y = 0; y < upright.rows; ++y) {
    for (int x = 0; x < upright.cols; ++x) {
      const int right = upright.cols - 1 - x;
      const int bottom = upright.rows - 1 - y;
      // Where the stored row 0 and column 0 belong: 1 top left, 2 top right, 3 bottom right, 4
      // bottom left, 5 left top, 6 right top, 7 right bottom, 8 left bottom.
      const cv::Point at = orientation == 1   ? cv::Point(x, y)
                           : orientation == 2 ? cv::Point(right, y)
                           : orientation == 3 ? cv::Point(right, bottom)
                           : orientation == 4 ? cv::Point(x, bottom)
                           : orientation == 5 ? cv::Point(y, x)
                           : orientation == 6 ? cv::Point(y, right)
                           : orientation == 7 ? cv::Point(bottom, right)
                                              : cv::Point(bottom, x);
      stored.at<cv::Vec3b>(at) = upright.at<cv::Vec3b>(y, x);
    }
  }
  return stored;
}

std::string encodedCmyk(const cv::Mat& picture) {
  jpeg_compress_struct info = {};
  jpeg_error_mgr errors;
  info.err = jpeg_std_error(&errors);
  jpeg_create_compress(&info);
  unsigned char* bytes = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&info, &bytes, &size);
  info.image_width = static_cast<JDIMENSION>(picture.cols);
  info.image_height = static_cast<JDIMENSION>(picture.rows);
  info.input_components = 4;
  info.in_color_space = JCS_CMYK;
  jpeg_set_defaults(&info);
  jpeg_start_compress(&info, TRUE);
  std::vector<unsigned char> row(4 * static_cast<std::size_t>(picture.cols));
  for (int y = 0; y < picture.rows; ++y) {
    for (int x = 0; x < picture.cols; ++x) {
      // Inverted inks: black takes what all colours lack.
      const cv::Vec3b pixel = picture.at<cv::Vec3b>(y, x);
      const int light = std::max({pixel[0], pixel[1], pixel[2], static_cast<unsigned char>(1)});
      unsigned char* const inks = row.data() + 4 * static_cast<std::size_t>(x);
      for (int c = 0; c < 3; ++c) inks[c] = static_cast<unsigned char>(pixel[2 - c] * 255 / light);
      inks[3] = static_cast<unsigned char>(light);
    }
    unsigned char* rows[] = {row.data()};
    jpeg_write_scanlines(&info, rows, 1);
  }
  jpeg_finish_compress(&info);
  std::string file(reinterpret_cast<const char*>(bytes), size);
  jpeg_destroy_compress(&info);
  std::free(bytes);
  return file;
}

std::string encodedHeic(const cv::Mat& picture, const std::string& colour_profile) {
  heif_image* image = nullptr;
  heif_image_create(picture.cols, picture.rows, heif_colorspace_RGB, heif_chroma_interleaved_RGB,
                    &image);
  heif_image_add_plane(image, heif_channel_interleaved, picture.cols, picture.rows, 24);
  int stride = 0;
  std::uint8_t* const plane = heif_image_get_plane(image, heif_channel_interleaved, &stride);
  for (int y = 0; y < picture.rows; ++y) {
    for (int x = 0; x < picture.cols; ++x) {
      for (int c = 0; c < 3; ++c) {
        plane[y * stride + 3 * x + c] = picture.at<cv::Vec3b>(y, x)[2 - c];
      }
    }
  }
  if (!colour_profile.empty()) {
    heif_image_set_raw_color_profile(image, "prof", colour_profile.data(), colour_profile.size());
  }
  heif_context* const context = heif_context_alloc();
  heif_encoder* encoder = nullptr;
  EXPECT_EQ(heif_context_get_encoder_for_format(context, heif_compression_HEVC, &encoder).code,
            heif_error_Ok);
  heif_encoder_set_lossy_quality(encoder, 90);
  EXPECT_EQ(heif_context_encode_image(context, image, encoder, nullptr, nullptr).code,
            heif_error_Ok);
  std::string bytes;
  heif_writer writer = {};
  writer.writer_api_version = 1;
  writer.write = [](heif_context*, const void* data, std::size_t size, void* to) {
    static_cast<std::string*>(to)->assign(static_cast<const char*>(data), size);
    return heif_error{heif_error_Ok, heif_suberror_Unspecified, ""};
  };
  heif_context_write(context, &writer, &bytes);
  heif_encoder_release(encoder);
  heif_context_free(context);
  heif_image_release(image);
  return bytes;
}

}  // namespace ozna_test
