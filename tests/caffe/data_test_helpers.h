/// What the tests of the data layers share: databases and mean files, records,
/// and a plain reference of what a layer makes of a record.

#ifndef OZNA_TESTS_CAFFE_DATA_TEST_HELPERS_H_
#define OZNA_TESTS_CAFFE_DATA_TEST_HELPERS_H_

#include <dirent.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <leveldb/db.h>

#include <boost/random/mersenne_twister.hpp>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "caffe/proto/caffe.pb.h"
#include "tests/temporary_folder.h"

namespace caffe_test {

using ozna_test::TemporaryFolder;

/// Writes the values as a database whose keys keep their order.
inline void WriteDatabase(const std::string& path, const std::vector<std::string>& values) {
  leveldb::Options options;
  options.create_if_missing = true;
  leveldb::DB* raw = nullptr;
  ASSERT_TRUE(leveldb::DB::Open(options, path, &raw).ok());
  const std::unique_ptr<leveldb::DB> db(raw);
  for (std::size_t i = 0; i < values.size(); ++i) {
    char key[32];
    std::snprintf(key, sizeof(key), "%08zu", i);
    ASSERT_TRUE(db->Put(leveldb::WriteOptions(), key, values[i]).ok());
  }
}

inline std::vector<std::string> Serialized(const std::vector<caffe::Datum>& datums) {
  std::vector<std::string> values;
  for (const caffe::Datum& datum : datums) {
    values.push_back(datum.SerializeAsString());
  }
  return values;
}

inline void WriteBlobFile(const std::string& path, int num, int channels, int height, int width,
                          const std::vector<float>& values) {
  caffe::BlobProto proto;
  proto.set_num(num);
  proto.set_channels(channels);
  proto.set_height(height);
  proto.set_width(width);
  for (const float value : values) {
    proto.add_data(value);
  }
  std::ofstream stream(path, std::ios::binary);
  ASSERT_TRUE(proto.SerializeToOstream(&stream));
}

inline caffe::Datum ShapedDatum(int channels, int height, int width, int label) {
  caffe::Datum datum;
  datum.set_channels(channels);
  datum.set_height(height);
  datum.set_width(width);
  datum.set_label(label);
  return datum;
}

/// Bytes first, first + step, ... modulo 256, so that values above 127 come up early.
inline caffe::Datum ByteDatum(int channels, int height, int width, int label, int first,
                              int step = 7) {
  caffe::Datum datum = ShapedDatum(channels, height, width, label);
  for (int i = 0; i < channels * height * width; ++i) {
    datum.mutable_data()->push_back(static_cast<char>((first + i * step) % 256));
  }
  return datum;
}

/// The values of a record with bytes.
inline std::vector<float> ValuesOf(const caffe::Datum& datum) {
  std::vector<float> values;
  for (const char byte : datum.data()) {
    values.push_back(static_cast<std::uint8_t>(byte));
  }
  return values;
}

/// The plain reference: crop of side `side` at (top, left) of planes of one image, each value less
/// its mean times scale, rows reversed if mirrored. An empty mean is all zeros.
inline std::vector<float> CropOf(const std::vector<float>& values, int channels, int height,
                                 int width, int side, int top, int left, bool mirrored,
                                 float scale = 1, const std::vector<float>& mean = {}) {
  std::vector<float> crop;
  for (int c = 0; c < channels; ++c) {
    for (int h = 0; h < side; ++h) {
      for (int w = 0; w < side; ++w) {
        const int column = left + (mirrored ? side - 1 - w : w);
        const int at = (c * height + top + h) * width + column;
        crop.push_back((values[at] - (mean.empty() ? 0 : mean[at])) * scale);
      }
    }
  }
  return crop;
}

inline void Append(std::vector<float>& all, const std::vector<float>& more) {
  all.insert(all.end(), more.begin(), more.end());
}

/// Number of threads of this process.
inline int ThreadCount() {
  int count = 0;
  DIR* folder = opendir("/proc/self/task");
  while (const dirent* entry = readdir(folder)) {
    count += entry->d_name[0] != '.';
  }
  closedir(folder);
  return count;
}

}  // namespace caffe_test

#endif  // OZNA_TESTS_CAFFE_DATA_TEST_HELPERS_H_
