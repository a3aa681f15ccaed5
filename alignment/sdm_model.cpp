// The model slot and the reader of the model file.

#include "alignment/sdm_model.h"

#include <algorithm>
#include <cstring>
#include <istream>
#include <iterator>
#include <new>

#include "caffe/util/file_buffer.hpp"

namespace oznalib {
namespace {

constexpr std::int32_t kDefaultStageLevels[] = {2, 2, 1, 1, 0, 0, 0, 0, 0, 0};

// What a damaged file may claim without holding it. Far above any real model, and small enough to
// be harmless: cells that the file does not hold are pages that nobody touches.
constexpr std::int64_t kUnbackedElements = std::int64_t{1} << 16;
constexpr std::int64_t kUnbackedCells = std::int64_t{1} << 28;

constexpr std::int64_t kMatrixHeaderBytes = 16;
constexpr std::int64_t kMatrixBytes = kMatrixHeaderBytes;   // The smallest that a matrix takes up.
constexpr std::int64_t kMapBytes = 2 * kMatrixHeaderBytes;  // The smallest that a map takes up.
// As an unsigned number this limit is all ones, so that it refuses nothing.
constexpr std::int64_t kNoLimit = -1;

SDMModel* slot = nullptr;

// Reads the fields one by one. What cannot be read whole stays as it was.
class FieldReader {
 public:
  // in must outlive the reader. Its size and place are looked for.
  explicit FieldReader(std::istream& in) : in_(in) {
    in_.seekg(0, std::ios::end);
    size_ = in_.tellg();
    in_.clear();
    in_.seekg(0, std::ios::beg);
    in_.clear();
  }

  template <class T>
  void readValue(T& value) {
    char bytes[sizeof(T)];
    if (in_.read(bytes, sizeof(bytes))) {
      std::memcpy(&value, bytes, sizeof(bytes));
    }
  }

  template <class T>
  void readValues(std::vector<T>& values) {
    values.assign(readCount(sizeof(T)), T());
    for (T& value : values) {
      readValue(value);
    }
  }

  void readMatrices(std::vector<mp::matrix>& matrices) {
    matrices.resize(readCount(kMatrixBytes));
    for (mp::matrix& matrix : matrices) {
      checkClaims(/*matrices_in_element=*/1);
      matrix.load(in_, kNoLimit);
    }
  }

  void readMaps(std::vector<mp::pca_map>& maps) {
    maps.resize(readCount(kMapBytes));
    for (mp::pca_map& map : maps) {
      checkClaims(/*matrices_in_element=*/2);
      map.load(in_, kNoLimit);
    }
  }

 private:
  // One variable serves all counts: a count that the file no longer holds repeats the one before
  // it.
  std::size_t readCount(std::int64_t element_bytes) {
    readValue(count_);
    if (count_ < 0) {
      throw std::bad_alloc();  // As a number of elements it is beyond all memory.
    }
    const std::int64_t backed = remainingBytes() / element_bytes;
    const std::int64_t most = std::max(backed, kUnbackedElements);
    return static_cast<std::size_t>(std::min<std::int64_t>(count_, most));
  }

  // 0 where the size of the file is not known: a pipe backs nothing before it is read.
  std::int64_t remainingBytes() {
    if (!in_ || size_ < 0) {
      return 0;
    }
    const std::int64_t position = in_.tellg();
    return position < 0 ? 0 : std::max<std::int64_t>(0, size_ - position);
  }

  // Looks at the sizes of the matrices that come next, before there is memory for the first. Sizes
  // that neither the file nor a sane model holds are those of a matrix that cannot be allocated,
  // on a machine with room for it too. Impossible sizes are left to the matrix, which refuses them.
  void checkClaims(int matrices_in_element) {
    if (!in_ || size_ < 0) {
      return;
    }
    const std::streampos start = in_.tellg();
    for (int i = 0; i < matrices_in_element && in_; ++i) {
      checkClaim();
    }
    in_.clear();
    in_.seekg(start);
  }

  // Looks at one matrix and moves past it.
  void checkClaim() {
    const std::streampos start = in_.tellg();
    std::uint64_t rows = 0;
    std::uint64_t cols = 0;
    readValue(rows);
    readValue(cols);
    if (!in_) {
      return;
    }
    const auto most_cells = static_cast<std::uint64_t>(
        std::max(kUnbackedCells, remainingBytes() / static_cast<std::int64_t>(sizeof(float))));
    std::uint64_t cells;
    const bool overflows = __builtin_mul_overflow(rows, cols, &cells);
    if (cells != 0 && (overflows || cells > most_cells)) {
      throw std::bad_alloc();
    }
    in_.seekg(start);
    mp::matrix().skip(in_);
  }

  std::istream& in_;
  std::int64_t size_ = -1;  // Of the file, in bytes; -1 where it is not known.
  std::int32_t count_ = 0;
};

}  // namespace

SDMModel::SDMModel()
    : stageLevels(std::begin(kDefaultStageLevels), std::end(kDefaultStageLevels)) {}

SDMModel* globalSDMModel() { return slot; }

void readSDMModel(std::istream& in, SDMModel& model) {
  FieldReader reader(in);
  reader.readMatrices(model.auxMatrices);
  reader.readMatrices(model.stageBias);
  reader.readValues(model.meanShape);
  reader.readValues(model.auxValues);
  reader.readMaps(model.stageMaps);
  reader.readValues(model.stageLevels);
  std::int32_t dropped_word = 0;
  reader.readValue(dropped_word);
  reader.readValue(model.reservedFlag);
  reader.readValue(model.levelsPerOctave);
  reader.readValue(model.faceWidth);
}

bool readSDMFile(const std::string& path) {
  SDMModel* model = slot;
  caffe::FileBuffer file(path);
  if (model == nullptr || !file.isOpen()) {
    return false;
  }
  std::istream in(&file);
  readSDMModel(in, *model);
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
