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

// Products of file words wrap instead of overflowing: the outcome is then refused by the
// allocation.
std::int64_t wrappingProduct(std::int64_t rows, std::int64_t cols) {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(rows) *
                                   static_cast<std::uint64_t>(cols));
}

// The cells are zeroed by the system where they are fresh, so that a matrix whose cells are missing
// from its file costs address space and no memory.
float* allocateCells(std::int64_t count) {
  constexpr std::int64_t kMost =
      std::numeric_limits<std::ptrdiff_t>::max() / static_cast<std::ptrdiff_t>(sizeof(float));
  if (count < 0 || count > kMost) {
    throw std::bad_alloc();
  }
  void* cells = std::calloc(static_cast<std::size_t>(count), sizeof(float));
  if (cells == nullptr) {
    throw std::bad_alloc();
  }
  return static_cast<float*>(cells);
}

std::int64_t cellCount(const matrix& m) {
  return m.data == nullptr ? 0 : wrappingProduct(m.rows, m.cols);
}

std::int64_t readWord(std::istream& in) {
  char bytes[sizeof(std::int64_t)];
  std::int64_t word = 0;
  if (in.read(bytes, sizeof(bytes))) {
    std::memcpy(&word, bytes, sizeof(word));
  }
  return word;
}

void writeWord(std::ostream& out, std::int64_t word) {
  char bytes[sizeof(word)];
  std::memcpy(bytes, &word, sizeof(word));
  out.write(bytes, sizeof(bytes));
}

}  // namespace

matrix::matrix(std::int32_t row_count, std::int32_t col_count) : rows(row_count), cols(col_count) {
  const std::int64_t count = wrappingProduct(row_count, col_count);
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
  const std::int64_t file_rows = readWord(in);
  const std::int64_t file_cols = readWord(in);
  const std::int64_t count = wrappingProduct(file_rows, file_cols);
  if (count == 0) {
    std::free(data);
    data = nullptr;
    rows = static_cast<std::int32_t>(file_rows);
    cols = static_cast<std::int32_t>(file_cols);
    return true;
  }
  const std::uint64_t bytes = static_cast<std::uint64_t>(count) * sizeof(float);
  if (limit != 0 && static_cast<std::uint64_t>(limit) < bytes + 8) {
    return false;
  }
  float* cells = allocateCells(count);
  std::free(data);
  data = cells;
  in.read(reinterpret_cast<char*>(data), static_cast<std::streamsize>(bytes));
  rows = static_cast<std::int32_t>(file_rows);
  cols = static_cast<std::int32_t>(file_cols);
  return true;
}

void matrix::print(std::ostream& out) const {
  std::cout << "[" << rows << "," << cols << "]" << std::endl;
  if (data == nullptr) {
    return;
  }
  const float* cell = data;
  for (std::int32_t row = 0; row < rows; ++row) {
    for (std::int32_t col = 0; col < cols; ++col) {
      out << *cell++ << " ";
    }
    out << std::endl;
  }
}

bool matrix::is_valid() const { return data != nullptr; }

void matrix::skip(std::istream& in) const {
  const std::int64_t file_rows = readWord(in);
  const std::int64_t file_cols = readWord(in);
  const std::int64_t count = wrappingProduct(file_rows, file_cols);
  if (count > 0) {
    in.seekg(wrappingProduct(count, sizeof(float)), std::ios::cur);
  }
}

void matrix::fill(float value) {
  const std::int64_t count = cellCount(*this);
  if (count > 0) {
    std::fill_n(data, count, value);
  }
}

}  // namespace mp
