// The model slot and the reader of the model file.

#include "alignment/sdm_model.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>

namespace oznalib {
namespace {

constexpr std::int32_t kDefaultStageLevels[] = {2, 2, 1, 1, 0, 0, 0, 0, 0, 0};

// What a damaged file may claim without holding it. Far above any real model, and small enough to
// be harmless.
constexpr std::int64_t kUnbackedElements = std::int64_t{1} << 16;
constexpr std::int64_t kUnbackedCells = std::int64_t{1} << 24;

constexpr std::int64_t kMatrixHeaderBytes = 16;
constexpr std::int64_t kMatrixBytes = kMatrixHeaderBytes;   // The smallest that a matrix takes up.
constexpr std::int64_t kMapBytes = 2 * kMatrixHeaderBytes;  // The smallest that a map takes up.
// As an unsigned number this limit is all ones, so that it refuses nothing.
constexpr std::int64_t kNoLimit = -1;

SDMModel* slot = nullptr;

// Reads the fields one by one. What cannot be read whole stays as it was.
class FieldReader {
 public:
  explicit FieldReader(const std::string& path) : in_(path, std::ios::in | std::ios::binary) {
    if (in_.is_open()) {
      in_.seekg(0, std::ios::end);
      size_ = in_.tellg();
      in_.clear();
      in_.seekg(0, std::ios::beg);
    }
  }

  bool isOpen() const { return in_.is_open(); }

  template <class T>
  void readValue(T& value) {
    char bytes[sizeof(T)];
    if (in_.read(bytes, sizeof(bytes))) {
      std::memcpy(&value, bytes, sizeof(bytes));
    }
  }

  template <class T>
  void readValues(std::vector<T>& values) {
    values.resize(readCount(sizeof(T)));
    for (T& value : values) {
      readValue(value);
    }
  }

  void readMatrices(std::vector<mp::matrix>& matrices) {
    matrices.resize(readCount(kMatrixBytes));
    for (mp::matrix& matrix : matrices) {
      refuseEmptyClaim(/*matrices_in_element=*/1);
      matrix.load(in_, kNoLimit);
    }
  }

  void readMaps(std::vector<mp::pca_map>& maps) {
    maps.resize(readCount(kMapBytes));
    for (mp::pca_map& map : maps) {
      refuseEmptyClaim(/*matrices_in_element=*/2);
      map.load(in_, kNoLimit);
    }
  }

 private:
  // One variable serves all counts: a count that the file no longer holds repeats the one before
  // it.
  std::size_t readCount(std::int64_t element_bytes) {
    readValue(count_);
    const std::int64_t backed = remainingBytes() / element_bytes;
    const std::int64_t most = std::max(backed, kUnbackedElements);
    return static_cast<std::size_t>(std::clamp<std::int64_t>(count_, 0, most));
  }

  std::int64_t remainingBytes() {
    if (!in_) {
      return 0;
    }
    const std::int64_t position = in_.tellg();
    if (size_ < 0 || position < 0) {
      return std::numeric_limits<std::int64_t>::max();
    }
    return std::max<std::int64_t>(0, size_ - position);
  }

  // Looks at the sizes of the matrices that come next. Where one of them claims an amount that
  // neither the file nor a sane model holds, the file counts as ended here.
  void refuseEmptyClaim(int matrices_in_element) {
    if (!in_ || size_ < 0) {
      return;
    }
    const std::streampos start = in_.tellg();
    bool refused = false;
    for (int i = 0; i < matrices_in_element && !refused; ++i) {
      refused = claimsTooMuch();
    }
    in_.clear();
    in_.seekg(start);
    if (refused) {
      in_.setstate(std::ios::failbit);
    }
  }

  // Looks at one matrix and moves behind it.
  bool claimsTooMuch() {
    const std::streampos start = in_.tellg();
    std::uint64_t rows = 0;
    std::uint64_t cols = 0;
    readValue(rows);
    readValue(cols);
    if (!in_) {
      return false;
    }
    const std::int64_t cells = static_cast<std::int64_t>(rows * cols);
    const std::int64_t backed_cells = remainingBytes() / static_cast<std::int64_t>(sizeof(float));
    if (cells < 0 || (cells > kUnbackedCells && cells > backed_cells)) {
      return true;
    }
    in_.seekg(start);
    mp::matrix().skip(in_);
    return false;
  }

  std::ifstream in_;
  std::int64_t size_ = -1;  // Of the file, in bytes; -1 where it cannot be told.
  std::int32_t count_ = 0;
};

}  // namespace

SDMModel::SDMModel()
    : stageLevels(std::begin(kDefaultStageLevels), std::end(kDefaultStageLevels)) {}

SDMModel* globalSDMModel() { return slot; }

bool readSDMFile(const std::string& path) {
  SDMModel* model = slot;
  FieldReader reader(path);
  if (model == nullptr || !reader.isOpen()) {
    return false;
  }
  reader.readMatrices(model->auxMatrices);
  reader.readMatrices(model->stageBias);
  reader.readValues(model->meanShape);
  reader.readValues(model->auxValues);
  reader.readMaps(model->stageMaps);
  reader.readValues(model->stageLevels);
  std::int32_t dropped_word = 0;
  reader.readValue(dropped_word);
  reader.readValue(model->reservedFlag);
  reader.readValue(model->levelsPerOctave);
  reader.readValue(model->faceWidth);
  return true;
}

Status loadModelSlot(const std::string& directory, const std::string& file) {
  unloadModelSlot();
  slot = new SDMModel();
  return readSDMFile(directory + "/" + file) ? StatusOk : StatusLoadFailed;
}

Status unloadModelSlot() {
  delete slot;
  slot = nullptr;
  return StatusOk;
}

}  // namespace oznalib
