// The inner loop of descriptors: every gradient of a window goes to four cells and two bins.

#include "alignment/descriptor_histogram.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "alignment/truncation.h"
#include "caffe/util/wide_loops.hpp"

namespace SDMCore {
namespace {

using oznalib::truncateToInt;

constexpr int kFirstCell = -3;  // The first whose shares reach the grid.
constexpr std::size_t kGridRow = kGridCells * kOrientationBins;  // Floats.
constexpr std::size_t kLanes = 8;                                // Of the wide loops.

// Loops over so many entries have no rest that would have to go entry by entry. What is worked out
// for the entries added is never looked at.
std::size_t roundedUp(std::size_t count) { return (count + kLanes - 1) / kLanes * kLanes; }

std::int64_t roundedPosition(float position) {
  return truncateToInt(static_cast<double>(position) + 0.5);
}

// ----------------------------------------------------------------------------
// Eight bins in registers, one or two vectors wide.

// The bins of a cell as the two versions of the loop hold them: where registers are narrower than
// eight floats, a vector of eight would live in memory.
using EightBins = float __attribute__((vector_size(32)));
using FourBins = float __attribute__((vector_size(16)));
struct TwiceFourBins {
  FourBins low;
  FourBins high;
};

inline OZNA_WIDE_LOOP void addTo(EightBins& sums, const EightBins& shares, float amount) {
  sums += shares * amount;
}

inline OZNA_WIDE_LOOP void addTo(TwiceFourBins& sums, const TwiceFourBins& shares, float amount) {
  sums.low += shares.low * amount;
  sums.high += shares.high * amount;
}

inline OZNA_WIDE_LOOP void add(EightBins& sums, const EightBins& other) { sums += other; }

inline OZNA_WIDE_LOOP void add(TwiceFourBins& sums, const TwiceFourBins& other) {
  sums.low += other.low;
  sums.high += other.high;
}

inline OZNA_WIDE_LOOP void subtract(EightBins& sums, const EightBins& other) { sums -= other; }

inline OZNA_WIDE_LOOP void subtract(TwiceFourBins& sums, const TwiceFourBins& other) {
  sums.low -= other.low;
  sums.high -= other.high;
}

template <class Bins>
inline OZNA_WIDE_LOOP void load(const float* from, Bins& bins) {
  std::memcpy(&bins, from, sizeof(bins));
}

template <class Bins>
inline OZNA_WIDE_LOOP void store(float* to, const Bins& bins) {
  std::memcpy(to, &bins, sizeof(bins));
}

template <class Bins>
inline OZNA_WIDE_LOOP void addToMemory(float* to, const Bins& shares, float amount) {
  Bins sums;
  load(to, sums);
  addTo(sums, shares, amount);
  store(to, sums);
}

// ----------------------------------------------------------------------------
// From rows of pixels to the grid of cells.

// Adds an image row to two rows of the grid.
//
// A pixel gives a share of its column's fraction to the cell on its right and the rest to the one
// on its left, and so much of either as the row's fraction says to the lower cell and the rest to
// the upper one. What is common to the pixels of a cell is taken out of their sum: it is the sum of
// the pixels and the sum weighted by their fractions that goes through them, for all bins at once.
//
// upper, lower  The two rows of the histogram; null where the grid has none.
template <class Bins>
inline OZNA_WIDE_LOOP void addRow(const BinShares* shares, const AxisTaps& columns,
                                  float row_fraction, float* upper, float* lower) {
  const float* fractions = columns.fraction.data() + columns.first;
  const float rest = 1.0F - row_fraction;
  Bins right_of_last{};
  std::size_t i = 0;
  for (std::size_t cell = 0; cell < kCellsThatReach; ++cell) {
    Bins sum{};
    Bins right{};
    for (; i < columns.cell_end[cell]; ++i) {
      Bins share;
      load(shares[i].of_bin, share);
      add(sum, share);
      addTo(right, share, fractions[i]);
    }
    if (cell > 0) {
      const std::size_t at = (cell - 1) * kOrientationBins;
      subtract(sum, right);
      add(sum, right_of_last);
      if (upper != nullptr) addToMemory(upper + at, sum, rest);
      if (lower != nullptr) addToMemory(lower + at, sum, row_fraction);
    }
    right_of_last = right;
  }
}

template <class Bins>
inline OZNA_WIDE_LOOP void fill(const BinShares* bins, std::int64_t width, DescriptorWindow& window,
                                MemoryAhead& ahead) {
  const AxisTaps& rows = window.rows;
  std::int64_t at = rows.first_pixel * width + window.columns.first_pixel;
  for (std::size_t row = rows.first; row < rows.first + rows.count; ++row, at += width) {
    ahead.askForSome();
    const std::size_t cell = static_cast<std::size_t>(rows.cell[row]);
    float* lower = window.histogram.data() + cell * kGridRow;
    addRow<Bins>(bins + at, window.columns, rows.fraction[row],
                 cell > 0 ? lower - kGridRow : nullptr, cell < kGridCells ? lower : nullptr);
  }
}

#if defined(__x86_64__) && defined(__GNUC__)
__attribute__((target("avx2"))) void fillWide(const BinShares* bins, std::int64_t width,
                                              DescriptorWindow& window, MemoryAhead& ahead) {
  fill<EightBins>(bins, width, window, ahead);
}
#endif

void fillNarrow(const BinShares* bins, std::int64_t width, DescriptorWindow& window,
                MemoryAhead& ahead) {
  fill<TwiceFourBins>(bins, width, window, ahead);
}

}  // namespace

// ----------------------------------------------------------------------------
// Where a window lies.

PixelArea windowArea(float x, float y, std::uint64_t columns, std::uint64_t rows, float cell_size) {
  if (std::isnan(x) || std::isnan(y)) {
    return {};
  }
  const std::int64_t radius = truncateToInt(static_cast<double>(cell_size) * 1.4142135623730951 *
                                                static_cast<double>(kGridCells) * 0.5 +
                                            0.5);
  const std::int64_t column = roundedPosition(x);
  const std::int64_t row = roundedPosition(y);
  return {std::max<std::int64_t>(column - radius, 1), std::max<std::int64_t>(row - radius, 1),
          std::min(column + radius + 1, static_cast<std::int64_t>(columns) - 1),
          std::min(row + radius + 1, static_cast<std::int64_t>(rows) - 1)};
}

void AxisTaps::place(float position, std::int64_t begin, std::int64_t end, float cell_size) {
  const std::size_t pixels = static_cast<std::size_t>(std::max<std::int64_t>(end - begin, 0));
  const std::size_t entries = roundedUp(pixels);
  cell.resize(entries);
  fraction.resize(entries);
  const std::int64_t centre = roundedPosition(position);
  const float shift = static_cast<float>(centre) - position;
  const std::int32_t first_delta = static_cast<std::int32_t>(begin - centre);
  std::int32_t* cells = cell.data();
  float* fractions = fraction.data();
  // How many pixels lie before the end of each cell; entry 0 stands for all that reach no cell.
  std::int32_t before[kCellsThatReach + 1] = {};
  caffe::RunWide([=, &before]() OZNA_WIDE_LOOP {
    OZNA_VECTOR_LOOP
    for (std::size_t i = 0; i < entries; ++i) {
      const std::int32_t delta = first_delta + static_cast<std::int32_t>(i);
      const float position_in_cells = (static_cast<float>(delta) + shift) / cell_size - 0.5F;
      // What lies beyond these limits, or is NaN, reaches no cell.
      const float high = position_in_cells > -8.0F ? position_in_cells : -8.0F;
      const float limited = high < 8.0F ? high : 8.0F;
      const std::int32_t towards_zero = static_cast<std::int32_t>(limited);
      const std::int32_t rounded_down =
          towards_zero - static_cast<std::int32_t>(static_cast<float>(towards_zero) > limited);
      cells[i] = rounded_down - kFirstCell;
      fractions[i] = position_in_cells - static_cast<float>(rounded_down);
    }
    for (std::int32_t ends = 0; ends <= static_cast<std::int32_t>(kCellsThatReach); ++ends) {
      std::int32_t sum = 0;
      for (std::size_t i = 0; i < entries; ++i) {
        sum += cells[i] < ends ? 1 : 0;
      }
      before[ends] = sum;
    }
  });
  const auto within = [&](std::int32_t entry) {
    return std::min(static_cast<std::size_t>(entry), pixels);
  };
  first = within(before[0]);
  for (std::size_t i = 0; i < kCellsThatReach; ++i) {
    cell_end[i] = within(before[i + 1]) - first;
  }
  count = cell_end.back();
  first_pixel = begin + static_cast<std::int64_t>(first);
}

void DescriptorWindow::place(float x, float y, const PixelArea& area, float cell_size) {
  columns.place(x, area.left, area.right, cell_size);
  rows.place(y, area.top, area.bottom, cell_size);
}

// ----------------------------------------------------------------------------
// The histograms.

void fillHistogram(const GradientShares& shares, std::size_t level, DescriptorWindow& window,
                   MemoryAhead& ahead) {
  window.histogram.fill(0.0F);
  if (window.rows.count == 0 || window.columns.count == 0) {
    return;
  }
  const BinShares* bins = shares.bins(level);
#if defined(__x86_64__) && defined(__GNUC__)
  if (caffe::UsesWideLoops()) {
    fillWide(bins, shares.width(), window, ahead);
    return;
  }
#endif
  fillNarrow(bins, shares.width(), window, ahead);
}

std::array<float, kWindowsTogether> histogramLengths(const WindowGroup& windows,
                                                     std::size_t count) {
  std::array<float, kWindowsTogether> sums = {};
  for (std::size_t i = 0; i < windows[0].histogram.size(); ++i) {
    for (std::size_t k = 0; k < count; ++k) {
      sums[k] += windows[k].histogram[i] * windows[k].histogram[i];
    }
  }
  for (float& sum : sums) {
    sum = std::sqrt(sum);
  }
  return sums;
}

}  // namespace SDMCore
