/// Reads photographs one after the other, within a budget of memory.

#ifndef OZNA_TOOLS_PHOTOGRAPH_PHOTOGRAPH_READER_H_
#define OZNA_TOOLS_PHOTOGRAPH_PHOTOGRAPH_READER_H_

#include <functional>
#include <string>
#include <vector>

#include "oznakit.hpp"
#include "tools/photograph/file_stamp.h"
#include "tools/photograph/input.h"
#include "tools/photograph/photograph.h"
#include "tools/process/memory_budget.h"

namespace oznatool {

/// A file that may be decoded: the memory for it is set aside.
struct ReadFile {
  std::vector<unsigned char> bytes;
  std::optional<FileStamp> stamp;
  PhotographHeader header;
  Purpose purpose = Purpose::kSearch;
  int reduction = 1;           ///< Of the sides, when it is decoded: see decodeJpeg.
  MemoryBudget::Lease memory;  ///< For the file, and its pixels until they are dropped.
};

/// By how much the sides of a photograph of this upright size may be divided.
using ReductionOf = std::function<int(const cv::Size&)>;

/// Reads a file and waits for the memory that its photograph needs.
///
/// The bound of memory rests on one caller at a time: at most one file is read that the budget does
/// not count yet.
/// search          How it will be searched: borders and turns take copies of its pixels.
/// reduction_of    Asked where the format can be decoded smaller; null for whole photographs.
/// purpose         What it will be decoded for.
/// stop            Asked from time to time while it waits; its word ends the wait, with nothing set
///                 aside.
/// Errors          PhotographFailure.
ReadFile readWithin(MemoryBudget& budget, const Input& input, const oznakit::SearchOptions& search,
                    const ReductionOf& reduction_of, Purpose purpose,
                    const std::function<bool()>& stop);

/// Decodes what was read and frees the bytes. Any number of threads. Errors  PhotographFailure.
Photograph decodeFile(const std::string& path, ReadFile& file);

}  // namespace oznatool

#endif  // OZNA_TOOLS_PHOTOGRAPH_PHOTOGRAPH_READER_H_
