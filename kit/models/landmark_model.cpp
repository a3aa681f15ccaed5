// The form of a landmark model file, and the sizes and numbers that an alignment can work with.

#include "kit/models/landmark_model.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <istream>
#include <streambuf>

#include "alignment/align68_points.h"
#include "kit/error.h"

namespace kit {
namespace {

constexpr std::int64_t kCoordinates = 136;                  // x and y of 68 landmarks.
constexpr std::int64_t kFeatures = kCoordinates / 2 * 128;  // 128 descriptor values a landmark.
constexpr std::int64_t kMostItems = 1000000;  // Of any list or side: more is no count but damage.
// In units of the face box, from 0 to 1 within it. What lies farther out makes the alignment put a
// border of that width around its image.
constexpr float kLeastPlace = -1;
constexpr float kMostPlace = 2;
// An alignment keeps a blurred copy of its image, of some three face widths a side, for each level.
constexpr std::int32_t kMostLevels = 16;
constexpr std::int32_t kLeastFaceWidth = 8;
constexpr std::int32_t kMostFaceWidth = 512;

// Reads a file from front to end, and refuses it where it is not as it has to be.
class Checker {
 public:
  Checker(const std::string& name, const std::string& bytes) : name_(name), bytes_(bytes) {}

  // at  Byte of the file.
  [[noreturn]] void refuse(std::size_t at, const std::string& expected,
                           const std::string& found) const {
    throw Error(OZNAKIT_BAD_MODEL, name_ + ": expected " + expected + " at byte " +
                                       std::to_string(at) + ", found " + found + ".");
  }

  template <class T>
  T number() {
    T value;
    std::memcpy(&value, take(sizeof(T)), sizeof(T));
    return value;
  }

  // A number from least to most.
  template <class T>
  T within(const char* what, T least, T most) {
    const std::size_t at = position_;
    const T value = number<T>();
    // Written so that not-a-number is refused too.
    if (!(value >= least && value <= most)) {
      const std::string range = least < most ? " to " + std::to_string(most) : std::string();
      refuse(at, std::string(what) + " of " + std::to_string(least) + range, std::to_string(value));
    }
    return value;
  }

  std::int32_t count(const char* what) {
    return within<std::int32_t>(what, 0, static_cast<std::int32_t>(kMostItems));
  }

  void finiteNumbers(const char* what, std::int64_t count) {
    const std::size_t at = position_;
    const char* const cells = take(static_cast<std::size_t>(count) * sizeof(float));
    if (!hasOddCell(cells, count)) return;
    for (std::int64_t i = 0; i < count; ++i) {
      float cell;
      std::memcpy(&cell, cells + i * static_cast<std::int64_t>(sizeof(float)), sizeof(cell));
      if (!std::isfinite(cell)) {
        refuse(at + static_cast<std::size_t>(i) * sizeof(float),
               std::string(what) + " to be finite", std::to_string(cell));
      }
    }
  }

  void anyMatrix(const char* what) {
    const auto rows = within<std::int64_t>("matrix rows", 0, kMostItems);
    const auto columns = within<std::int64_t>("matrix columns", 0, kMostItems);
    finiteNumbers(what, rows * columns);
  }

  void matrix(const char* what, std::int64_t rows, std::int64_t columns) {
    const std::size_t at = position_;
    const auto found_rows = number<std::int64_t>();
    const auto found_columns = number<std::int64_t>();
    if (found_rows != rows || found_columns != columns) {
      refuse(at, std::string(what) + " of " + sizeText(rows, columns),
             sizeText(found_rows, found_columns));
    }
    finiteNumbers(what, rows * columns);
  }

  void end() const {
    if (position_ != bytes_.size()) {
      refuse(position_, "the end", std::to_string(bytes_.size() - position_) + " more bytes");
    }
  }

  std::size_t position() const { return position_; }

 private:
  // Without a way out of the loop, so that the compiler makes it one of vectors.
  static bool hasOddCell(const char* cells, std::int64_t count) {
    constexpr std::uint32_t kExponent = 0x7F800000;  // All ones in what is not finite.
    bool is_odd = false;
    for (std::int64_t i = 0; i < count; ++i) {
      std::uint32_t bits;
      std::memcpy(&bits, cells + i * static_cast<std::int64_t>(sizeof(bits)), sizeof(bits));
      is_odd |= (bits & kExponent) == kExponent;
    }
    return is_odd;
  }

  static std::string sizeText(std::int64_t rows, std::int64_t columns) {
    return std::to_string(rows) + " by " + std::to_string(columns);
  }

  const char* take(std::size_t count) {
    const std::size_t left = bytes_.size() - position_;
    if (count > left) {
      refuse(position_, std::to_string(count) + " more bytes",
             left == 0 ? "the end" : "the end after " + std::to_string(left));
    }
    const char* const start = bytes_.data() + position_;
    position_ += count;
    return start;
  }

  const std::string& name_;
  const std::string& bytes_;
  std::size_t position_ = 0;
};

void checkStages(Checker& file, std::int32_t biases) {
  const std::size_t at = file.position();
  const std::int32_t stages = file.count("a number of stages");
  if (biases != 0 && biases != stages) {
    file.refuse(at, "as many stages as biases, " + std::to_string(biases) + ",",
                std::to_string(stages));
  }
  for (std::int32_t i = 0; i < stages; ++i) {
    file.matrix("the mean of a stage", 1, kFeatures);
    file.matrix("the map of a stage", kFeatures, kCoordinates);
  }
}

// The levels come before the number of which they are some.
void checkLevels(Checker& file) {
  const std::size_t at = file.position();
  const std::int32_t stage_levels = file.count("a number of blur levels");
  if (stage_levels == 0) {
    file.refuse(at, "the blur level of a stage or more", "none");
  }
  std::int32_t highest = 0;
  for (std::int32_t i = 0; i < stage_levels; ++i) {
    highest = std::max(highest, file.within<std::int32_t>("a blur level", 0, kMostLevels + 2));
  }
  file.number<std::int32_t>();
  file.number<std::int32_t>();
  const std::size_t levels_at = file.position();
  const auto levels = file.within<std::int32_t>("blur levels in an octave", 1, kMostLevels);
  // Three blurred planes stand above the levels of an octave.
  if (highest >= levels + 3) {
    file.refuse(levels_at,
                "at least " + std::to_string(highest - 2) + " blur levels in an octave, since " +
                    std::to_string(highest) + " is the level of a stage,",
                std::to_string(levels));
  }
}

void check(Checker& file) {
  const std::int32_t unused_matrices = file.count("a number of matrices");
  for (std::int32_t i = 0; i < unused_matrices; ++i) {
    file.anyMatrix("a matrix");
  }
  const std::int32_t biases = file.count("a number of biases");
  for (std::int32_t i = 0; i < biases; ++i) {
    file.matrix("the bias of a stage", 1, kCoordinates);
  }
  constexpr auto kMeanNumbers = static_cast<std::int32_t>(kCoordinates);
  file.within<std::int32_t>("a number of mean coordinates", kMeanNumbers, kMeanNumbers);
  for (std::int64_t i = 0; i < kCoordinates; ++i) {
    file.within<float>("a mean coordinate", kLeastPlace, kMostPlace);
  }
  file.finiteNumbers("an unused number", file.count("a number of unused numbers"));
  checkStages(file, biases);
  checkLevels(file);
  file.within<std::int32_t>("a face width", kLeastFaceWidth, kMostFaceWidth);
  file.end();
}

// The bytes of a string for a stream that only reads, without a copy.
class ByteBuffer : public std::streambuf {
 public:
  explicit ByteBuffer(const std::string& bytes) {
    // The interface takes pointers to what may be written to, and writes nothing.
    char* const start = const_cast<char*>(bytes.data());
    setg(start, start, start + bytes.size());
  }

 protected:
  pos_type seekoff(off_type offset, std::ios_base::seekdir way,
                   std::ios_base::openmode /*which*/) override {
    const off_type size = egptr() - eback();
    const off_type base = way == std::ios_base::beg   ? 0
                          : way == std::ios_base::end ? size
                                                      : gptr() - eback();
    const off_type place = base + offset;
    if (place < 0 || place > size) {
      return pos_type(off_type(-1));
    }
    setg(eback(), eback() + place, egptr());
    return pos_type(place);
  }
  pos_type seekpos(pos_type place, std::ios_base::openmode which) override {
    return seekoff(off_type(place), std::ios_base::beg, which);
  }
};

}  // namespace

std::unique_ptr<const oznalib::SDMModel> readLandmarkModel(const std::string& name,
                                                           const std::string& bytes) {
  Checker file(name, bytes);
  check(file);
  ByteBuffer buffer(bytes);
  std::istream in(&buffer);
  auto model = std::make_unique<oznalib::SDMModel>();
  oznalib::readSDMModel(in, *model);
  if (!oznalib::canPlace68(*model)) {
    throw Error(OZNAKIT_BAD_MODEL, name +
                                       ": expected a model of 68 landmarks, found one that the "
                                       "alignment refuses.");
  }
  return model;
}

}  // namespace kit
