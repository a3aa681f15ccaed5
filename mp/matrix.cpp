// A dense matrix of floats: its memory, its file form and its text form.

#include "mp/matrix.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <limits>
#include <new>
#include <utility>

namespace mp {
namespace {

static_assert(sizeof(float) == 4, "The file form holds 32-bit floats.");
#if defined(__BYTE_ORDER__)
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "The file form is read as it stands.");
#endif

constexpr std::int64_t kNoLimit = -1;  // All ones as an unsigned number.
constexpr std::int64_t kMostBytes = std::numeric_limits<std::ptrdiff_t>::max();
constexpr std::uint64_t kMostSide = std::numeric_limits<std::int32_t>::max();

// The sides of a matrix as its file form states them, which need not be true. A side below 0 is
// far beyond the largest, since the words are taken as unsigned numbers.
struct FileSides {
  std::uint64_t rows;
  std::uint64_t cols;

  // In 64 bits, so that the product of sides that are no sides may come to 0 as well.
  bool empty() const { return rows * cols == 0; }
  // Whether there can be a matrix of that size. The product of such sides does not overflow, nor
  // does its number of bytes.
  bool possible() const { return rows <= kMostSide && cols <= kMostSide; }
  std::uint64_t bytes() const { return rows * cols * sizeof(float); }
};

// The cells are zeroed by the system where they are fresh, so that a matrix whose cells are missing
// from its file costs address space and no memory.
float* allocateCells(std::int64_t count) {
  if (count > kMostBytes / static_cast<std::int64_t>(sizeof(float))) {
    throw std::bad_alloc();
  }
  void* cells = std::calloc(static_cast<std::size_t>(count), sizeof(float));
  if (cells == nullptr) {
    throw std::bad_alloc();
  }
  return static_cast<float*>(cells);
}

// None for a side below 0.
std::int64_t cellCount(std::int32_t rows, std::int32_t cols) {
  return std::int64_t{std::max(rows, 0)} * std::max(cols, 0);
}

std::int64_t cellCount(const matrix& m) {
  return m.data == nullptr ? 0 : cellCount(m.rows, m.cols);
}

std::int64_t readWord(std::istream& in) {
  char bytes[sizeof(std::int64_t)];
  std::int64_t word = 0;
  if (in.read(bytes, sizeof(bytes))) {
    std::memcpy(&word, bytes, sizeof(word));
  }
  return word;
}

FileSides readSides(std::istream& in) {
  FileSides sides;
  sides.rows = static_cast<std::uint64_t>(readWord(in));
  sides.cols = static_cast<std::uint64_t>(readWord(in));
  return sides;
}

void writeWord(std::ostream& out, std::int64_t word) {
  char bytes[sizeof(word)];
  std::memcpy(bytes, &word, sizeof(word));
  out.write(bytes, sizeof(bytes));
}

}  // namespace

matrix::matrix(std::int32_t row_count, std::int32_t col_count) : rows(row_count), cols(col_count) {
  const std::int64_t count = cellCount(row_count, col_count);
  if (count > 0) {
    data = allocateCells(count);
  }
}

matrix::matrix(const matrix& other) : io_able(other), rows(other.rows), cols(other.cols) {
  const std::int64_t count = cellCount(other);
  if (count > 0) {
    data = allocateCells(count);
    std::copy_n(other.data, count, data);
  }
}

matrix::matrix(matrix&& other) noexcept
    : data(std::exchange(other.data, nullptr)),
      rows(std::exchange(other.rows, 0)),
      cols(std::exchange(other.cols, 0)) {}

matrix& matrix::operator=(const matrix& other) {
  if (this != &other) {
    *this = matrix(other);
  }
  return *this;
}

matrix& matrix::operator=(matrix&& other) noexcept {
  matrix taken(std::move(other));
  std::swap(data, taken.data);
  std::swap(rows, taken.rows);
  std::swap(cols, taken.cols);
  return *this;
}

matrix::~matrix() {
  std::free(data);
  data = nullptr;
}

const char* matrix::type_name() const { return "matrix_mp"; }

bool matrix::save(std::ostream& out) const {
  writeWord(out, rows);
  writeWord(out, cols);
  const std::int64_t count = cellCount(*this);
  if (count > 0) {
    out.write(reinterpret_cast<const char*>(data),
              static_cast<std::streamsize>(count * static_cast<std::int64_t>(sizeof(float))));
  }
  return true;
}

bool matrix::load(std::istream& in, std::int64_t limit) {
  const FileSides sides = readSides(in);
  float* cells = nullptr;
  if (!sides.empty()) {
    const bool limited = limit != 0 && limit != kNoLimit;
    if (limited && (!sides.possible() || static_cast<std::uint64_t>(limit) < sides.bytes() + 8)) {
      return false;
    }
    if (!sides.possible()) {
      throw std::bad_alloc();
    }
    cells = allocateCells(static_cast<std::int64_t>(sides.rows * sides.cols));
  }
  std::free(data);
  data = cells;
  rows = static_cast<std::int32_t>(sides.rows);
  cols = static_cast<std::int32_t>(sides.cols);
  if (cells != nullptr) {
    in.read(reinterpret_cast<char*>(cells), static_cast<std::streamsize>(sides.bytes()));
  }
  return true;
}

void matrix::print(std::ostream& out) const {
  std::cout << "[" << rows << "," << cols << "]" << std::endl;
  const float* cell = data;
  for (std::int32_t row = 0; row < rows; ++row) {
    for (std::int32_t col = 0; cell != nullptr && col < cols; ++col) {
      out << *cell++ << " ";
    }
    out << std::endl;
  }
}

bool matrix::is_valid() const { return data != nullptr; }

void matrix::skip(std::istream& in) const {
  const FileSides sides = readSides(in);
  if (sides.empty()) {
    return;
  }
  if (!sides.possible() || sides.bytes() > static_cast<std::uint64_t>(kMostBytes)) {
    in.setstate(std::ios::failbit);  // No stream can be read past such a matrix.
    return;
  }
  in.seekg(static_cast<std::streamoff>(sides.bytes()), std::ios::cur);
}

void matrix::fill(float value) {
  const std::int64_t count = cellCount(*this);
  if (count > 0) {
    std::fill_n(data, count, value);
  }
}

}  // namespace mp
