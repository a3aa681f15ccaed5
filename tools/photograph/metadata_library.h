/// Guards the metadata library, which is not made for threads.

#ifndef OZNA_TOOLS_PHOTOGRAPH_METADATA_LIBRARY_H_
#define OZNA_TOOLS_PHOTOGRAPH_METADATA_LIBRARY_H_

#include <mutex>

namespace oznatool {

/// While this lives, the calling thread alone may use exiv2, which is initialised and keeps its
/// warnings to itself.
class MetadataLibrary {
 public:
  MetadataLibrary();
  MetadataLibrary(const MetadataLibrary&) = delete;
  MetadataLibrary& operator=(const MetadataLibrary&) = delete;

 private:
  std::unique_lock<std::mutex> lock_;
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_PHOTOGRAPH_METADATA_LIBRARY_H_
