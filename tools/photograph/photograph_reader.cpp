// Files, their need of memory, and decoding.

#include "tools/photograph/photograph_reader.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "tools/photograph/codec_modules.h"
#include "tools/photograph/file_bytes.h"
#include "tools/photograph/jpeg_photograph.h"
#include "tools/photograph/known_formats.h"
#include "tools/photograph/photograph_failure.h"
#include "tools/photograph/raw_photograph.h"

namespace oznatool {
namespace {

std::int64_t areaOf(const cv::Size& size) {
  return static_cast<std::int64_t>(size.width) * size.height;
}

// The most bytes at any time from here on, besides those of the file. An annotated copy, as files
// of results are, takes no more than its pixels where it is compressed at all.
std::int64_t memoryFor(const PhotographHeader& header, int reduction, Purpose purpose,
                       const oznakit::SearchOptions& search) {
  const std::int64_t decoding = decodingMemory(header, reduction, purpose == Purpose::kCopy);
  constexpr int kPixelBytes = 3;
  constexpr int kLongestSide = 1 << 24;  // A header may lie: held where the areas below still fit.
  const int longer_side = std::max(header.stored->width, header.stored->height);
  if ((search.margin <= 0 && search.turns == 1) || longer_side > kLongestSide) return decoding;
  const cv::Size photograph = reducedSize(*header.stored, reduction);
  const int border =
      static_cast<int>(std::ceil(search.margin * std::max(photograph.width, photograph.height)));
  // The library searches a copy with its border, or turned.
  const cv::Size copy = {photograph.width + 2 * border, photograph.height + 2 * border};
  return std::max(decoding, kPixelBytes * (areaOf(photograph) + areaOf(copy)));
}

std::string mebibytes(std::int64_t bytes) { return std::to_string((bytes >> 20) + 1) + " MiB"; }

PhotographHeader headerOf(const std::string& path, const std::vector<unsigned char>& bytes) {
  PhotographHeader header;
  try {
    header = readHeader(bytes.data(), bytes.size(), hasRawEnding(path));
  } catch (const MissingModule& missing) {
    throw PhotographFailure(path, FailureKind::kFormat,
                            std::string("cannot be decoded: ") + missing.what());
  }
  if (!header.stored) {
    throw PhotographFailure(path, FailureKind::kFormat,
                            header.format == FileFormat::kRaw
                                ? "is damaged, or a raw photograph of an unknown kind"
                                : reasonWithoutHeader(bytes.data(), bytes.size()));
  }
  return header;
}

bool canBeReduced(FileFormat format) {
  return format == FileFormat::kJpeg || format == FileFormat::kProgressiveJpeg;
}

}  // namespace

ReadFile readWithin(MemoryBudget& budget, const Input& input, const oznakit::SearchOptions& search,
                    const ReductionOf& reduction_of, Purpose purpose,
                    const std::function<bool()>& stop) {
  const std::string& path = input.path;
  ReadFile file;
  file.purpose = purpose;
  if (input.content) {
    file.bytes = *input.content;
  } else {
    FileBytes read = readFileBytes(path, budget.total());
    file.bytes = std::move(read.bytes);
    file.stamp = std::move(read.stamp);
  }
  file.header = headerOf(path, file.bytes);
  if (reduction_of != nullptr && canBeReduced(file.header.format)) {
    file.reduction = reduction_of(uprightSize(file.header));
  }
  const std::int64_t needed = static_cast<std::int64_t>(file.bytes.size()) +
                              memoryFor(file.header, file.reduction, purpose, search);
  if (needed > budget.total()) {
    throw PhotographFailure(
        path, FailureKind::kMemory,
        "needs " + mebibytes(needed) + (search.margin > 0 ? " with its margin" : " to be decoded") +
            "; --memory allows " + std::to_string(budget.total() >> 20) + " MiB");
  }
  file.memory = budget.take(needed, stop);
  return file;
}

Photograph decodeFile(const std::string& path, ReadFile& file) {
  Photograph photograph =
      decodePhotograph(path, file.bytes, file.header, file.reduction, file.purpose);
  file.bytes = {};
  return photograph;
}

}  // namespace oznatool
