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

template <class Bins>
inline OZNA_WIDE_LOOP void load(const float* from, Bins& bins) {
  std::memcpy(&bins, from, sizeof(bins));
}

template <class Bins>
inline OZNA_WIDE_LOOP void store(float* to, const Bins& bins) {
  std::memcpy(to, &bins, sizeof(bins));
}

// What an image row gives, beside the shares of its pixels.
struct RowAmounts {
  const float* upper_left;
  const float* upper_right;
  const float* lower_left;
  const float* lower_right;
};

// Adds an image row to two rows of the grid. The sums of a cell stay in registers while the row
// crosses it and its neighbour.
//
// upper, lower  The two rows of the histogram; not used without kUpper and kLower.
template <class Bins, bool kUpper, bool kLower>
inline OZNA_WIDE_LOOP void addRow(float* upper, float* lower, const BinShares* shares,
                                  const AxisTaps& columns, const RowAmounts& amounts) {
  Bins left_of_upper{};
  Bins left_of_lower{};
  Bins right_of_upper{};
  Bins right_of_lower{};
  Bins share;
  std::size_t i = 0;
  for (std::size_t cell = 0; cell < kCellsThatReach; ++cell) {
    const bool has_left = cell > 0;
    const bool has_right = cell < kGridCells;
    const std::size_t end = columns.cell_end[cell];
    left_of_upper = right_of_upper;
    left_of_lower = right_of_lower;
    if (has_right) {
      if (kUpper) load(upper + cell * kOrientationBins, right_of_upper);
      if (kLower) load(lower + cell * kOrientationBins, right_of_lower);
    }
    if (has_left && has_right) {
      for (; i < end; ++i) {
        load(shares[i].of_bin, share);
        if (kUpper) addTo(left_of_upper, share, amounts.upper_left[i]);
        if (kLower) addTo(left_of_lower, share, amounts.lower_left[i]);
        if (kUpper) addTo(right_of_upper, share, amounts.upper_right[i]);
        if (kLower) addTo(right_of_lower, share, amounts.lower_right[i]);
      }
    } else if (has_right) {
      for (; i < end; ++i) {
        load(shares[i].of_bin, share);
        if (kUpper) addTo(right_of_upper, share, amounts.upper_right[i]);
        if (kLower) addTo(right_of_lower, share, amounts.lower_right[i]);
      }
    } else {
      for (; i < end; ++i) {
        load(shares[i].of_bin, share);
        if (kUpper) addTo(left_of_upper, share, amounts.upper_left[i]);
        if (kLower) addTo(left_of_lower, share, amounts.lower_left[i]);
      }
    }
    if (has_left) {
      if (kUpper) store(upper + (cell - 1) * kOrientationBins, left_of_upper);
      if (kLower) store(lower + (cell - 1) * kOrientationBins, left_of_lower);
    }
  }
}

// Shares what the nearest bin of each pixel gets between the columns and rows of cells around it.
//
// space  Four times count floats.
inline OZNA_WIDE_LOOP RowAmounts splitRow(const float* nearest, const float* column_fraction,
                                          float row_fraction, std::size_t count, float* space) {
  float* upper_left = space;
  float* upper_right = space + count;
  float* lower_left = space + 2 * count;
  float* lower_right = space + 3 * count;
  const float rest = 1.0f - row_fraction;
  OZNA_VECTOR_LOOP
  for (std::size_t i = 0; i < count; ++i) {
    const float left = nearest[i] - column_fraction[i] * nearest[i];
    const float right = nearest[i] - left;
    upper_left[i] = rest * left;
    upper_right[i] = rest * right;
    lower_left[i] = row_fraction * left;
    lower_right[i] = row_fraction * right;
  }
  return {upper_left, upper_right, lower_left, lower_right};
}

template <class Bins>
inline OZNA_WIDE_LOOP void fill(const float* nearest, const BinShares* bins, std::int64_t width,
                                DescriptorWindow& window, MemoryAhead& ahead) {
  const AxisTaps& rows = window.rows;
  const AxisTaps& columns = window.columns;
  const float* column_fractions = columns.fraction.data() + columns.first;
  std::int64_t at = rows.first_pixel * width + columns.first_pixel;
  for (std::size_t row = rows.first; row < rows.first + rows.count; ++row, at += width) {
    ahead.askForSome();
    const RowAmounts amounts = splitRow(nearest + at, column_fractions, rows.fraction[row],
                                        roundedUp(columns.count), window.row_space.data());
    const std::size_t cell = static_cast<std::size_t>(rows.cell[row]);
    float* lower = window.histogram.data() + cell * kGridRow;
    if (cell == 0) {
      addRow<Bins, false, true>(nullptr, lower, bins + at, columns, amounts);
    } else if (cell < kGridCells) {
      addRow<Bins, true, true>(lower - kGridRow, lower, bins + at, columns, amounts);
    } else {
      addRow<Bins, true, false>(lower - kGridRow, nullptr, bins + at, columns, amounts);
    }
  }
}

#if defined(__x86_64__) && defined(__GNUC__)
__attribute__((target("avx2"))) void fillWide(const float* nearest, const BinShares* bins,
                                              std::int64_t width, DescriptorWindow& window,
                                              MemoryAhead& ahead) {
  fill<EightBins>(nearest, bins, width, window, ahead);
}
#endif

void fillNarrow(const float* nearest, const BinShares* bins, std::int64_t width,
                DescriptorWindow& window, MemoryAhead& ahead) {
  fill<TwiceFourBins>(nearest, bins, width, window, ahead);
}

}  // namespace

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
  fraction.resize(entries + kLanes);
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
      const float place = (static_cast<float>(delta) + shift) / cell_size - 0.5f;
      // Whatever lies beyond these limits, or is not a number, reaches no cell.
      const float high = place > -8.0f ? place : -8.0f;
      const float limited = high < 8.0f ? high : 8.0f;
      const std::int32_t cut = static_cast<std::int32_t>(limited);
      const std::int32_t floor = cut - static_cast<std::int32_t>(static_cast<float>(cut) > limited);
      cells[i] = floor - kFirstCell;
      fractions[i] = place - static_cast<float>(floor);
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

void AxisTaps::clear() {
  count = 0;
  cell_end.fill(0);
}

void DescriptorWindow::place(float x, float y, const PixelArea& area, float cell_size) {
  columns.place(x, area.left, area.right, cell_size);
  rows.place(y, area.top, area.bottom, cell_size);
  row_space.resize(4 * roundedUp(columns.count));
}

void DescriptorWindow::clear() {
  columns.clear();
  rows.clear();
}

void fillHistogram(const GradientShares& shares, std::size_t level, DescriptorWindow& window,
                   MemoryAhead& ahead) {
  window.histogram.fill(0.0f);
  if (window.rows.count == 0 || window.columns.count == 0) {
    return;
  }
  const float* nearest = shares.nearest(level);
  const BinShares* bins = shares.bins(level);
#if defined(__x86_64__) && defined(__GNUC__)
  if (caffe::UsesWideLoops()) {
    fillWide(nearest, bins, shares.width(), window, ahead);
    return;
  }
#endif
  fillNarrow(nearest, bins, shares.width(), window, ahead);
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
