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
constexpr std::uint32_t kCellsThatReach = 5;

std::int64_t roundedPosition(float position) {
  return truncateToInt(static_cast<double>(position) + 0.5);
}

using Float4 = float __attribute__((vector_size(16)));

Float4 loadFloat4(const float* from) {
  Float4 value;
  std::memcpy(&value, from, sizeof(value));
  return value;
}

void storeFloat4(float* to, Float4 value) { std::memcpy(to, &value, sizeof(value)); }

// The two neighbouring rows of cells that the current image row contributes to. Entry (bin, column,
// row) stands at bin * kShareBinFloats + column * 2 + row, with columns from -1 to 4 and the rows
// of the grid on which the last two cells of a pixel's four lie: a pixel's four shares then are
// four neighbouring floats. Shares that fall off the grid go to the rows and columns around it.
class HistogramRows {
 public:
  // Adds a pixel's shares for one bin.
  //
  // bin_start  kShareBinFloats times the bin.
  void add(std::size_t bin_start, std::size_t column_cell, Float4 amount) {
    float* at = cells_ + (bin_start + 2 * column_cell);
    storeFloat4(at, loadFloat4(at) + amount);
  }

  // Moves on to a later row of cells, storing those that are complete.
  void advanceTo(std::uint32_t cell_row, float* histogram) {
    for (; cell_row_ < cell_row; ++cell_row_) {
      const int row = static_cast<int>(cell_row_) - 1;
      if (row >= 0 && row < kCells) {
        store(histogram + row * kCells * kBins);
      }
      for (int i = 0; i < kBins * kShareBinFloats; i += 4) {
        const Float4 old = loadFloat4(cells_ + i);
        storeFloat4(cells_ + i, Float4{old[1], 0.0f, old[3], 0.0f});
      }
    }
  }

 private:
  void store(float* histogram_row) const {
    for (int column = 0; column < kCells; ++column) {
      for (int bin = 0; bin < kBins; ++bin) {
        histogram_row[column * kBins + bin] = cells_[bin * kShareBinFloats + (column + 1) * 2];
      }
    }
  }

  alignas(64) float cells_[kBins * kShareBinFloats] = {};
  std::uint32_t cell_row_ = 0;
};

// The pixels of one image row that are to be added.
struct RowWalk {
  void start(const GradientShare* level, std::int64_t width, DescriptorWindow& window,
             std::size_t index) {
    count = 0;
    if (index >= window.rows.count) {
      return;
    }
    const std::size_t entry = window.rows.first + index;
    rows.advanceTo(window.rows.cell[entry], window.histogram.data());
    const float v = window.rows.fraction[entry];
    row_shares = Float4{1.0f - v, v, 1.0f - v, v};
    const AxisTaps& columns = window.columns;
    const std::int64_t y = window.rows.first_pixel + static_cast<std::int64_t>(index);
    shares = level + (y * width + columns.first_pixel);
    cells = columns.cell.data() + columns.first;
    fractions = columns.fraction.data() + columns.first;
    count = columns.count;
  }

  HistogramRows rows;
  const GradientShare* shares = nullptr;
  const std::uint32_t* cells = nullptr;
  const float* fractions = nullptr;
  std::size_t count = 0;
  Float4 row_shares = {};
};

inline void addPixel(const GradientShare& share, std::uint32_t cell, float fraction,
                     Float4 row_shares, HistogramRows& rows) {
  const float near_share = share.nearest - fraction * share.nearest;
  const float far_share = share.nearest - near_share;
  const Float4 amount = row_shares * Float4{near_share, near_share, far_share, far_share};
  const Float4 neighbour_amount = amount * share.neighbour_ratio;
  rows.add(share.bin, cell, amount);
  rows.add(share.neighbour, cell, neighbour_amount);
}

// What the loop needs stands in arrays of its own: what it stores might be anything else, for all
// that the compiler knows.
void addTogether(std::array<RowWalk, kWindowsTogether>& walks) {
  const GradientShare* shares[kWindowsTogether];
  const std::uint32_t* cells[kWindowsTogether];
  const float* fractions[kWindowsTogether];
  Float4 row_shares[kWindowsTogether];
  std::size_t common = walks[0].count;
  for (std::size_t k = 0; k < kWindowsTogether; ++k) {
    shares[k] = walks[k].shares;
    cells[k] = walks[k].cells;
    fractions[k] = walks[k].fractions;
    row_shares[k] = walks[k].row_shares;
    common = std::min(common, walks[k].count);
  }
  for (std::size_t i = 0; i < common; ++i) {
    for (std::size_t k = 0; k < kWindowsTogether; ++k) {
      addPixel(shares[k][i], cells[k][i], fractions[k][i], row_shares[k], walks[k].rows);
    }
  }
  for (RowWalk& walk : walks) {
    for (std::size_t i = common; i < walk.count; ++i) {
      addPixel(walk.shares[i], walk.cells[i], walk.fractions[i], walk.row_shares, walk.rows);
    }
  }
}

}  // namespace

PixelArea windowArea(float x, float y, std::uint64_t columns, std::uint64_t rows, float cell_size) {
  if (std::isnan(x) || std::isnan(y)) {
    return {};
  }
  const std::int64_t radius =
      truncateToInt(static_cast<double>(cell_size) * 1.4142135623730951 * kCells * 0.5 + 0.5);
  const std::int64_t column = roundedPosition(x);
  const std::int64_t row = roundedPosition(y);
  return {std::max<std::int64_t>(column - radius, 1), std::max<std::int64_t>(row - radius, 1),
          std::min(column + radius + 1, static_cast<std::int64_t>(columns) - 1),
          std::min(row + radius + 1, static_cast<std::int64_t>(rows) - 1)};
}

void AxisTaps::place(float position, std::int64_t begin, std::int64_t end, float cell_size) {
  clear();
  const std::size_t pixels = static_cast<std::size_t>(std::max<std::int64_t>(end - begin, 0));
  cell.resize(pixels);
  fraction.resize(pixels);
  const std::int64_t centre = roundedPosition(position);
  const float shift = static_cast<float>(centre) - position;
  const std::int32_t first_delta = static_cast<std::int32_t>(begin - centre);
  std::uint32_t* cells = cell.data();
  float* fractions = fraction.data();
  for (std::size_t i = 0; i < pixels; ++i) {
    const std::int32_t delta = first_delta + static_cast<std::int32_t>(i);
    const float place = (static_cast<float>(delta) + shift) / cell_size - 0.5f;
    // Whatever lies beyond these limits, or is not a number, reaches no cell.
    const float high = place > -8.0f ? place : -8.0f;
    const float limited = high < 8.0f ? high : 8.0f;
    const std::int32_t cut = static_cast<std::int32_t>(limited);
    const std::int32_t floor = static_cast<float>(cut) > limited ? cut - 1 : cut;
    cells[i] = static_cast<std::uint32_t>(floor - kFirstCell);
    fractions[i] = place - static_cast<float>(floor);
  }
  std::size_t last = pixels;
  first = 0;
  while (first < last && static_cast<std::int32_t>(cells[first]) < 0) {
    ++first;
  }
  while (last > first && cells[last - 1] >= kCellsThatReach) {
    --last;
  }
  first_pixel = begin + static_cast<std::int64_t>(first);
  count = last - first;
}

void DescriptorWindow::place(float x, float y, const PixelArea& area, float cell_size) {
  columns.place(x, area.left, area.right, cell_size);
  rows.place(y, area.top, area.bottom, cell_size);
}

void DescriptorWindow::clear() {
  columns.clear();
  rows.clear();
}

void fillHistograms(const GradientShares& shares, std::size_t level, WindowGroup& windows) {
  std::array<RowWalk, kWindowsTogether> walks;
  std::size_t row_count = 0;
  for (const DescriptorWindow& window : windows) {
    row_count = std::max(row_count, window.rows.count);
  }
  const GradientShare* level_shares = shares.level(level);
  for (std::size_t i = 0; i < row_count; ++i) {
    for (std::size_t k = 0; k < kWindowsTogether; ++k) {
      walks[k].start(level_shares, shares.width(), windows[k], i);
    }
    addTogether(walks);
  }
  for (std::size_t k = 0; k < kWindowsTogether; ++k) {
    walks[k].rows.advanceTo(kCellsThatReach, windows[k].histogram.data());
  }
}

std::array<float, kWindowsTogether> histogramLengths(const WindowGroup& windows) {
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
