// Scans of the whole picture and of tiles.

#include "kit/search/search_plan.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>

#include "kit/error.h"

namespace kit {
namespace {

// Sizes of a layer of tiles: the smallest face times 1.26 to the power 0 to 8, which is 6.35.
constexpr int kTileLevels = 9;
// The next layer begins a little below the largest face of this one.
constexpr int kLayerRatio = 6;
// Overlap of tiles in smallest faces: a face of 6.35, and room for a box that is larger than it.
constexpr int kOverlap = 7;
// A picture of 65535 by 65535 pixels takes 132,000 for faces of 8 pixels.
constexpr std::size_t kMostTiles = 1000000;

constexpr float kEverywhere = std::numeric_limits<float>::infinity();

// Parameters that search an image with this longer side for faces from smallest_px on.
oznalib::CascadeParameter parameterFor(int smallest_px, int longer_side_px) {
  oznalib::CascadeParameter parameter = defaultParameter();
  // With its own side as the side to bring it towards, an image is scaled by window over smallest
  // face alone. The half keeps the truncation of side times fraction from losing a pixel.
  parameter.maxUpscale = 1;
  parameter.maxImageSide = longer_side_px;
  parameter.minFaceFraction =
      (static_cast<float>(smallest_px) + 0.5F) / static_cast<float>(longer_side_px);
  return parameter;
}

// Enough sizes to reach the largest faces that a scan finds by default, about two thirds of the
// longer side, from the smallest one. The library stops by itself where a size is too small.
int levelsFor(int smallest_px, int longer_side_px) {
  const oznalib::CascadeParameter usual = defaultParameter();
  const double reach = std::pow(usual.pyramidFactor, usual.pyramidLevels - 1) * 0.05;
  const double ratio = reach * longer_side_px / smallest_px;
  const double steps = std::log(std::max(1.0, ratio)) / std::log(double{usual.pyramidFactor});
  // A whole number of steps may come out above itself by rounding.
  constexpr double kRounding = 1e-6;
  return std::max(usual.pyramidLevels, 1 + static_cast<int>(std::ceil(steps - kRounding)));
}

// The smallest face in pixels for which one scan of the whole image fits the first network.
int smallestAtOnce(const cv::Size& searched, const Size& first_input, int from_px) {
  int smallest = std::max(1, from_px);
  const int longer_side = std::max(searched.width, searched.height);
  const auto fits = [&](int px) {
    const Size working =
        workingSize({searched.width, searched.height}, parameterFor(px, longer_side));
    return working.width * working.height <= first_input.width * first_input.height;
  };
  const double estimate = defaultParameter().windowSize *
                          std::sqrt(static_cast<double>(searched.width) * searched.height /
                                    static_cast<double>(first_input.width * first_input.height));
  smallest = std::max(smallest, static_cast<int>(estimate));
  while (!fits(smallest)) ++smallest;  // The estimate is short by rounding alone.
  return smallest;
}

// A tile's place along one side of the picture.
struct Span {
  int begin, end;
  float core_begin, core_end;
};

// Tiles of equal length that cover a side, as few as the overlap allows.
std::vector<Span> spansOver(int side, int tile, int overlap) {
  if (side <= tile) return {{0, side, -kEverywhere, kEverywhere}};
  const int step = tile - overlap;
  const int count = (side - overlap + step - 1) / step;
  std::vector<Span> spans;
  for (int i = 0; i < count; ++i) {
    const int begin = static_cast<int>(std::int64_t{side - tile} * i / (count - 1));
    spans.push_back({begin, begin + tile, -kEverywhere, kEverywhere});
  }
  for (std::size_t i = 1; i < spans.size(); ++i) {
    const float middle =
        (static_cast<float>(spans[i].begin) + static_cast<float>(spans[i - 1].end)) / 2;
    spans[i - 1].core_end = middle;
    spans[i].core_begin = middle;
  }
  return spans;
}

void addTiles(const cv::Size& searched, int smallest_px, const Size& first_input,
              std::vector<Scan>& scans) {
  const auto input_side = static_cast<int>(std::min(first_input.width, first_input.height));
  // Rounded down, so that the tile's working image fits the input.
  const int tile = input_side * smallest_px / defaultParameter().windowSize;
  const int overlap = std::min(kOverlap * smallest_px, tile / 2);
  const std::vector<Span> columns = spansOver(searched.width, tile, overlap);
  const std::vector<Span> rows = spansOver(searched.height, tile, overlap);
  if (columns.size() * rows.size() > kMostTiles) {
    throw Error(OZNAKIT_BAD_ARGUMENT,
                "Expected a smallest face for which at most " + std::to_string(kMostTiles) +
                    " tiles are searched, found " + std::to_string(smallest_px) +
                    " pixels, which takes " + std::to_string(columns.size() * rows.size()) + ".");
  }
  for (const Span& row : rows) {
    for (const Span& column : columns) {
      const cv::Rect region(column.begin, row.begin, column.end - column.begin,
                            row.end - row.begin);
      oznalib::CascadeParameter parameter =
          parameterFor(smallest_px, std::max(region.width, region.height));
      parameter.pyramidLevels = kTileLevels;
      scans.push_back(
          {region, {column.core_begin, row.core_begin, column.core_end, row.core_end}, parameter});
    }
  }
}

}  // namespace

std::vector<Scan> planScans(const cv::Size& searched, int longer_side, const SearchRequest& request,
                            const Size& first_input) {
  const cv::Rect whole({0, 0}, searched);
  const oznalib::Rectangle<float> everywhere = {-kEverywhere, -kEverywhere, kEverywhere,
                                                kEverywhere};
  if (!request.min_face) return {{whole, everywhere, request.parameter}};

  std::vector<Scan> scans;
  int smallest = minFacePixels(*request.min_face, longer_side);
  const int at_once = smallestAtOnce(searched, first_input, 1);
  for (; smallest < at_once; smallest *= kLayerRatio) {
    addTiles(searched, smallest, first_input, scans);
  }
  const int last = scans.empty() ? smallest : at_once;
  const int side = std::max(searched.width, searched.height);
  oznalib::CascadeParameter parameter = parameterFor(last, side);
  parameter.pyramidLevels = levelsFor(last, side);
  scans.push_back({whole, everywhere, parameter});
  return scans;
}

Size workingSizeOf(const Scan& scan) {
  return workingSize({scan.region.width, scan.region.height}, scan.parameter);
}

bool isWideEnough(const Scan& scan) {
  const Size working = workingSizeOf(scan);
  return std::min(working.width, working.height) > scan.parameter.windowSize + 1;
}

float acceptedFraction(const Scan& scan, const Size& first_input) {
  const auto fraction = [](int thousandths) { return static_cast<float>(thousandths) / 1000; };
  Scan tried = scan;
  int thousandths = static_cast<int>(scan.parameter.minFaceFraction * 1000);
  do {
    tried.parameter.minFaceFraction = fraction(++thousandths);
  } while (thousandths < 1000 && !fits(workingSizeOf(tried), first_input));
  return fraction(thousandths);
}

}  // namespace kit
