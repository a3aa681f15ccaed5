// The inner loop of descriptors: every gradient of a window goes to four cells and two bins.

#include "alignment/descriptor_histogram.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "alignment/truncation.h"

namespace SDMCore {
namespace {

using oznalib::truncateToInt;

constexpr int kBins = 8;
constexpr int kCells = 4;       // Along each side of a descriptor.
constexpr int kFirstCell = -3;  // The first whose shares reach the grid.
constexpr int kLastCell = 1;    // The last.

// For values near 0. The library's floor is a call where the processor's baseline has no rounding.
std::int32_t floorToInt(float value) {
  const std::int32_t cut = truncateToInt(value);
  return static_cast<float>(cut) > value ? cut - 1 : cut;
}

// Pixels along one axis that reach a cell: of those from -radius to radius around the rounded
// position that lie within the image's interior.
void fillTaps(float position, std::uint64_t image_length, float cell_size,
              std::vector<AxisTap>& taps) {
  const std::int64_t centre = truncateToInt(static_cast<double>(position) + 0.5);
  const std::int64_t radius =
      truncateToInt(static_cast<double>(cell_size) * 1.4142135623730951 * kCells * 0.5 + 0.5);
  const std::int64_t first = std::max(-radius, 1 - centre);
  const std::int64_t last = std::min(static_cast<std::int64_t>(image_length) - centre - 2, radius);
  const float shift = static_cast<float>(centre) - position;
  for (std::int64_t delta = first; delta <= last; ++delta) {
    const float place = (static_cast<float>(delta) + shift) / cell_size - 0.5f;
    const std::int32_t cell = floorToInt(place);
    if (cell >= kFirstCell && cell <= kLastCell) {
      taps.push_back({centre + delta, cell, place - static_cast<float>(cell)});
    }
  }
}

using Float4 = float __attribute__((vector_size(16)));

Float4 loadFloat4(const float* from) {
  Float4 value;
  std::memcpy(&value, from, sizeof(value));
  return value;
}

void storeFloat4(float* to, Float4 value) { std::memcpy(to, &value, sizeof(value)); }

// The two neighbouring rows of cells that the current image row contributes to. Entry (bin, column,
// row) stands at bin * kBinFloats + column * 2 + row, with columns from -1 to 4 and rows cell_row +
// 2 and cell_row + 3: a pixel's four shares then are four neighbouring floats. Shares that fall off
// the grid go to the rows and columns around it.
class HistogramRows {
 public:
  static constexpr int kBinFloats = 16;

  void add(int bin, int column, Float4 amount) {
    float* at = cells_ + bin * kBinFloats + column * 2;
    storeFloat4(at, loadFloat4(at) + amount);
  }

  // Moves on to a later row of cells, storing those that are complete.
  void advanceTo(int cell_row, float* histogram) {
    for (; cell_row_ < cell_row; ++cell_row_) {
      const int row = cell_row_ + 2;
      if (row >= 0 && row < kCells) {
        store(histogram + row * kCells * kBins);
      }
      for (int i = 0; i < kBins * kBinFloats; i += 2) {
        cells_[i] = cells_[i + 1];
        cells_[i + 1] = 0.0f;
      }
    }
  }

 private:
  void store(float* histogram_row) const {
    for (int column = 0; column < kCells; ++column) {
      for (int bin = 0; bin < kBins; ++bin) {
        histogram_row[column * kBins + bin] = cells_[bin * kBinFloats + (column + 1) * 2];
      }
    }
  }

  alignas(64) float cells_[kBins * kBinFloats] = {};
  int cell_row_ = kFirstCell;
};

// The pixels of one image row that are still to be added.
struct RowWalk {
  void addPixel() {
    const GradientCell& cell = line[column->pixel];
    const float share = cell.magnitude * cell.weight;
    const float neighbour_ratio = cell.fraction / (cell.weight + 1e-6f);
    const float near_share = share - column->fraction * share;
    const float far_share = share - near_share;
    const Float4 amount = row_shares * Float4{near_share, near_share, far_share, far_share};
    rows->add(cell.bin, column->cell - kFirstCell, amount);
    rows->add(cell.neighbour, column->cell - kFirstCell, amount * neighbour_ratio);
    ++column;
  }
  void addAll() {
    while (column != end) {
      addPixel();
    }
  }

  HistogramRows* rows;
  const GradientCell* line;
  const AxisTap* column;
  const AxisTap* end;
  Float4 row_shares;
};

RowWalk startRow(const Plane& gradient, DescriptorWindow& window, std::size_t index,
                 HistogramRows& rows) {
  if (index >= window.row_taps.size()) {
    return {&rows, nullptr, nullptr, nullptr, Float4{}};
  }
  const AxisTap& row = window.row_taps[index];
  rows.advanceTo(row.cell, window.histogram.data());
  const GradientCell* line = reinterpret_cast<const GradientCell*>(gradient.data) +
                             row.pixel * static_cast<std::int64_t>(gradient.width / 4);
  const float v = row.fraction;
  const AxisTap* columns = window.column_taps.data();
  return {&rows, line, columns, columns + window.column_taps.size(),
          Float4{1.0f - v, v, 1.0f - v, v}};
}

void addTogether(RowWalk a, RowWalk b) {
  const std::ptrdiff_t common = std::min(a.end - a.column, b.end - b.column);
  for (std::ptrdiff_t i = 0; i < common; ++i) {
    a.addPixel();
    b.addPixel();
  }
  a.addAll();
  b.addAll();
}

}  // namespace

void DescriptorWindow::place(float x, float y, std::uint64_t columns, std::uint64_t rows,
                             float cell_size) {
  clear();
  if (std::isnan(x) || std::isnan(y)) {
    return;
  }
  fillTaps(x, columns, cell_size, column_taps);
  fillTaps(y, rows, cell_size, row_taps);
}

void DescriptorWindow::clear() {
  column_taps.clear();
  row_taps.clear();
}

void fillHistograms(const Plane& gradient,
                    std::array<DescriptorWindow, kWindowsTogether>& windows) {
  static_assert(kWindowsTogether == 2, "Two rows are walked at a time.");
  HistogramRows rows[kWindowsTogether];
  const std::size_t row_count = std::max(windows[0].row_taps.size(), windows[1].row_taps.size());
  for (std::size_t i = 0; i < row_count; ++i) {
    addTogether(startRow(gradient, windows[0], i, rows[0]),
                startRow(gradient, windows[1], i, rows[1]));
  }
  for (std::size_t i = 0; i < kWindowsTogether; ++i) {
    rows[i].advanceTo(kLastCell + 1, windows[i].histogram.data());
  }
}

std::array<float, kWindowsTogether> histogramLengths(
    const std::array<DescriptorWindow, kWindowsTogether>& windows) {
  std::array<float, kWindowsTogether> sums = {};
  for (std::size_t i = 0; i < windows[0].histogram.size(); ++i) {
    for (std::size_t k = 0; k < kWindowsTogether; ++k) {
      sums[k] += windows[k].histogram[i] * windows[k].histogram[i];
    }
  }
  for (float& sum : sums) {
    sum = std::sqrt(sum);
  }
  return sums;
}

}  // namespace SDMCore
